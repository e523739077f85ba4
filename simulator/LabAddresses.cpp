#include "LabAddresses.h"

#include <QPair>
#include <QString>

#include <array>

namespace {

int blockOf(int index)
{
    return index / LabAddresses::kCamerasPerBlock;
}

int positionOf(int index)
{
    return 10 + index % LabAddresses::kCamerasPerBlock;
}

} // namespace

QHostAddress LabAddresses::cameraIPv4(int network, int index)
{
    return QHostAddress(QStringLiteral("10.%1.%2.%3")
                            .arg(76 + network)
                            .arg(blockOf(index))
                            .arg(positionOf(index)));
}

QHostAddress LabAddresses::cameraIPv6(int network, int index)
{
    return QHostAddress(QStringLiteral("fd%1::%2:%3")
                            .arg(76 + network)
                            .arg(blockOf(index))
                            .arg(positionOf(index)));
}

bool LabAddresses::isLabAddress(const QHostAddress &address)
{
    static const std::array<QPair<QHostAddress, int>, 4> prefixes = {
        QHostAddress::parseSubnet(QStringLiteral("10.77.0.0/16")),
        QHostAddress::parseSubnet(QStringLiteral("10.78.0.0/16")),
        QHostAddress::parseSubnet(QStringLiteral("fd77::/16")),
        QHostAddress::parseSubnet(QStringLiteral("fd78::/16")),
    };
    for (const auto &prefix : prefixes) {
        if (address.isInSubnet(prefix))
            return true;
    }
    return false;
}
