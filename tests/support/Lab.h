#pragma once

#include <QHostAddress>
#include <QString>
#include <QTest>

// What a test sees of lab/netlab: the address plan, the camera namespaces and the simulator.
// Networks are numbered 1 (primary, carries the default multicast routes) and 2 (reached only
// through an explicitly chosen interface), 10.7<6+n>.0.0/16 and fd7<6+n>::/64 each. Camera
// index i (0 to 499) on network n lies in block b = i / 245 at position p = 10 + i % 245 and owns
// 10.7<6+n>.<b>.<p> and fd7<6+n>::<b>:<p>, the IPv6 groups written with the IPv4 octets' digits:
// indexes 0 to 244 keep 10.7<6+n>.0.<10+i> and fd7<6+n>::<10+i>, index 245 is 10.7<6+n>.1.10 and
// fd7<6+n>::1:10. The client owns 10.7<6+n>.0.1 and fd7<6+n>::1 on interface "lab<n>".
class Lab
{
public:
    static bool isInside();

    static QHostAddress cameraIPv4(int network, int index);
    static QHostAddress cameraIPv6(int network, int index);
    static QHostAddress clientIPv4(int network);
    static QHostAddress clientIPv6(int network);
    static QString clientInterfaceName(int network);
    // For "nsenter --net=<path>"; empty outside the lab.
    static QString cameraNamespace(int network);
    static int cameraCount();

    static QString simulatorPath();
    // A camera text for the simulator at lab address index on network, e.g.
    // cameraText(1, 0, "A100", "version=3.2.1,answer=multicast").
    static QString cameraText(int network, int index, const QString &serial,
                              const QString &options = QString());
};

// Skips the current test function unless it runs inside lab/netlab.
#define LAB_REQUIRED()                                                                             \
    do {                                                                                           \
        if (!Lab::isInside())                                                                      \
            QSKIP("needs the network lab: run the test as lab/netlab <test binary>");             \
    } while (false)
