#include "Lab.h"

#include <QFile>
#include <QNetworkInterface>
#include <QSet>
#include <QTest>
#include <QtAlgorithms>
#include <QtEndian>

// The lab is isolated from the world: inside lab/netlab the client sees only its own lab
// interfaces and addresses, and no route leads out of the lab.
namespace {

using Subnet = QPair<QHostAddress, int>;

QList<Subnet> subnets(const QStringList &texts)
{
    QList<Subnet> result;
    for (const QString &text : texts)
        result << QHostAddress::parseSubnet(text);
    return result;
}

bool insideOneOf(const Subnet &route, const QList<Subnet> &allowed)
{
    for (const Subnet &prefix : allowed) {
        if (route.second >= prefix.second && route.first.isInSubnet(prefix))
            return true;
    }
    return false;
}

QList<QByteArrayList> routeTable(const QString &path)
{
    QFile file(path);
    QList<QByteArrayList> rows;
    if (file.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : file.readAll().split('\n')) {
            if (line.simplified().contains(' '))
                rows += line.simplified().split(' ');
        }
    }
    return rows;
}

} // namespace

class tst_netlab : public QObject
{
    Q_OBJECT

private slots:
    void confinedToTheLab();
};

void tst_netlab::confinedToTheLab()
{
    LAB_REQUIRED();
    const QList<Subnet> lab4 = subnets({"10.77.0.0/16", "10.78.0.0/16"});
    const QList<Subnet> lab6 = subnets({"::1/128", "fe80::/10", "fd77::/16", "fd78::/16"});
    const QSet<QString> names = {QStringLiteral("lo"), Lab::clientInterfaceName(1), Lab::clientInterfaceName(2)};
    for (const QNetworkInterface &interface : QNetworkInterface::allInterfaces()) {
        QVERIFY2(names.contains(interface.name()), qPrintable(interface.name()));
        for (const QNetworkAddressEntry &entry : interface.addressEntries())
            QVERIFY2(insideOneOf({entry.ip(), 128}, lab4 + lab6 + subnets({"127.0.0.0/8"})),
                     qPrintable(entry.ip().toString()));
    }

    const QList<QByteArrayList> routes4 = routeTable(QStringLiteral("/proc/net/route"));
    QVERIFY(routes4.size() > 1);
    for (const QByteArrayList &route : routes4.mid(1)) {
        // The table prints each address in network byte order read as a native number.
        const quint32 destination = qFromBigEndian(route.at(1).toUInt(nullptr, 16));
        const quint32 mask = qFromBigEndian(route.at(7).toUInt(nullptr, 16));
        const Subnet target(QHostAddress(destination), qPopulationCount(mask));
        QVERIFY2(insideOneOf(target, lab4 + subnets({"224.0.0.0/4"})), route.join(' ').constData());
    }

    // The kernel's catch-all entry for IPv6 only rejects; every other route must stay inside.
    constexpr uint kReject = 0x0200;
    const QList<QByteArrayList> routes6 = routeTable(QStringLiteral("/proc/net/ipv6_route"));
    QVERIFY(!routes6.isEmpty());
    for (const QByteArrayList &route : routes6) {
        if (route.at(8).toUInt(nullptr, 16) & kReject)
            continue;
        const QByteArray destination = QByteArray::fromHex(route.at(0));
        const Subnet target(QHostAddress(reinterpret_cast<const quint8 *>(destination.constData())),
                            int(route.at(1).toUInt(nullptr, 16)));
        QVERIFY2(insideOneOf(target, lab6 + subnets({"ff00::/8"})), route.join(' ').constData());
    }
}

QTEST_GUILESS_MAIN(tst_netlab)
#include "tst_netlab.moc"
