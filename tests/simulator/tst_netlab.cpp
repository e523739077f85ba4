#include "Lab.h"
#include "SimulatorProcess.h"

#include <QFile>
#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QSet>
#include <QTest>
#include <QUdpSocket>
#include <QtAlgorithms>
#include <QtEndian>

// The lab itself: isolated from the world, two separate camera networks, and multicast that
// goes exactly where the sender points it. Runs under lab/netlab.
namespace {

const QByteArray kProbe = QByteArrayLiteral("Hello there!");
const QByteArray kMarker = QByteArrayLiteral("marker");
constexpr quint16 kProbePort = 4800;
constexpr quint16 kAnswerPort = 4900;
constexpr int kTimeoutMs = 5000;
constexpr auto kShared = QAbstractSocket::ShareAddress | QAbstractSocket::ReuseAddressHint;

using Subnet = QPair<QHostAddress, int>;

Subnet subnet(const char *text)
{
    return QHostAddress::parseSubnet(QString::fromLatin1(text));
}

bool insideOneOf(const Subnet &route, const QList<Subnet> &allowed)
{
    for (const Subnet &prefix : allowed) {
        if (route.second >= prefix.second && route.first.isInSubnet(prefix))
            return true;
    }
    return false;
}

QList<QByteArrayList> routeTable(const char *path)
{
    QFile file(QString::fromLatin1(path));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<QByteArrayList> rows;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        const QByteArrayList fields = line.simplified().split(' ');
        if (fields.size() > 1)
            rows += fields;
    }
    return rows;
}

QHostAddress probeGroup(QAbstractSocket::NetworkLayerProtocol family)
{
    return QHostAddress(family == QAbstractSocket::IPv4Protocol ? QStringLiteral("239.192.13.230")
                                                                : QStringLiteral("ff18::cada:dee0"));
}

QHostAddress answerGroup(QAbstractSocket::NetworkLayerProtocol family)
{
    return QHostAddress(family == QAbstractSocket::IPv4Protocol ? QStringLiteral("239.192.13.231")
                                                                : QStringLiteral("ff68::57a7"));
}

QHostAddress any(QAbstractSocket::NetworkLayerProtocol family)
{
    return QHostAddress(family == QAbstractSocket::IPv4Protocol ? QHostAddress::AnyIPv4
                                                                : QHostAddress::AnyIPv6);
}

QHostAddress camera(QAbstractSocket::NetworkLayerProtocol family, int network, int index)
{
    return family == QAbstractSocket::IPv4Protocol ? Lab::cameraIPv4(network, index)
                                                   : Lab::cameraIPv6(network, index);
}

QHostAddress client(QAbstractSocket::NetworkLayerProtocol family, int network)
{
    return family == QAbstractSocket::IPv4Protocol ? Lab::clientIPv4(network)
                                                   : Lab::clientIPv6(network);
}

QString datagramLine(const QString &serial, const QHostAddress &sender, const QByteArray &payload)
{
    return QStringLiteral("datagram %1 %2 %3")
        .arg(serial, sender.toString(), QString::fromLatin1(payload.toHex()));
}

// Everything that arrives on a socket, as sender address and payload.
class Inbox : public QObject
{
public:
    explicit Inbox(QUdpSocket *socket)
    {
        connect(socket, &QUdpSocket::readyRead, this, [this, socket] {
            while (socket->hasPendingDatagrams()) {
                const QNetworkDatagram datagram = socket->receiveDatagram();
                received.insert(datagram.senderAddress().toString(), datagram.data());
            }
        });
    }

    QMultiHash<QString, QByteArray> received;
};

} // namespace

class tst_netlab : public QObject
{
    Q_OBJECT

private slots:
    void onlyLabInterfaces();
    void noRouteLeavesTheLab();
    void answersThroughSecondNetwork_data();
    void answersThroughSecondNetwork();
    void networksStaySeparate_data();
    void networksStaySeparate();
};

void tst_netlab::onlyLabInterfaces()
{
    LAB_REQUIRED();
    const QList<Subnet> allowed = {subnet("127.0.0.0/8"), subnet("::1/128"), subnet("fe80::/10"),
                                   subnet("10.77.0.0/16"), subnet("10.78.0.0/16"),
                                   subnet("fd77::/16"), subnet("fd78::/16")};
    const QSet<QString> names = {QStringLiteral("lo"), Lab::clientInterfaceName(1),
                                 Lab::clientInterfaceName(2)};
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &interface : interfaces) {
        QVERIFY2(names.contains(interface.name()), qPrintable(interface.name()));
        const QList<QNetworkAddressEntry> entries = interface.addressEntries();
        for (const QNetworkAddressEntry &entry : entries)
            QVERIFY2(insideOneOf({entry.ip(), 128}, allowed), qPrintable(entry.ip().toString()));
    }
}

