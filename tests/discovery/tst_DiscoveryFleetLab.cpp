#include "CameraFinder.h"
#include "Lab.h"
#include "SimulatorProcess.h"

#include <QHash>
#include <QtTest>

namespace {

constexpr int kCamerasPerNetwork = 500;
// Generous for a sanitizer build on a busy machine.
constexpr int kStartTimeoutMs = 60000;
constexpr int kAnswersTimeoutMs = 10000;

struct ExpectedCamera
{
    QString serial;
    QString hostname;
};

// Unicast answers to IPv4 probes reach the finder's dual-stack socket from IPv4-mapped
// IPv6 addresses.
QHostAddress plain(const QHostAddress &address)
{
    bool mapped = false;
    const quint32 ipv4 = address.toIPv4Address(&mapped);
    return mapped ? QHostAddress(ipv4) : address;
}

} // namespace

// A thousand cameras, five hundred on each lab network, answer one probe within a few tens of
// milliseconds, and the finder receives every answer. The window probes again every half
// second, but here no second probe follows, so an answer lost from the first never comes.
class DiscoveryFleetLabTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        LAB_REQUIRED();
        QVERIFY2(Lab::cameraCount() >= kCamerasPerNetwork,
                 qPrintable(QStringLiteral("the lab holds %1 cameras per network, the test needs %2: "
                                           "run it with NETLAB_CAMERA_COUNT=%2")
                                .arg(Lab::cameraCount())
                                .arg(kCamerasPerNetwork)));
        for (int network : {1, 2}) {
            QVERIFY(m_simulators[network - 1].start(network, {},
                                                    {"--fleet", QString::number(kCamerasPerNetwork),
                                                     "--network", QString::number(network)},
                                                    kStartTimeoutMs));
        }
    }

    void everyCameraAnswersTheFirstProbe_data()
    {
        QTest::addColumn<bool>("ipv6");
        QTest::newRow("IPv4") << false;
        QTest::newRow("IPv6") << true;
    }

    void everyCameraAnswersTheFirstProbe()
    {
        QFETCH(bool, ipv6);
        // The fleet's cameras are SIM<network>-<index>; camera 1 sends no serial line, and the
        // finder does not take such an answer.
        QHash<QHostAddress, ExpectedCamera> expected;
        for (int network : {1, 2}) {
            for (int index = 0; index < kCamerasPerNetwork; ++index) {
                if (index == 1)
                    continue;
                const QString serial = QStringLiteral("SIM%1-%2").arg(network).arg(index, 4, 10, QLatin1Char('0'));
                expected.insert(ipv6 ? Lab::cameraIPv6(network, index) : Lab::cameraIPv4(network, index),
                                {serial, QStringLiteral("cam-") + serial.toLower()});
            }
        }

        QHash<QHostAddress, QMap<QString, QString>> answers;
        qsizetype answerCount = 0;
        CameraFinder finder;
        connect(&finder, &CameraFinder::foundRemote, this,
                [&](const QHostAddress &address, const QMap<QString, QString> &properties) {
                    answers.insert(plain(address), properties);
                    ++answerCount;
                });
        finder.init();
        finder.init(QHostAddress(QLatin1String(ipv6 ? CameraFinder::kDefaultProbeGroupIPv6
                                                    : CameraFinder::kDefaultProbeGroupIPv4)),
                    4800, 16);
        finder.scan();

        QTRY_COMPARE_WITH_TIMEOUT(answers.size(), expected.size(), kAnswersTimeoutMs);
        QCOMPARE(answerCount, expected.size());
        for (auto answer = answers.cbegin(); answer != answers.cend(); ++answer) {
            const auto camera = expected.constFind(answer.key());
            QVERIFY2(camera != expected.cend(), qPrintable(answer.key().toString()));
            QCOMPARE(answer.value().value(QStringLiteral("Hostname")), camera->hostname);
            QCOMPARE(answer.value().value(QStringLiteral("S/N")), camera->serial);
        }
    }

private:
    SimulatorProcess m_simulators[2];
};

QTEST_GUILESS_MAIN(DiscoveryFleetLabTest)
#include "tst_DiscoveryFleetLab.moc"
