#include "CameraModel.h"
#include "Lab.h"
#include "SimulatorProcess.h"
#include "TaskRunner.h"

#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>
#include <memory>
#include <vector>

namespace {

constexpr quint16 kUpdatePort = 4799;
constexpr int kTimeoutMs = 15000;
const QString kPassword = QStringLiteral("Lab-Admin-7");
const QList<int> kFixedCodes = {0, -1, -200, -201, -202, -203, -204, -205, 32512, 7, -77};
const QStringList kSteps = {"sending", "applying", "status"};

QByteArray randomBytes(qsizetype size)
{
    QByteArray data(size, '\0');
    QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(data.data()), size / 4);
    return data;
}

}

// UpdateTask against the lab's simulated cameras: what each answer turns into in the camera
// item, the texts of failures, and the files as the cameras store them.
class UpdateTaskLabTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void statusReachesCameraItem_data();
    void statusReachesCameraItem();
    void failures_data();
    void failures();
    void filesArriveIntact_data();
    void filesArriveIntact();
    void emptyFileIsReportedDamaged();
    void manyCamerasAtOnce();

private:
    // The camera item of the simulated camera with this serial, as discovery would add it.
    QSharedPointer<CameraItem> camera(const QString &serial, bool ipv6 = false);
    QString writeFile(const QByteArray &content);
    // The status row without its time stamp, once the stamp is checked against the item's time.
    static QString statusText(const QSharedPointer<CameraItem> &camera);

    QStringList m_serials;
    QTemporaryDir m_directory;
    CameraModel m_model;
    std::unique_ptr<SimulatorProcess> m_simulator;
};

void UpdateTaskLabTest::initTestCase()
{
    LAB_REQUIRED();
    const QString password = "password=" + kPassword;
    QList<QPair<QString, QString>> cameras = {
        {"VERIFIED", password},       {"WRONG-PASSWORD", "password=other"}, {"SPLIT", password + ",update=split"},
        {"REFUSE", "update=refuse"},  {"SILENT", "update=silent"},          {"GARBAGE", "update=garbage"},
        {"NOFILE", password},         {"INTACT", password},                 {"EMPTY", password},
        {"MANY-1", password},         {"MANY-2", password},                 {"MANY-3", password},
        {"MANY-4", password},
    };
    for (int code : kFixedCodes)
        cameras.append({QStringLiteral("CODE%1").arg(code), QStringLiteral("update=code:%1").arg(code)});
    QStringList cameraTexts;
    for (const auto &[serial, options] : std::as_const(cameras)) {
        cameraTexts << Lab::cameraText(1, int(m_serials.size()), serial, options);
        m_serials << serial;
    }
    m_simulator = std::make_unique<SimulatorProcess>();
    QVERIFY(m_simulator->start(1, cameraTexts));
}

QSharedPointer<CameraItem> UpdateTaskLabTest::camera(const QString &serial, bool ipv6)
{
    const int index = int(m_serials.indexOf(serial));
    const QHostAddress address = ipv6 ? Lab::cameraIPv6(1, index) : Lab::cameraIPv4(1, index);
    const std::time_t now = std::time(nullptr);
    m_model.addCamera(address, {{QStringLiteral("S/N"), serial}}, *std::localtime(&now));
    return m_model.findCamera(serial, address);
}

QString UpdateTaskLabTest::writeFile(const QByteArray &content)
{
    static int files = 0;
    const QString path = m_directory.filePath(QStringLiteral("update-%1.bin").arg(++files));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
    return path;
}

QString UpdateTaskLabTest::statusText(const QSharedPointer<CameraItem> &camera)
{
    static const QRegularExpression stamp(QStringLiteral(" \\(at (\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d)\\)$"));
    const QString text = camera->updateStatusRow()->data(1).toString();
    const QRegularExpressionMatch match = stamp.match(text);
    if (!match.hasMatch() || match.captured(1) != camera->updateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")))
        return QStringLiteral("no matching time stamp: ") + text;
    return text.left(match.capturedStart());
}

void UpdateTaskLabTest::statusReachesCameraItem_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    const QStringList texts = {"Updated",
                               "Invalid update file",
                               "Invalid update file",
                               "Invalid user/password",
                               "Update file damaged/truncated",
                               "Invalid update file",
                               "Invalid update file",
                               "Unknown Error",
                               "Invalid update file",
                               "Unknown Error: 7",
                               "Unknown Error: -77"};
    for (int i = 0; i < kFixedCodes.size(); ++i)
        QTest::addRow("answers %d", kFixedCodes[i]) << QStringLiteral("CODE%1").arg(kFixedCodes[i]) << kFixedCodes[i] << texts[i];
    QTest::newRow("verified") << "VERIFIED" << 0 << "Updated";
    QTest::newRow("wrong password") << "WRONG-PASSWORD" << -201 << "Invalid user/password";
    QTest::newRow("answer in two segments") << "SPLIT" << 0 << "Updated";
}

void UpdateTaskLabTest::statusReachesCameraItem()
{
    QFETCH(QString, serial);
    const QSharedPointer<CameraItem> target = camera(serial);
    TaskRunner runner(target, writeFile("firmware"), kUpdatePort, kPassword);
    runner.start();
    QVERIFY(runner.waitForEnd(kTimeoutMs));
    QCOMPARE(runner.events(), kSteps);
    QVERIFY(runner.emittedOnlyFromTaskThread());
    QTEST(target->updateStatus(), "code");
    QTEST(statusText(target), "text");
}

