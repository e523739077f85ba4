#include "CameraFinder.h"
#include "CameraModel.h"
#include "Lab.h"
#include "SimulatorProcess.h"

#include <QSignalSpy>
#include <QThread>
#include <QtTest>

namespace {

struct ExpectedCamera
{
    int network;
    int index;
    QString serial;
};

// The finder on a worker thread of its own, driven only through queued calls as the window does.
class FinderOnThread
{
public:
    explicit FinderOnThread(CameraModel &model)
        : m_finder(new CameraFinder)
    {
        m_burst.setInterval(300);
        QObject::connect(&m_burst, &QTimer::timeout, [this] { scan(); });
        m_finder->moveToThread(&m_thread);
        QObject::connect(&m_thread, &QThread::started, m_finder, qOverload<>(&CameraFinder::init));
        QObject::connect(&m_thread, &QThread::finished, m_finder, &QObject::deleteLater);
        QObject::connect(m_finder, &CameraFinder::foundRemote, &model, &CameraModel::addCamera);
        m_thread.start();
    }

    ~FinderOnThread()
    {
        m_thread.quit();
        m_thread.wait();
    }

    void configure(const QHostAddress &group)
    {
        CameraFinder *finder = m_finder;
        QMetaObject::invokeMethod(finder, [finder, group] { finder->init(group, 4800, 16); });
    }

    void scan() { QMetaObject::invokeMethod(m_finder, &CameraFinder::scan); }

    // Probes every 300 ms while the test waits, as a scan burst would.
    void startBurst() { m_burst.start(); }

private:
    QTimer m_burst;
    QThread m_thread;
    CameraFinder *m_finder;
};

QHostAddress addressOf(const ExpectedCamera &camera, bool ipv6)
{
    return ipv6 ? Lab::cameraIPv6(camera.network, camera.index) : Lab::cameraIPv4(camera.network, camera.index);
}

QString versionValue(const QSharedPointer<CameraItem> &camera, const QString &key)
{
    for (const QSharedPointer<Item> &row : std::as_const(camera->versionRow()->children())) {
        if (row->data(0).toString() == key)
            return row->data(1).toString();
    }
    return {};
}

} // namespace

class DiscoveryLabTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { LAB_REQUIRED(); }

    void findsCamerasOnBothNetworks_data()
    {
        QTest::addColumn<bool>("ipv6");
        QTest::newRow("IPv4") << false;
        QTest::newRow("IPv6") << true;
    }

    // Network 2 carries no default multicast route: its cameras are found only when each
    // interface's probe really leaves through that interface.
    void findsCamerasOnBothNetworks()
    {
        QFETCH(bool, ipv6);
        SimulatorProcess primary;
        SimulatorProcess secondary;
        QVERIFY(primary.start(1, {Lab::cameraText(1, 0, "A100", "version=3.2.1"),
                                  Lab::cameraText(1, 1, "B200", "answer=multicast"),
                                  Lab::cameraText(1, 2, "C300", "crlf,answer=multicast,model=Gate Cam")}));
        QVERIFY(secondary.start(2, {Lab::cameraText(2, 0, "D400", "answer=unicast,crlf"),
                                    Lab::cameraText(2, 1, "E500", "answer=multicast")}));
        const QList<ExpectedCamera> expected{
            {1, 0, "A100"}, {1, 1, "B200"}, {1, 2, "C300"}, {2, 0, "D400"}, {2, 1, "E500"}};

        CameraModel model;
        FinderOnThread finder(model);
        finder.configure(QHostAddress(QLatin1String(ipv6 ? CameraFinder::kDefaultProbeGroupIPv6
                                                          : CameraFinder::kDefaultProbeGroupIPv4)));
        finder.startBurst();
        QTRY_COMPARE_WITH_TIMEOUT(model.cameras().size(), expected.size(), 10000);

        for (const ExpectedCamera &camera : expected) {
            const QSharedPointer<CameraItem> found = model.findCamera(camera.serial, addressOf(camera, ipv6));
            QVERIFY2(found, qPrintable(camera.serial));
            QCOMPARE(found->addressText(), addressOf(camera, ipv6).toString());
            QCOMPARE(found->ipv4Row()->data(1).toString().isEmpty(), ipv6);
            QCOMPARE(found->lastConnectionRow()->data(1).toString().size(), 19);
        }
        const QSharedPointer<CameraItem> first = model.findCamera("A100", Lab::cameraIPv4(1, 0));
        QVERIFY(!ipv6 || model.findCamera("A100", Lab::cameraIPv6(1, 0)));
        if (first)
            QCOMPARE(versionValue(first, "S/N"), QStringLiteral("A100"));
        const QSharedPointer<CameraItem> crlf = model.findCamera("C300", addressOf({1, 2, ""}, ipv6));
        QCOMPARE(versionValue(crlf, "Model"), QStringLiteral("Gate Cam"));
        QCOMPARE(versionValue(model.findCamera("D400", addressOf({2, 0, ""}, ipv6)), "S/N"), QStringLiteral("D400"));
    }

    void answeringAgainOnlyUpdatesLastConnection()
    {
        SimulatorProcess simulator;
        QVERIFY(simulator.start(1, {Lab::cameraText(1, 0, "A100"), Lab::cameraText(1, 1, "B200", "answer=multicast")}));
        CameraModel model;
        FinderOnThread finder(model);
        finder.configure(QHostAddress(QLatin1String(CameraFinder::kDefaultProbeGroupIPv4)));
        finder.startBurst();
        QTRY_COMPARE_WITH_TIMEOUT(model.cameras().size(), 2, 10000);

        QSignalSpy inserted(&model, &CameraModel::rowsInserted);
        QSignalSpy changed(&model, &CameraModel::dataChanged);
        QTRY_VERIFY_WITH_TIMEOUT(changed.count() >= 2, 10000);
        QCOMPARE(inserted.count(), 0);
        QCOMPARE(model.cameras().size(), 2);
        for (const QList<QVariant> &signal : std::as_const(changed))
            QCOMPARE(signal.at(0).value<QModelIndex>().column(), 1);
    }

    void sameSerialAtTwoAddressesIsTwoCameras()
    {
        SimulatorProcess simulator;
        QVERIFY(simulator.start(1, {Lab::cameraText(1, 0, "TWIN"), Lab::cameraText(1, 1, "TWIN")}));
        CameraModel model;
        FinderOnThread finder(model);
        finder.configure(QHostAddress(QLatin1String(CameraFinder::kDefaultProbeGroupIPv4)));
        finder.startBurst();
        QTRY_COMPARE_WITH_TIMEOUT(model.cameras().size(), 2, 10000);
        QVERIFY(model.findCamera("TWIN", Lab::cameraIPv4(1, 0)));
        QVERIFY(model.findCamera("TWIN", Lab::cameraIPv4(1, 1)));
    }

    // Multicast answers reach only a listener bound for the probe's family, so each
    // reconfiguration must rebind it: IPv4, then IPv6, then IPv4 again.
    void reconfiguresBetweenFamilies()
    {
        SimulatorProcess simulator;
        QVERIFY(simulator.start(1, {Lab::cameraText(1, 0, "M100", "answer=multicast")}));
        CameraModel model;
        FinderOnThread finder(model);
        finder.startBurst();
        const QList<QPair<const char *, QHostAddress>> steps{
            {CameraFinder::kDefaultProbeGroupIPv4, Lab::cameraIPv4(1, 0)},
            {CameraFinder::kDefaultProbeGroupIPv6, Lab::cameraIPv6(1, 0)},
            {CameraFinder::kDefaultProbeGroupIPv4, Lab::cameraIPv4(1, 0)},
        };
        for (const auto &[group, cameraAddress] : steps) {
            model.clear();
            finder.configure(QHostAddress(QLatin1String(group)));
            QTRY_VERIFY_WITH_TIMEOUT(model.findCamera("M100", cameraAddress), 10000);
        }
    }

    // A scan before the finder knows its group sends nothing; the probe that follows is
    // the 12 bytes "Hello there!" and nothing else.
    void probeOnTheWire()
    {
        SimulatorProcess simulator;
        QVERIFY(simulator.start(1, {Lab::cameraText(1, 0, "A100")}));
        CameraModel model;
        FinderOnThread finder(model);
        finder.scan();
        finder.configure(QHostAddress(QLatin1String(CameraFinder::kDefaultProbeGroupIPv4)));
        finder.scan();

        // Datagrams on one link arrive in order: once the answer to the real probe is in,
        // anything the early scan had sent would have arrived before it.
        QVERIFY(!simulator.waitForLine(QStringLiteral("answer A100")).isNull());
        const QStringList received = simulator.lines(QStringLiteral("datagram A100 "));
        QCOMPARE(received.size(), 1);
        QCOMPARE(received.first().section(QLatin1Char(' '), 3), QString::fromLatin1(QByteArray("Hello there!").toHex()));
        QCOMPARE(received.first().section(QLatin1Char(' '), 2, 2), Lab::clientIPv4(1).toString());
    }
};

QTEST_GUILESS_MAIN(DiscoveryLabTest)
#include "tst_DiscoveryLab.moc"
