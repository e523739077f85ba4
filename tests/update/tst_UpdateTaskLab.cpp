#include "CameraModel.h"
#include "Lab.h"
#include "UpdateStatus.h"
#include "SimulatorProcess.h"
#include "TaskRunner.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>
#include <memory>
#include <vector>

namespace {

constexpr quint16 kUpdatePort = 4799;
constexpr int kTimeoutMs = 15000;
// Longer than the simulator's read time-out, after which it answers a short token.
constexpr std::chrono::seconds kStatusTimeout(3);
const QString kPassword = QStringLiteral("Lab-Admin-7");
const QStringList kSteps = {"sending", "applying", "status"};
// Cameras that answer this code whatever they receive, and the text the user then reads.
const QList<QPair<int, QString>> kAnswers = {
    {0, "Updated"},
    {-1, "Invalid update file"},
    {-200, "Invalid update file"},
    {-201, "Invalid user/password"},
    {-202, "Update file damaged/truncated"},
    {-203, "Invalid update file"},
    {-204, "Invalid update file"},
    {-205, "Unknown Error"},
    {32512, "Invalid update file"},
    {7, "Unknown Error: 7"},
};

// A camera on network 2 that takes the update slowly ("slow": 64 KiB every 50 ms) or at once
// and then applies it for ever without answering ("mute").
const char *const kStandInCamera = R"(
import socket, sys, time
server = socket.create_server((sys.argv[1], int(sys.argv[2])))
print("listening", flush=True)
camera, _ = server.accept()
while camera.recv(65536):
    if sys.argv[3] == "slow":
        time.sleep(0.05)
sys.stdin.read()
)";

bool setCameraLink(const char *state)
{
    return QProcess::execute(QStringLiteral("nsenter"), {"--net=" + Lab::cameraNamespace(2), "ip", "link", "set",
                                                          "cam2", state}) == 0;
}

QByteArray randomBytes(qsizetype size)
{
    QByteArray data(size, '\0');
    QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(data.data()), size / 4);
    return data;
}

}

// UpdateTask against the lab's simulated cameras: what each answer and failure turns into in
// the camera item, and the files as the cameras store them.
class tst_UpdateTaskLab : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void update_data();
    void update();
    void earlyAnswer();
    void manyCamerasAtOnce();
    void lostCamera_data();
    void lostCamera();

private:
    // The camera item of the simulated camera with this serial, as discovery would add it.
    QSharedPointer<CameraItem> camera(const QString &serial);
    QString writeFile(const QByteArray &content);

    QStringList m_serials;
    QTemporaryDir m_directory;
    CameraModel m_model;
    std::unique_ptr<SimulatorProcess> m_simulator;
};

void tst_UpdateTaskLab::initTestCase()
{
    LAB_REQUIRED();
    const QString password = "password=" + kPassword;
    QList<QPair<QString, QString>> cameras = {
        {"REFUSE", "update=refuse"}, {"SILENT", "update=silent"}, {"GARBAGE", "update=garbage"},
        {"WRONG-PASSWORD", "password=other"}, {"INTACT", password}, {"EMPTY", password}, {"NOFILE", password},
        {"MANY-1", password}, {"MANY-2", password}, {"MANY-3", password}, {"BATCH-1", password}, {"BATCH-2", password},
        {"MUTE", "update=mute"}, {"EARLY", "update=early"},
    };
    for (const auto &[code, text] : kAnswers)
        cameras.append({QStringLiteral("CODE%1").arg(code), QStringLiteral("update=code:%1").arg(code)});
    QStringList cameraTexts;
    for (const auto &[serial, options] : std::as_const(cameras)) {
        cameraTexts << Lab::cameraText(1, int(m_serials.size()), serial, options);
        m_serials << serial;
    }
    m_simulator = std::make_unique<SimulatorProcess>();
    QVERIFY(m_simulator->start(1, cameraTexts));
}

QSharedPointer<CameraItem> tst_UpdateTaskLab::camera(const QString &serial)
{
    const QHostAddress address = Lab::cameraIPv4(1, int(m_serials.indexOf(serial)));
    const std::time_t now = std::time(nullptr);
    m_model.addCamera(address, {{QStringLiteral("S/N"), serial}}, *std::localtime(&now));
    return m_model.findCamera(serial, address);
}