// A failed transfer leaves the camera's status as it was: still "Unknown" here.
void UpdateTaskLabTest::failures_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<bool>("ipv6");
    QTest::addColumn<bool>("fileExists");
    QTest::addColumn<QStringList>("events");
    const auto cameraError = [this](const QString &serial, bool ipv6, const QString &text) {
        const int index = int(m_serials.indexOf(serial));
        const QHostAddress address = ipv6 ? Lab::cameraIPv6(1, index) : Lab::cameraIPv4(1, index);
        return QStringLiteral("error: Camera at %1: %2").arg(address.toString(), text);
    };
    QTest::newRow("refused") << "REFUSE" << false << true
                             << QStringList{cameraError("REFUSE", false, "Connection refused by peer.")};
    QTest::newRow("refused, IPv6") << "REFUSE" << true << true
                                   << QStringList{cameraError("REFUSE", true, "Connection refused by peer.")};
    QTest::newRow("closed without answer")
        << "SILENT" << false << true
        << QStringList{"sending", "applying", cameraError("SILENT", false, "Remote host closed connection.")};
    QTest::newRow("answer not a number") << "GARBAGE" << false << true
                                         << QStringList{"sending", "applying", "error: Update status could not be gathered"};
    // Opened only once connected; nothing is sent then, not even the length.
    QTest::newRow("unreadable file") << "NOFILE" << false << false << QStringList{"error: Could not open update file."};
}

void UpdateTaskLabTest::failures()
{
    QFETCH(QString, serial);
    QFETCH(bool, ipv6);
    QFETCH(bool, fileExists);
    const QSharedPointer<CameraItem> target = camera(serial, ipv6);
    TaskRunner runner(target, fileExists ? writeFile("firmware") : m_directory.filePath("missing.bin"), kUpdatePort,
                      kPassword);
    runner.start();
    QVERIFY(runner.waitForEnd(kTimeoutMs));
    QTEST(runner.events(), "events");
    QVERIFY(runner.emittedOnlyFromTaskThread());
    QCOMPARE(target->updateStatus(), -255);
    QCOMPARE(target->updateStatusRow()->data(1).toString(), QStringLiteral("Unknown"));
    if (!fileExists) {
        QCOMPARE(m_simulator->waitForLine(QStringLiteral("update-received NOFILE "), kTimeoutMs),
                 QStringLiteral("update-received NOFILE 0 0"));
    }
}

void UpdateTaskLabTest::filesArriveIntact_data()
{
    QTest::addColumn<int>("size");
    for (int size : {1, 15, 16, 6143, 6144, 6145, (3 << 20) + 4})
        QTest::addRow("%d bytes", size) << size;
}

void UpdateTaskLabTest::filesArriveIntact()
{
    QFETCH(int, size);
    const QByteArray content = randomBytes(size);
    const QSharedPointer<CameraItem> target = camera(QStringLiteral("INTACT"));
    TaskRunner runner(target, writeFile(content), kUpdatePort, kPassword);
    runner.start();
    QVERIFY(runner.waitForEnd(kTimeoutMs));
    QCOMPARE(runner.events(), kSteps);
    QCOMPARE(m_simulator->waitForLine(QStringLiteral("updated INTACT "), kTimeoutMs),
             QStringLiteral("updated INTACT %1").arg(size));
    QCOMPARE(target->updateStatus(), 0);
    QVERIFY(m_simulator->storedFile(QStringLiteral("INTACT")) == content);
}

// 100 characters are announced and 76 sent; the camera waits for the rest until its read
// time-out and then calls the file damaged.
void UpdateTaskLabTest::emptyFileIsReportedDamaged()
{
    const QSharedPointer<CameraItem> target = camera(QStringLiteral("EMPTY"));
    TaskRunner runner(target, writeFile(QByteArray()), kUpdatePort, kPassword);
    runner.start();
    QVERIFY(runner.waitForEnd(kTimeoutMs));
    QCOMPARE(runner.events(), kSteps);
    QCOMPARE(m_simulator->waitForLine(QStringLiteral("update-received EMPTY "), kTimeoutMs),
             QStringLiteral("update-received EMPTY 100 76"));
    QCOMPARE(statusText(target), QStringLiteral("Update file damaged/truncated"));
}

// One task and thread per camera, all released together, as the main window does it.
void UpdateTaskLabTest::manyCamerasAtOnce()
{
    const QByteArray content = randomBytes((1 << 20) + 12);
    const QString path = writeFile(content);
    std::vector<std::unique_ptr<TaskRunner>> runners;
    for (int i = 1; i <= 4; ++i)
        runners.push_back(std::make_unique<TaskRunner>(camera(QStringLiteral("MANY-%1").arg(i)), path, kUpdatePort, kPassword));
    for (const auto &runner : runners)
        runner->start();
    for (int i = 1; i <= 4; ++i) {
        QVERIFY(runners[i - 1]->waitForEnd(kTimeoutMs));
        QCOMPARE(runners[i - 1]->events(), kSteps);
        QVERIFY(runners[i - 1]->emittedOnlyFromTaskThread());
        QCOMPARE(camera(QStringLiteral("MANY-%1").arg(i))->updateStatus(), 0);
        QVERIFY(m_simulator->storedFile(QStringLiteral("MANY-%1").arg(i)) == content);
    }
}

QTEST_GUILESS_MAIN(UpdateTaskLabTest)
#include "UpdateTaskLabTest.moc"
