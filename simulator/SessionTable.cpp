#include "SessionTable.h"

#include <QRandomGenerator>

SessionTable::SessionTable(qint64 lifetimeMs)
    : m_lifetimeMs(lifetimeMs)
{
}

QByteArray SessionTable::open()
{
    // Clients log in again and again; dropping the dead sessions here keeps the table small.
    dropExpired();
    QByteArray token(16, Qt::Uninitialized);
    QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(token.data()),
                                          token.size() / 4);
    token = token.toHex();
    m_sessions.insert(token, QDeadlineTimer(m_lifetimeMs));
    return token;
}

bool SessionTable::isValid(const QByteArray &token) const
{
    const auto session = m_sessions.constFind(token);
    return session != m_sessions.constEnd() && !session->hasExpired();
}

void SessionTable::clear()
{
    m_sessions.clear();
}

void SessionTable::dropExpired()
{
    m_sessions.removeIf([](const auto &session) { return session.value().hasExpired(); });
}
