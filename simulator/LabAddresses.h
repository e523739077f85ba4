#pragma once

#include <QHostAddress>

// The address plan of lab/netlab. Each network n (1 or 2) is 10.7<6+n>.0.0/16 and fd7<6+n>::/64.
// Camera index i (0 to 499) lies in block b = i / 245 at position p = 10 + i % 245 and owns
// 10.7<6+n>.<b>.<p> and fd7<6+n>::<b>:<p>, both IPv6 groups written with the same digits as the
// last two IPv4 octets. Block 0 is the pool of the former /24 unchanged: camera 0 on network 1
// is 10.77.0.10 and fd77::10 (fd77::0:10), camera 244 is 10.77.0.254 and fd77::254; camera 245
// is 10.77.1.10 and fd77::1:10, camera 499 is 10.77.2.19 and fd77::2:19.
// The simulator refuses every address outside the lab's prefixes, so it cannot be pointed at a
// real network by mistake.
class LabAddresses
{
public:
    static constexpr int kNetworkCount = 2;
    static constexpr int kMaxCameraCount = 500;
    static constexpr int kCamerasPerBlock = 245;

    static QHostAddress cameraIPv4(int network, int index);
    static QHostAddress cameraIPv6(int network, int index);
    static bool isLabAddress(const QHostAddress &address);
};
