#include "LabAddresses.h"

#include <QSet>
#include <QTest>

// The lab's address plan: the first 245 cameras of a network keep the addresses of the former
// /24 pool, later ones continue in the next blocks of the /16, and every one stays inside the
// prefixes the simulator accepts.
class tst_LabAddresses : public QObject
{
    Q_OBJECT

private slots:
    void cameraAddresses_data()
    {
        QTest::addColumn<int>("network");
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("ipv4");
        QTest::addColumn<QString>("ipv6");
        QTest::newRow("first") << 1 << 0 << "10.77.0.10" << "fd77::10";
        QTest::newRow("sixth") << 1 << 5 << "10.77.0.15" << "fd77::15";
        QTest::newRow("last of block 0") << 1 << 244 << "10.77.0.254" << "fd77::254";
        QTest::newRow("first of block 1") << 1 << 245 << "10.77.1.10" << "fd77::1:10";
        QTest::newRow("last of block 1") << 1 << 489 << "10.77.1.254" << "fd77::1:254";
        QTest::newRow("first of block 2") << 1 << 490 << "10.77.2.10" << "fd77::2:10";
        QTest::newRow("last") << 1 << 499 << "10.77.2.19" << "fd77::2:19";
        QTest::newRow("network 2, first") << 2 << 0 << "10.78.0.10" << "fd78::10";
        QTest::newRow("network 2, last") << 2 << 499 << "10.78.2.19" << "fd78::2:19";
    }

    void cameraAddresses()
    {
        QFETCH(int, network);
        QFETCH(int, index);
        QFETCH(QString, ipv4);
        QFETCH(QString, ipv6);
        QCOMPARE(LabAddresses::cameraIPv4(network, index), QHostAddress(ipv4));
        QCOMPARE(LabAddresses::cameraIPv6(network, index), QHostAddress(ipv6));
    }

    void everyCameraHasAddressesOfItsOwn()
    {
        QSet<QString> seen;
        for (int network = 1; network <= LabAddresses::kNetworkCount; ++network) {
            for (int index = 0; index < LabAddresses::kMaxCameraCount; ++index) {
                for (const QHostAddress &address : {LabAddresses::cameraIPv4(network, index),
                                                    LabAddresses::cameraIPv6(network, index)}) {
                    QVERIFY2(LabAddresses::isLabAddress(address), qPrintable(address.toString()));
                    QVERIFY2(!seen.contains(address.toString()), qPrintable(address.toString()));
                    seen.insert(address.toString());
                }
            }
        }
    }
};

QTEST_GUILESS_MAIN(tst_LabAddresses)
#include "tst_LabAddresses.moc"
