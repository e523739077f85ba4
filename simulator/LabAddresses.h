#pragma once

#include <QHostAddress>

// The address plan of lab/netlab: camera index i on network n (1 or 2) owns 10.7<6+n>.0.<10+i>
// and fd7<6+n>::<10+i>, the IPv6 suffix written with the same digits as the IPv4 octet.
// The simulator refuses every address outside the lab's prefixes, so it cannot be pointed at a
// real network by mistake.
class LabAddresses
{
public:
    static constexpr int kNetworkCount = 2;
    static constexpr int kMaxCameraCount = 245;

    static QHostAddress cameraIPv4(int network, int index);
    static QHostAddress cameraIPv6(int network, int index);
    static bool isLabAddress(const QHostAddress &address);
};
