#include "DroppedAnswers.h"

#include <QStringList>

void DroppedAnswers::add(const QString &reason)
{
    for (QPair<QString, int> &count : m_counts) {
        if (count.first == reason) {
            ++count.second;
            return;
        }
    }
    m_counts.append({reason, 1});
}

bool DroppedAnswers::isEmpty() const
{
    return m_counts.isEmpty();
}

void DroppedAnswers::clear()
{
    m_counts.clear();
}

QString DroppedAnswers::summary() const
{
    int total = 0;
    QStringList parts;
    for (const QPair<QString, int> &count : m_counts) {
        total += count.second;
        parts.append(QStringLiteral("%1 %2").arg(count.second).arg(count.first));
    }
    return QStringLiteral("Discovery dropped %1 %2: %3")
        .arg(total)
        .arg(total == 1 ? QStringLiteral("answer") : QStringLiteral("answers"),
             parts.join(QStringLiteral(", ")));
}
