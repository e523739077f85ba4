#include "MessageGatherer.h"

namespace {

QString joinedLines(const QStringList &lines)
{
    QString text;
    for (const QString &line : lines)
        text += line + QLatin1Char('\n');
    return text;
}

} // namespace

MessageGatherer::MessageGatherer(ShowBox showBox, QObject *parent)
    : QObject(parent)
    , m_showBox(std::move(showBox))
{
}

void MessageGatherer::onSuccess(const QString &msg)
{
    gather(Kind::Success, msg);
}

void MessageGatherer::onError(const QString &msg)
{
    gather(Kind::Error, msg);
}

void MessageGatherer::gather(Kind kind, const QString &msg)
{
    if (m_boxOpen) {
        (kind == Kind::Success ? m_pendingSuccesses : m_pendingErrors).append(msg);
        return;
    }
    m_boxOpen = true;
    m_showBox(kind, kind == Kind::Success ? QStringLiteral("Success") : QStringLiteral("1 Error"), msg);
    flush();
    m_boxOpen = false;
}

// Lines that arrive while a gathered box is open join the list on screen and are cleared
// with it, unseen; the flag stays set throughout so that they never open a box of their own.
void MessageGatherer::flush()
{
    if (!m_pendingSuccesses.isEmpty()) {
        m_showBox(Kind::Success, QStringLiteral("Success"), joinedLines(m_pendingSuccesses));
        m_pendingSuccesses.clear();
    }
    if (!m_pendingErrors.isEmpty()) {
        const int count = int(m_pendingErrors.size());
        const QString title = count == 1 ? QStringLiteral("1 Error") : QStringLiteral("%0 Errors").arg(count);
        m_showBox(Kind::Error, title, joinedLines(m_pendingErrors));
        m_pendingErrors.clear();
    }
}
