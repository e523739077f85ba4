#include "Lab.h"

#include "LabAddresses.h"

#include <QProcessEnvironment>

namespace {

QString labVariable(const QString &name)
{
    return QProcessEnvironment::systemEnvironment().value(name);
}

} // namespace

bool Lab::isInside()
{
    return labVariable(QStringLiteral("NETLAB")) == QLatin1String("1");
}

QHostAddress Lab::cameraIPv4(int network, int index)
{
    return LabAddresses::cameraIPv4(network, index);
}

QHostAddress Lab::cameraIPv6(int network, int index)
{
    return LabAddresses::cameraIPv6(network, index);
}

QHostAddress Lab::clientIPv4(int network)
{
    return QHostAddress(labVariable(QStringLiteral("NETLAB_CLIENT_IPV4_%1").arg(network)));
}

QHostAddress Lab::clientIPv6(int network)
{
    return QHostAddress(labVariable(QStringLiteral("NETLAB_CLIENT_IPV6_%1").arg(network)));
}

QString Lab::clientInterfaceName(int network)
{
    return QStringLiteral("lab%1").arg(network);
}

QString Lab::cameraNamespace(int network)
{
    return labVariable(QStringLiteral("NETLAB_CAMERA_NS%1").arg(network));
}

int Lab::cameraCount()
{
    return labVariable(QStringLiteral("NETLAB_CAMERA_COUNT")).toInt();
}

QString Lab::simulatorPath()
{
    return QStringLiteral(CAMERA_SIMULATOR_PATH);
}

QString Lab::cameraText(int network, int index, const QString &serial, const QString &options)
{
    QString escapedSerial = serial;
    escapedSerial.replace(QLatin1Char('\\'), QLatin1String("\\\\"))
        .replace(QLatin1Char(','), QLatin1String("\\,"));
    QString text = QStringLiteral("serial=%1,ipv4=%2,ipv6=%3")
                       .arg(escapedSerial, cameraIPv4(network, index).toString(),
                            cameraIPv6(network, index).toString());
    if (!options.isEmpty())
        text += QLatin1Char(',') + options;
    return text;
}
