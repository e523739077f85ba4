#pragma once

#include <QByteArray>
#include <QDeadlineTimer>
#include <QHash>

// The Web-API sessions of one camera: each login opens a session with a random token that the
// client sends back in its cookie until the session's lifetime has passed.
class SessionTable
{
public:
    explicit SessionTable(qint64 lifetimeMs);

    QByteArray open();
    bool isValid(const QByteArray &token) const;
    void clear();

private:
    void dropExpired();

    qint64 m_lifetimeMs;
    QHash<QByteArray, QDeadlineTimer> m_sessions;
};
