#include "CameraFinder.h"
#include "CameraModel.h"
#include "Lab.h"
#include "SimulatorProcess.h"

#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QtTest>

namespace {

constexpr int kProbes = 4;
constexpr int kHostileIndex = 5;
// The summary follows the last probe by the answer grace; generous for a sanitizer build.
constexpr int kTimeoutMs = 15000;

const QHostAddress kGroup(QLatin1String(CameraFinder::kDefaultProbeGroupIPv4));

} // namespace

// Fake cameras beside two genuine ones, one per lab network: whatever the fake sends creates
// no camera (or no more than the serials one address may give), the window learns of it in one
// line per scan, and the genuine cameras are found all the same.
class HostileDiscoveryLabTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { LAB_REQUIRED(); }

    void hostileAnswersAreDropped_data()
    {
        QTest::addColumn<QString>("options");
        QTest::addColumn<int>("network");
        QTest::addColumn<int>("camerasAllowed");
        QTest::addColumn<int>("datagramsPerAnswer");
        QTest::addColumn<QString>("reason");
        QTest::newRow("random bytes") << "discovery=random" << 1 << 0 << 1 << "not printable text";
        QTest::newRow("no serial line") << "noserial" << 1 << 0 << 1 << "without a serial number";
        QTest::newRow("control characters") << "discovery=control" << 2 << 0 << 1 << "not printable text";
        QTest::newRow("overlong value") << "discovery=overlong" << 1 << 0 << 1
                                        << "a key longer than 64 or a value longer than 256 characters";
        QTest::newRow("many serials from one address")
            << "discovery=flood" << 2 << CameraFinder::kMaxSerialsPerSender << 200 << "beyond 8 serial numbers from one address";
        // Sent by a device on network 2 that claims an address of network 1.
        QTest::newRow("forged sender") << "forge=" + Lab::cameraIPv4(1, kHostileIndex).toString() << 2 << 0 << 1
                                       << "from an address outside the network it arrived on";
    }

    void hostileAnswersAreDropped()
    {
        QFETCH(QString, options);
        QFETCH(int, network);
        QFETCH(int, camerasAllowed);
        QFETCH(int, datagramsPerAnswer);
        QFETCH(QString, reason);
        QVERIFY(allowForeignSenders());
        QStringList cameras[2]{{Lab::cameraText(1, 0, "A100")}, {Lab::cameraText(2, 0, "D400")}};
        cameras[network - 1].append(Lab::cameraText(network, kHostileIndex, "EVIL", options));
        SimulatorProcess simulators[2];
        QVERIFY(simulators[0].start(1, cameras[0]));
        QVERIFY(simulators[1].start(2, cameras[1]));

        CameraModel model;
        CameraFinder finder;
        connect(&finder, &CameraFinder::foundRemote, &model, &CameraModel::addCamera);
        QSignalSpy dropped(&finder, &CameraFinder::answersDropped);
        finder.init();
        finder.init(kGroup, 4800, 16);
        int probes = 0;
        QTimer burst;
        connect(&burst, &QTimer::timeout, [&] {
            finder.scan();
            if (++probes == kProbes)
                burst.stop();
        });
        burst.start(300);

        QTRY_VERIFY_WITH_TIMEOUT(dropped.count() > 0, kTimeoutMs);
        QVERIFY(model.findCamera("A100", Lab::cameraIPv4(1, 0)));
        QVERIFY(model.findCamera("D400", Lab::cameraIPv4(2, 0)));
        QCOMPARE(model.cameras().size(), 2 + camerasAllowed);

        // Every datagram the fake sent is counted, all of them in one line. A flood of hundreds
        // of datagrams at once may lose some on the way.
        const qsizetype sent = simulators[network - 1].lines(QStringLiteral("answer EVIL ")).size() * datagramsPerAnswer;
        QCOMPARE(dropped.count(), 1);
        const QString summary = dropped.first().first().toString();
        const QRegularExpressionMatch counted = QRegularExpression(QStringLiteral("^Discovery dropped (\\d+) answers: \\1 (.*)$")).match(summary);
        QVERIFY2(counted.hasMatch(), qPrintable(summary));
        QCOMPARE(counted.captured(2), reason);
        if (datagramsPerAnswer == 1)
            QCOMPARE(counted.captured(1).toLongLong(), sent);
        else
            QVERIFY2(counted.captured(1).toLongLong() <= sent - camerasAllowed, qPrintable(summary));
    }

    void answersOutsideAScanAreDropped()
    {
        SimulatorProcess genuine;
        SimulatorProcess hostile;
        QVERIFY(genuine.start(1, {Lab::cameraText(1, 0, "A100")}));
        QVERIFY(hostile.start(2, {Lab::cameraText(2, kHostileIndex, "EVIL", "discovery=unsolicited")}));

        CameraModel model;
        CameraFinder finder;
        connect(&finder, &CameraFinder::foundRemote, &model, &CameraModel::addCamera);
        QSignalSpy dropped(&finder, &CameraFinder::answersDropped);
        finder.init();
        finder.init(kGroup, 4800, 16);
        QTRY_VERIFY_WITH_TIMEOUT(dropped.count() > 0, kTimeoutMs);
        QVERIFY2(dropped.first().first().toString().endsWith(QLatin1String(" outside a scan")),
                 qPrintable(dropped.first().first().toString()));
        QCOMPARE(model.cameras().size(), 0);

        QCOMPARE(hostile.stop(), 0);
        finder.scan();
        QTRY_VERIFY_WITH_TIMEOUT(model.findCamera("A100", Lab::cameraIPv4(1, 0)), kTimeoutMs);
        QCOMPARE(model.cameras().size(), 1);
    }

private:
    // A kernel that filters by reverse path would drop the forged datagram before the finder
    // could; a hostile laptop's network need not do that, so the lab does not either.
    static bool allowForeignSenders()
    {
        for (const QString &interface : {QStringLiteral("all"), Lab::clientInterfaceName(2)}) {
            QFile setting(QStringLiteral("/proc/sys/net/ipv4/conf/%1/rp_filter").arg(interface));
            if (!setting.open(QIODevice::WriteOnly) || setting.write("0\n") != 2) {
                qWarning("cannot switch off %s: %s", qPrintable(setting.fileName()), qPrintable(setting.errorString()));
                return false;
            }
        }
        return true;
    }
};

QTEST_GUILESS_MAIN(HostileDiscoveryLabTest)
#include "tst_HostileDiscoveryLab.moc"
