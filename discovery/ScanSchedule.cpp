#include "ScanSchedule.h"

ScanSchedule::ScanSchedule(QObject *parent)
    : QObject(parent)
{
    m_timer.setObjectName(QStringLiteral("scanTimer"));
    m_timer.setParent(this);
    connect(&m_timer, &QTimer::timeout, this, &ScanSchedule::onTick);
}

bool ScanSchedule::parseGroup(const QString &text, QHostAddress &address)
{
    if (!address.setAddress(text))
        return false;
    return address.protocol() != QAbstractSocket::IPv4Protocol || text.count(QLatin1Char('.')) == 3;
}

void ScanSchedule::start(int probes)
{
    if (!m_timer.isActive())
        m_probes = probes;
    m_timer.start(kIntervalMs);
}

void ScanSchedule::stop()
{
    m_timer.stop();
    m_sent = 0;
}

void ScanSchedule::onTick()
{
    emit probe();
    ++m_sent;
    if (m_sent >= m_probes) {
        m_timer.stop();
        m_sent = 0;
        emit finished();
    }
}
