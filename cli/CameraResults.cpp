#include "CameraResults.h"

#include <QSet>

CameraResults::CameraResults(QObject *parent)
    : QObject(parent)
{
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this, &CameraResults::onTimeout);
}

void CameraResults::begin(const QList<QSharedPointer<CameraItem>> &cameras, int timeoutSeconds)
{
    // Cameras are keyed by serial; the few that share one, or have none, by serial and address.
    QSet<QString> keys;
    for (const QSharedPointer<CameraItem> &camera : cameras) {
        QString key = camera->serial();
        if (keys.contains(key))
            key += QLatin1Char('@') + camera->addressText();
        keys.insert(key);
        m_index.insert(camera.data(), int(m_outcomes.size()));
        m_outcomes.append({camera, key, 1, false, {}, {}});
    }
    m_open = int(m_outcomes.size());
    m_timeoutSeconds = timeoutSeconds;
    if (m_open == 0) {
        QMetaObject::invokeMethod(this, &CameraResults::allSettled, Qt::QueuedConnection);
        return;
    }
    if (timeoutSeconds > 0)
        m_deadline.start(timeoutSeconds * 1000);
}

void CameraResults::addMissing(const QStringList &targets)
{
    m_missing += targets;
}

CameraResults::Outcome *CameraResults::outcomeOf(const CameraItem *camera)
{
    const auto found = m_index.constFind(camera);
    if (found == m_index.cend())
        return nullptr;
    Outcome *outcome = &m_outcomes[*found];
    return outcome->owed > 0 ? outcome : nullptr;
}

bool CameraResults::isOpen(const QSharedPointer<CameraItem> &camera) const
{
    const auto found = m_index.constFind(camera.data());
    return found != m_index.cend() && m_outcomes.at(*found).owed > 0;
}

void CameraResults::owe(const QSharedPointer<CameraItem> &camera, int answers)
{
    if (Outcome *outcome = outcomeOf(camera.data()))
        outcome->owed += answers;
}

void CameraResults::answered(const QSharedPointer<CameraItem> &camera)
{
    if (Outcome *outcome = outcomeOf(camera.data()))
        settle(*outcome, 1);
}

void CameraResults::succeed(const QSharedPointer<CameraItem> &camera, const QString &msg)
{
    if (Outcome *outcome = outcomeOf(camera.data())) {
        outcome->messages.append(QJsonObject{{QStringLiteral("ok"), true}, {QStringLiteral("text"), msg}});
        settle(*outcome, 1);
    }
}

void CameraResults::fail(const QSharedPointer<CameraItem> &camera, const QString &msg)
{
    if (Outcome *outcome = outcomeOf(camera.data())) {
        outcome->failed = true;
        outcome->messages.append(QJsonObject{{QStringLiteral("ok"), false}, {QStringLiteral("text"), msg}});
        settle(*outcome, 1);
    }
}

void CameraResults::store(const QSharedPointer<CameraItem> &camera, const QString &group, const QString &key,
                          const QJsonValue &value)
{
    if (Outcome *outcome = outcomeOf(camera.data())) {
        QJsonObject values = outcome->data.value(group).toObject();
        values.insert(key, value);
        outcome->data.insert(group, values);
        settle(*outcome, 1);
    }
}

void CameraResults::settle(Outcome &outcome, int answers)
{
    outcome.owed -= answers;
    if (outcome.owed > 0)
        return;
    if (--m_open == 0) {
        m_deadline.stop();
        emit allSettled();
    }
}

void CameraResults::onTimeout()
{
    for (Outcome &outcome : m_outcomes) {
        if (outcome.owed <= 0)
            continue;
        outcome.failed = true;
        outcome.messages.append(QJsonObject{
            {QStringLiteral("ok"), false},
            {QStringLiteral("text"), QStringLiteral("Camera %1 at %2: no answer within %3 s")
                                          .arg(outcome.camera->serial(), outcome.camera->addressText())
                                          .arg(m_timeoutSeconds)}});
        settle(outcome, outcome.owed);
    }
}

int CameraResults::failures() const
{
    int failures = int(m_missing.size());
    for (const Outcome &outcome : m_outcomes)
        failures += outcome.failed ? 1 : 0;
    return failures;
}

QJsonObject CameraResults::toJson(const QString &command) const
{
    QJsonObject cameras;
    for (const Outcome &outcome : m_outcomes) {
        QJsonObject entry = outcome.data;
        entry.insert(QStringLiteral("serial"), outcome.camera->serial());
        entry.insert(QStringLiteral("address"), outcome.camera->addressText());
        entry.insert(QStringLiteral("ok"), !outcome.failed);
        entry.insert(QStringLiteral("messages"), outcome.messages);
        cameras.insert(outcome.key, entry);
    }
    return {{QStringLiteral("command"), command},
            {QStringLiteral("succeeded"), int(m_outcomes.size()) - failures() + int(m_missing.size())},
            {QStringLiteral("failed"), failures()},
            {QStringLiteral("notFound"), QJsonArray::fromStringList(m_missing)},
            {QStringLiteral("cameras"), cameras}};
}
