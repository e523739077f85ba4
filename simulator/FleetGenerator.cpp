#include "FleetGenerator.h"

#include "CameraTextParser.h"
#include "LabAddresses.h"

#include <QStringList>

QList<CameraConfig> FleetGenerator::generate(int count, int network, int start)
{
    static const QStringList models = {
        QStringLiteral("ANPR Cam S1"),
        QStringLiteral("ANPR Cam S2 Dual"),
        QStringLiteral("ANPR Cam X4"),
        QStringLiteral("Gate Reader G1"),
    };
    static const QStringList versions = {
        QStringLiteral("3.2.1"), QStringLiteral("3.2.0"), QStringLiteral("3.1.7"),
        QStringLiteral("2.9.4"), QStringLiteral("4.0.0-rc2"),
    };

    QList<CameraConfig> fleet;
    for (int k = 0; k < count; ++k) {
        const int index = start + k;
        CameraConfig camera;
        camera.serial = QStringLiteral("SIM%1-%2").arg(network).arg(index, 4, 10, QLatin1Char('0'));
        camera.model = models.at(k % models.size());
        camera.firmwareVersion = versions.at(k % versions.size());
        camera.ipv4 = LabAddresses::cameraIPv4(network, index);
        camera.ipv6 = LabAddresses::cameraIPv6(network, index);
        camera.macAddress = CameraTextParser::defaultMacAddress(camera.serial);
        camera.hostname = CameraTextParser::defaultHostname(camera.serial);
        camera.answerMode = k % 3 == 2 ? CameraConfig::AnswerMode::Multicast
                                       : CameraConfig::AnswerMode::Unicast;
        camera.withoutSerial = k == 1;
        camera.crlfLineEnds = k == 3;
        fleet.append(camera);
    }
    return fleet;
}
