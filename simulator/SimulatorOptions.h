#pragma once

#include "CameraConfig.h"

#include <QHostAddress>
#include <QList>
#include <QString>

// The settings shared by all cameras of one simulator process, plus the cameras themselves.
struct SimulatorOptions
{
    QList<CameraConfig> cameras;
    QString storeDirectory;
    quint16 probePort = 4800;
    quint16 updatePort = 4799;
    quint16 webPort = 80;
    QHostAddress probeGroupIPv4 = QHostAddress(QStringLiteral("239.192.13.230"));
    QHostAddress probeGroupIPv6 = QHostAddress(QStringLiteral("ff18::cada:dee0"));
    int readTimeoutMs = 1500;
};