QString tst_UpdateTaskLab::writeFile(const QByteArray &content)
{
    static int files = 0;
    const QString path = m_directory.filePath(QStringLiteral("update-%1.bin").arg(++files));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
    return path;
}

// A failed transfer reports no status: "Unknown" (-255) here. "received" is what the camera
// counted, announced and received characters, when the row checks it.
void tst_UpdateTaskLab::update_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<int>("size");
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("received");
    for (const auto &[code, text] : kAnswers)
        QTest::addRow("answers %d", code) << QStringLiteral("CODE%1").arg(code) << 8 << kSteps << code << text
                                          << QString();
    QTest::newRow("wrong password") << "WRONG-PASSWORD" << 8 << kSteps << -201 << "Invalid user/password" << "100 100";
    const auto error = [](const QString &text) { return QStringList{"sending", "applying", "error: " + text}; };
    QTest::newRow("refused") << "REFUSE" << 8
                             << QStringList{"error: Camera REFUSE at 10.77.0.10: Connection refused by peer."} << -255
                             << "Unknown" << QString();
    QTest::newRow("closed without answer")
        << "SILENT" << 8 << error("Camera SILENT at 10.77.0.11: Remote host closed connection.") << -255 << "Unknown"
        << "100 100";
    QTest::newRow("answer not a number") << "GARBAGE" << 8
                                         << error("Camera GARBAGE at 10.77.0.12: Update status could not be gathered")
                                         << -255 << "Unknown" << "100 100";
    QTest::newRow("never answers")
        << "MUTE" << 8
        << error(QStringLiteral("Camera MUTE at %1: no answer within 3 s after the update was sent")
                     .arg(Lab::cameraIPv4(1, int(m_serials.indexOf("MUTE"))).toString()))
        << -255 << "Unknown" << "100 100";
    // Opened only once connected; nothing is sent then, not even the length.
    QTest::newRow("unreadable file")
        << "NOFILE" << -1
        << QStringList{"error: Camera NOFILE at 10.77.0.16: Could not open update file: No such file or directory"}
        << -255 << "Unknown" << "0 0";
    // 100 characters are announced and 76 sent; the camera waits for the rest until its read
    // time-out and then calls the file damaged.
    QTest::newRow("empty file") << "EMPTY" << 0 << kSteps << -202 << "Update file damaged/truncated" << "100 76";
    for (int size : {1, 15, 16, 6143, 6144, 6145, (3 << 20) + 4})
        QTest::addRow("%d bytes arrive intact", size) << "INTACT" << size << kSteps << 0 << "Updated" << QString();
}

void tst_UpdateTaskLab::update()
{
    QFETCH(QString, serial);
    QFETCH(int, size);
    QFETCH(QString, received);
    const QByteArray content = randomBytes(qMax(size, 0));
    const QSharedPointer<CameraItem> target = camera(serial);
    TaskRunner runner(target, size < 0 ? m_directory.filePath("missing.bin") : writeFile(content), kUpdatePort,
                      kPassword, {}, kStatusTimeout);
    QTEST(runner.events(kTimeoutMs), "events");
    QTEST(runner.code(), "code");
    QTEST(updateStatusText(runner.code()), "text");
    if (!received.isEmpty())
        QCOMPARE(m_simulator->waitForLine("update-received " + serial + ' ', kTimeoutMs),
                 "update-received " + serial + ' ' + received);
    if (serial == QLatin1String("INTACT"))
        QVERIFY(m_simulator->storedFile(serial) == content);
}

// A camera that answers while the token is still being sent is not listened to: the task stops
// sending and names the camera and what it said.
void tst_UpdateTaskLab::earlyAnswer()
{
    TaskRunner runner(camera("EARLY"), writeFile(randomBytes(16 << 20)), kUpdatePort, kPassword);
    const QString address = Lab::cameraIPv4(1, int(m_serials.indexOf("EARLY"))).toString();
    QCOMPARE(runner.events(kTimeoutMs),
             QStringList({"sending", "error: Camera EARLY at " + address
                                         + ": answered before the whole update was sent (\"-201\")"}));
    const QStringList received = m_simulator->waitForLine("update-received EARLY ", kTimeoutMs).split(' ');
    QCOMPARE(received.size(), 4);
    QVERIFY2(received[3].toLongLong() < received[2].toLongLong(), qPrintable(received.join(' ')));
}

