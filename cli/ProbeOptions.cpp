#include "ProbeOptions.h"

#include "CameraFinder.h"
#include "ScanSchedule.h"

#include <QCommandLineParser>

ProbeOptions::ProbeOptions(int defaultSeconds)
    : m_seconds(QStringLiteral("seconds"), QStringLiteral("Probe for N seconds (default %1).").arg(defaultSeconds),
                QStringLiteral("N"), QString::number(defaultSeconds))
    , m_ipv6(QStringLiteral("ipv6"), QStringLiteral("Probe the default IPv6 group instead of the IPv4 one."))
    , m_group(QStringLiteral("group"), QStringLiteral("Probe this multicast group (default %1).")
                                           .arg(QLatin1String(CameraFinder::kDefaultProbeGroupIPv4)),
              QStringLiteral("address"))
    , m_port(QStringLiteral("port"), QStringLiteral("Probe port (default %1).").arg(ScanSchedule::kDefaultPort),
             QStringLiteral("port"), QString::number(ScanSchedule::kDefaultPort))
    , m_ttl(QStringLiteral("ttl"), QStringLiteral("Time to live of the probes (default %1).").arg(ScanSchedule::kDefaultTtl),
            QStringLiteral("hops"), QString::number(ScanSchedule::kDefaultTtl))
{
}

void ProbeOptions::add(QCommandLineParser &parser) const
{
    parser.addOptions({m_seconds, m_ipv6, m_group, m_port, m_ttl});
}

QString ProbeOptions::read(const QCommandLineParser &parser)
{
    QString group = parser.value(m_group);
    if (group.isEmpty())
        group = QLatin1String(parser.isSet(m_ipv6) ? CameraFinder::kDefaultProbeGroupIPv6
                                                   : CameraFinder::kDefaultProbeGroupIPv4);
    if (!ScanSchedule::parseGroup(group, m_groupAddress) || !m_groupAddress.isMulticast())
        return QStringLiteral("bad address '%1': not a multicast group").arg(group);
    bool ok = false;
    m_portNumber = parser.value(m_port).toUShort(&ok);
    if (!ok || m_portNumber == 0)
        return QStringLiteral("bad port '%1'").arg(parser.value(m_port));
    m_ttlValue = parser.value(m_ttl).toInt(&ok);
    if (!ok || m_ttlValue < 1 || m_ttlValue > 255)
        return QStringLiteral("bad time to live '%1': 1 to 255").arg(parser.value(m_ttl));
    m_secondsValue = parser.value(m_seconds).toInt(&ok);
    if (!ok || m_secondsValue < 1)
        return QStringLiteral("bad number of seconds '%1'").arg(parser.value(m_seconds));
    return {};
}

QHostAddress ProbeOptions::group() const
{
    return m_groupAddress;
}

quint16 ProbeOptions::port() const
{
    return m_portNumber;
}

int ProbeOptions::ttl() const
{
    return m_ttlValue;
}

int ProbeOptions::seconds() const
{
    return m_secondsValue;
}