void tst_netlab::noRouteLeavesTheLab()
{
    LAB_REQUIRED();

    const QList<Subnet> allowed4 = {subnet("10.77.0.0/16"), subnet("10.78.0.0/16"),
                                    subnet("224.0.0.0/4")};
    const QList<QByteArrayList> routes4 = routeTable("/proc/net/route");
    QVERIFY(!routes4.isEmpty());
    for (const QByteArrayList &route : routes4.mid(1)) {
        // The table prints each address in network byte order read as a native number.
        const quint32 destination = qFromBigEndian(route.at(1).toUInt(nullptr, 16));
        const quint32 mask = qFromBigEndian(route.at(7).toUInt(nullptr, 16));
        const Subnet target(QHostAddress(destination), qPopulationCount(mask));
        QVERIFY2(insideOneOf(target, allowed4), route.join(' ').constData());
    }

    // The kernel's catch-all entry for IPv6 only rejects; every other route must stay inside.
    constexpr uint kReject = 0x0200;
    const QList<Subnet> allowed6 = {subnet("::1/128"), subnet("fe80::/10"), subnet("fd77::/16"),
                                    subnet("fd78::/16"), subnet("ff00::/8")};
    const QList<QByteArrayList> routes6 = routeTable("/proc/net/ipv6_route");
    QVERIFY(!routes6.isEmpty());
    for (const QByteArrayList &route : routes6) {
        if (route.at(8).toUInt(nullptr, 16) & kReject)
            continue;
        const QByteArray destination = QByteArray::fromHex(route.at(0));
        const Subnet target(QHostAddress(reinterpret_cast<const quint8 *>(destination.constData())),
                            static_cast<int>(route.at(1).toUInt(nullptr, 16)));
        QVERIFY2(insideOneOf(target, allowed6), route.join(' ').constData());
    }
}

void tst_netlab::answersThroughSecondNetwork_data()
{
    QTest::addColumn<QAbstractSocket::NetworkLayerProtocol>("family");
    QTest::newRow("IPv4") << QAbstractSocket::IPv4Protocol;
    QTest::newRow("IPv6") << QAbstractSocket::IPv6Protocol;
}

// Network 2 has no default multicast route, so the probe only gets there through an
// explicitly chosen interface; a unicast camera answers the sender, a multicast camera the
// answer group.
void tst_netlab::answersThroughSecondNetwork()
{
    LAB_REQUIRED();
    QFETCH(QAbstractSocket::NetworkLayerProtocol, family);

    SimulatorProcess simulator;
    QVERIFY(simulator.start(2, {Lab::cameraText(2, 0, QStringLiteral("N2U")),
                                Lab::cameraText(2, 1, QStringLiteral("N2M"),
                                                QStringLiteral("answer=multicast"))}));

    const QNetworkInterface network2 =
        QNetworkInterface::interfaceFromName(Lab::clientInterfaceName(2));
    QUdpSocket listener;
    QVERIFY(listener.bind(any(family), kAnswerPort, kShared));
    QVERIFY(listener.joinMulticastGroup(answerGroup(family), network2));
    QUdpSocket sender;
    QVERIFY(sender.bind(any(family), 0));
    sender.setMulticastInterface(network2);
    const Inbox direct(&sender);
    const Inbox grouped(&listener);

    QCOMPARE(sender.writeDatagram(kProbe, probeGroup(family), kProbePort), kProbe.size());

    const QString unicastCamera = camera(family, 2, 0).toString();
    const QString multicastCamera = camera(family, 2, 1).toString();
    QTRY_VERIFY_WITH_TIMEOUT(direct.received.contains(unicastCamera), kTimeoutMs);
    QTRY_VERIFY_WITH_TIMEOUT(grouped.received.contains(multicastCamera), kTimeoutMs);
    QVERIFY(direct.received.value(unicastCamera).startsWith("S/N: N2U\n"));
    QVERIFY(grouped.received.value(multicastCamera).startsWith("S/N: N2M\n"));

    const QHostAddress source = client(family, 2);
    QVERIFY(!simulator.waitForLine(datagramLine(QStringLiteral("N2U"), source, kProbe)).isNull());
    QVERIFY(!simulator.waitForLine(datagramLine(QStringLiteral("N2M"), source, kProbe)).isNull());
    QCOMPARE(simulator.stop(), 0);
}

void tst_netlab::networksStaySeparate_data()
{
    answersThroughSecondNetwork_data();
}

// A probe sent without choosing an interface follows the default multicast route into
// network 1 and never shows up on network 2, whose own traffic arrives in order behind it.
void tst_netlab::networksStaySeparate()
{
    LAB_REQUIRED();
    QFETCH(QAbstractSocket::NetworkLayerProtocol, family);

    SimulatorProcess network1;
    SimulatorProcess network2;
    QVERIFY(network1.start(1, {Lab::cameraText(1, 0, QStringLiteral("N1"))}));
    QVERIFY(network2.start(2, {Lab::cameraText(2, 0, QStringLiteral("N2"))}));

    QUdpSocket defaultRoute;
    QVERIFY(defaultRoute.bind(any(family), 0));
    const Inbox answers(&defaultRoute);
    QCOMPARE(defaultRoute.writeDatagram(kProbe, probeGroup(family), kProbePort), kProbe.size());
    QTRY_VERIFY_WITH_TIMEOUT(answers.received.contains(camera(family, 1, 0).toString()), kTimeoutMs);

    QUdpSocket viaNetwork2;
    QVERIFY(viaNetwork2.bind(any(family), 0));
    viaNetwork2.setMulticastInterface(QNetworkInterface::interfaceFromName(Lab::clientInterfaceName(2)));
    QCOMPARE(viaNetwork2.writeDatagram(kMarker, probeGroup(family), kProbePort), kMarker.size());
    QVERIFY(!network2.waitForLine(datagramLine(QStringLiteral("N2"), client(family, 2), kMarker))
                 .isNull());
    QCOMPARE(network2.lines(QStringLiteral("datagram ")).size(), 1);
    QVERIFY(network2.lines(QStringLiteral("answer ")).isEmpty());
}

QTEST_GUILESS_MAIN(tst_netlab)
#include "tst_netlab.moc"