// One task and thread per camera, all at once.
void tst_UpdateTaskLab::manyCamerasAtOnce()
{
    const QByteArray content = randomBytes((1 << 20) + 12);
    const QString path = writeFile(content);
    const QStringList serials = {"MANY-1", "MANY-2", "MANY-3"};
    std::vector<std::unique_ptr<TaskRunner>> runners;
    for (const QString &serial : serials)
        runners.push_back(std::make_unique<TaskRunner>(camera(serial), path, kUpdatePort, kPassword));
    for (int i = 0; i < serials.size(); ++i) {
        QCOMPARE(runners[i]->events(kTimeoutMs), kSteps);
        QCOMPARE(runners[i]->code(), 0);
        QVERIFY(m_simulator->storedFile(serials[i]) == content);
    }
}

void tst_UpdateTaskLab::lostCamera_data()
{
    QTest::addColumn<QString>("behaviour");
    QTest::addColumn<QString>("lastStep");
    QTest::addColumn<QString>("text");
    // Qt's write path does not translate the kernel's time-out and leaves the socket with the
    // code its connect() set last, which the task reads as what it is; the read path, used
    // while the camera applies, translates it.
    QTest::newRow("while sending") << "slow" << "sending" << "stopped accepting data while the update was sent";
    QTest::newRow("while applying") << "mute" << "applying" << "Connection timeout";
}

// A camera that loses its link is reported by the socket within the dead-peer time-out, while
// the rest of its batch finishes. Before the link goes, the camera is slow or silent for longer
// than that time-out and is not cut off.
void tst_UpdateTaskLab::lostCamera()
{
    QFETCH(QString, behaviour);
    QFETCH(QString, lastStep);
    QFETCH(QString, text);
    constexpr std::chrono::seconds deadPeerTimeout(2);
    constexpr int aliveMs = 5000;
    const QHostAddress lostAddress = Lab::cameraIPv4(2, 0);
    QProcess standIn;
    standIn.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    standIn.start("nsenter", {"--net=" + Lab::cameraNamespace(2), "python3", "-c", kStandInCamera,
                              lostAddress.toString(), QString::number(kUpdatePort), behaviour});
    QVERIFY(standIn.waitForReadyRead(kTimeoutMs));
    const auto restore = qScopeGuard([&] {
        setCameraLink("up");
        standIn.kill();
        standIn.waitForFinished();
    });

    const QByteArray content = randomBytes(32 << 20);
    const QString path = writeFile(content);
    const std::time_t now = std::time(nullptr);
    m_model.addCamera(lostAddress, {{QStringLiteral("S/N"), QStringLiteral("LOST")}}, *std::localtime(&now));
    TaskRunner lost(m_model.findCamera(QStringLiteral("LOST"), lostAddress), path, kUpdatePort, kPassword,
                    deadPeerTimeout);
    std::vector<std::unique_ptr<TaskRunner>> batch;
    for (const char *serial : {"BATCH-1", "BATCH-2"})
        batch.push_back(std::make_unique<TaskRunner>(camera(serial), path, kUpdatePort, kPassword, deadPeerTimeout));

    QVERIFY(lost.waitFor(lastStep, kTimeoutMs));
    QVERIFY(!lost.waitFor(QStringLiteral("error"), aliveMs));
    QVERIFY(setCameraLink("down"));
    QElapsedTimer sinceLinkDown;
    sinceLinkDown.start();
    const QStringList events = lost.events(kTimeoutMs);
    qInfo("link down to error: %lld ms", sinceLinkDown.elapsed());
    QVERIFY(sinceLinkDown.elapsed() < std::chrono::milliseconds(deadPeerTimeout).count() + 3000);
    QCOMPARE(events, kSteps.mid(0, kSteps.indexOf(lastStep) + 1)
                         + QStringList{"error: Camera LOST at 10.78.0.10: " + text});
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(batch[i]->events(kTimeoutMs), kSteps);
        QVERIFY(m_simulator->storedFile(QStringLiteral("BATCH-%1").arg(i + 1)) == content);
    }
}

QTEST_GUILESS_MAIN(tst_UpdateTaskLab)
#include "tst_UpdateTaskLab.moc"
