#pragma once

#include <QCommandLineOption>
#include <QHostAddress>
#include <QList>

class QCommandLineParser;

// The options of a scan, with the window's defaults: group, port, time to live, IPv4 or IPv6,
// and how long to probe.
class ProbeOptions
{
public:
    explicit ProbeOptions(int defaultSeconds);

    void add(QCommandLineParser &parser) const;
    QString read(const QCommandLineParser &parser);

    QHostAddress group() const;
    quint16 port() const;
    int ttl() const;
    int seconds() const;

private:
    QCommandLineOption m_seconds;
    QCommandLineOption m_ipv6;
    QCommandLineOption m_group;
    QCommandLineOption m_port;
    QCommandLineOption m_ttl;
    QHostAddress m_groupAddress;
    quint16 m_portNumber = 0;
    int m_ttlValue = 0;
    int m_secondsValue = 0;
};
