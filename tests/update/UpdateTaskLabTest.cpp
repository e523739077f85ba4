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
constexpr int kTaskTimeoutMs = 15000;
const QString kPassword = QStringLiteral("Lab-Admin-7");

struct LabCamera
{
    QString serial;
    QString options;
};

// One simulated camera per behaviour, each on its own lab address (its index here).
const QList<LabCamera> &labCameras()
{
    static const QList<LabCamera> cameras = {
        {"UPD-VERIFIED", "password=" + kPassword},
        {"UPD-INTACT", "password=" + kPassword},
        {"UPD-NOFILE", "password=" + kPassword},
        {"UPD-WRONG-PASSWORD", "password=other-password"},
        {"UPD-REFUSE", "update=refuse"},
        {"UPD-GARBAGE", "update=garbage"},
        {"UPD-SILENT", "update=silent"},
        {"UPD-SPLIT", "password=" + kPassword + ",update=split"},
        {"UPD-EMPTY", "password=" + kPassword},
        {"UPD-MANY-1", "password=" + kPassword},
        {"UPD-MANY-2", "password=" + kPassword},
        {"UPD-MANY-3", "password=" + kPassword},
        {"UPD-MANY-4", "password=" + kPassword},
        {"UPD-CODE-0", "update=code:0"},
        {"UPD-CODE--1", "update=code:-1"},
        {"UPD-CODE--200", "update=code:-200"},
        {"UPD-CODE--201", "update=code:-201"},
        {"UPD-CODE--202", "update=code:-202"},
        {"UPD-CODE--203", "update=code:-203"},
        {"UPD-CODE--204", "update=code:-204"},
        {"UPD-CODE--205", "update=code:-205"},
        {"UPD-CODE-32512", "update=code:32512"},
        {"UPD-CODE-7", "update=code:7"},
        {"UPD-CODE--77", "update=code:-77"},
    };
    return cameras;
}

int labIndex(const QString &serial)
{
    for (int i = 0; i < labCameras().size(); ++i) {
        if (labCameras().at(i).serial == serial)
            return i;
    }
    return -1;
}

QByteArray randomBytes(qsizetype size)
{
    QByteArray data(size, Qt::Uninitialized);
    for (char &byte : data)
        byte = char(QRandomGenerator::global()->bounded(256));
    return data;
}

}

// UpdateTask against the simulated cameras of the network lab: what each camera answer
// turns into in the camera item, the texts of failures, and the files as the camera stores them.
class UpdateTaskLabTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void statusReachesCameraItem_data();
    void statusReachesCameraItem();
    void failures_data();
    void failures();
    void unreadableUpdateFile_data();
    void unreadableUpdateFile();
    void filesArriveIntact_data();
    void filesArriveIntact();
    void emptyFileIsReportedDamaged();
    void manyCamerasAtOnce();

private:
    QSharedPointer<CameraItem> camera(const QString &serial, bool ipv6 = false);
    QString writeFile(const QString &name, const QByteArray &content);
    static QString statusRowText(const QSharedPointer<CameraItem> &camera);

    QTemporaryDir m_directory;
    CameraModel m_model;
    std::unique_ptr<SimulatorProcess> m_simulator;
    QString m_smallFile;
};

void UpdateTaskLabTest::initTestCase()
{
    LAB_REQUIRED();
    QVERIFY(m_directory.isValid());
    QStringList specs;
    for (int i = 0; i < labCameras().size(); ++i)
        specs << Lab::cameraSpec(1, i, labCameras().at(i).serial, labCameras().at(i).options);
    m_simulator = std::make_unique<SimulatorProcess>();
    QVERIFY(m_simulator->start(1, specs));
    m_smallFile = writeFile(QStringLiteral("small.bin"), randomBytes(1000));
}

QSharedPointer<CameraItem> UpdateTaskLabTest::camera(const QString &serial, bool ipv6)
{
    const int index = labIndex(serial);
    const QHostAddress address = ipv6 ? Lab::cameraIPv6(1, index) : Lab::cameraIPv4(1, index);
    const std::time_t now = std::time(nullptr);
    m_model.addCamera(address, {{QStringLiteral("S/N"), serial}}, *std::localtime(&now));
    return m_model.findCamera(serial, address);
}

QString UpdateTaskLabTest::writeFile(const QString &name, const QByteArray &content)
{
    const QString path = m_directory.filePath(name);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
    return path;
}

// The row text ends with the time the status was stored, which must be the item's update time.
QString UpdateTaskLabTest::statusRowText(const QSharedPointer<CameraItem> &camera)
{
    static const QRegularExpression stamp(QStringLiteral(" \\(at (\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d)\\)$"));
    const QString text = camera->updateStatusRow()->data(1).toString();
    const QRegularExpressionMatch match = stamp.match(text);
    if (!match.hasMatch() || match.captured(1) != camera->updateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")))
        return QStringLiteral("<no time stamp> ") + text;
    return text.left(match.capturedStart());
}

void UpdateTaskLabTest::statusReachesCameraItem_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::newRow("0") << "UPD-CODE-0" << 0 << "Updated";
    QTest::newRow("-1") << "UPD-CODE--1" << -1 << "Invalid update file";
    QTest::newRow("-200") << "UPD-CODE--200" << -200 << "Invalid update file";
    QTest::newRow("-201") << "UPD-CODE--201" << -201 << "Invalid user/password";
    QTest::newRow("-202") << "UPD-CODE--202" << -202 << "Update file damaged/truncated";
    QTest::newRow("-203") << "UPD-CODE--203" << -203 << "Invalid update file";
    QTest::newRow("-204") << "UPD-CODE--204" << -204 << "Invalid update file";
    QTest::newRow("-205") << "UPD-CODE--205" << -205 << "Unknown Error";
    QTest::newRow("32512") << "UPD-CODE-32512" << 32512 << "Invalid update file";
    QTest::newRow("7") << "UPD-CODE-7" << 7 << "Unknown Error: 7";
    QTest::newRow("-77") << "UPD-CODE--77" << -77 << "Unknown Error: -77";
    QTest::newRow("verified") << "UPD-VERIFIED" << 0 << "Updated";
    QTest::newRow("wrong password") << "UPD-WRONG-PASSWORD" << -201 << "Invalid user/password";
    // The camera sends its answer in two segments, the first " 0\n" whole.
    QTest::newRow("split, verified") << "UPD-SPLIT" << 0 << "Updated";
}

void UpdateTaskLabTest::statusReachesCameraItem()
{
    QFETCH(QString, serial);
    QFETCH(int, code);
    const QSharedPointer<CameraItem> target = camera(serial);
    QVERIFY(target);
    TaskRunner runner(target, m_smallFile, kUpdatePort, kPassword);
    runner.start();
    QVERIFY(runner.waitForEnd(kTaskTimeoutMs));
    QCOMPARE(runner.events(), QStringList({"sending", "applying", "status"}));
    QVERIFY(runner.emittedOnlyFromTaskThread());
    QCOMPARE(target->updateStatus(), code);
    QTEST(statusRowText(target), "text");
}

void UpdateTaskLabTest::failures_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<bool>("ipv6");
    QTest::addColumn<QStringList>("events");
    const QString refusedV4 = "Camera at " + Lab::cameraIPv4(1, labIndex("UPD-REFUSE")).toString() + ": Connection refused by peer.";
    const QString refusedV6 = "Camera at " + Lab::cameraIPv6(1, labIndex("UPD-REFUSE")).toString() + ": Connection refused by peer.";
    const QString closed = "Camera at " + Lab::cameraIPv4(1, labIndex("UPD-SILENT")).toString() + ": Remote host closed connection.";
    QTest::newRow("refused") << "UPD-REFUSE" << false << QStringList{"error: " + refusedV4};
    QTest::newRow("refused over IPv6") << "UPD-REFUSE" << true << QStringList{"error: " + refusedV6};
    QTest::newRow("closed without answer") << "UPD-SILENT" << false
                                           << QStringList{"sending", "applying", "error: " + closed};
    QTest::newRow("answer not a number") << "UPD-GARBAGE" << false
                                         << QStringList{"sending", "applying", "error: Update status could not be gathered"};
}

// A failed transfer leaves the camera's status as it was: still "Unknown" here.
void UpdateTaskLabTest::failures()
{
    QFETCH(QString, serial);
    QFETCH(bool, ipv6);
    const QSharedPointer<CameraItem> target = camera(serial, ipv6);
    QVERIFY(target);
    TaskRunner runner(target, m_smallFile, kUpdatePort, kPassword);
    runner.start();
    QVERIFY(runner.waitForEnd(kTaskTimeoutMs));
    QTEST(runner.events(), "events");
    QVERIFY(runner.emittedOnlyFromTaskThread());
    QCOMPARE(target->updateStatus(), -255);
    QCOMPARE(target->updateStatusRow()->data(1).toString(), QStringLiteral("Unknown"));
}

void UpdateTaskLabTest::unreadableUpdateFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << m_directory.filePath(QStringLiteral("missing.bin"));
    QTest::newRow("a folder") << m_directory.path();
}

// The file is opened only once the connection stands; the task then reports the file
// without the camera prefix and sends nothing, not even the length, so the camera gives
// up after its read time-out having received nothing.
void UpdateTaskLabTest::unreadableUpdateFile()
{
    QFETCH(QString, path);
    const QSharedPointer<CameraItem> target = camera(QStringLiteral("UPD-NOFILE"));
    const int before = target->updateStatus();
    TaskRunner runner(target, path, kUpdatePort, kPassword);
    runner.start();
    QVERIFY(runner.waitForEnd(kTaskTimeoutMs));
    QCOMPARE(runner.events(), QStringList({"error: Could not open update file."}));
    QCOMPARE(target->updateStatus(), before);
    QCOMPARE(m_simulator->waitForLine(QStringLiteral("update-received UPD-NOFILE "), kTaskTimeoutMs),
             QStringLiteral("update-received UPD-NOFILE 0 0"));
}

void UpdateTaskLabTest::filesArriveIntact_data()
{
    QTest::addColumn<int>("size");
    for (int size : {1, 15, 16, 6143, 6144, 6145, (3 << 20) + 3})
        QTest::addRow("%d bytes", size) << size;
}

void UpdateTaskLabTest::filesArriveIntact()
{
    QFETCH(int, size);
    const QByteArray content = randomBytes(size);
    const QSharedPointer<CameraItem> target = camera(QStringLiteral("UPD-INTACT"));
    TaskRunner runner(target, writeFile(QStringLiteral("intact-%1.bin").arg(size), content), kUpdatePort, kPassword);
    runner.start();
    QVERIFY(runner.waitForEnd(kTaskTimeoutMs));
    QCOMPARE(runner.events(), QStringList({"sending", "applying", "status"}));
    QCOMPARE(m_simulator->waitForLine(QStringLiteral("updated UPD-INTACT "), kTaskTimeoutMs),
             QStringLiteral("updated UPD-INTACT %1").arg(size));
    QCOMPARE(target->updateStatus(), 0);
    QVERIFY(m_simulator->storedFile(QStringLiteral("UPD-INTACT")) == content);
}

// 100 characters are announced and 76 sent; the camera waits for the rest until its read
// time-out and then calls the file damaged.
void UpdateTaskLabTest::emptyFileIsReportedDamaged()
{
    const QSharedPointer<CameraItem> target = camera(QStringLiteral("UPD-EMPTY"));
    TaskRunner runner(target, writeFile(QStringLiteral("empty.bin"), QByteArray()), kUpdatePort, kPassword);
    runner.start();
    QVERIFY(runner.waitForEnd(kTaskTimeoutMs));
    QCOMPARE(runner.events(), QStringList({"sending", "applying", "status"}));
    QCOMPARE(m_simulator->waitForLine(QStringLiteral("update-received UPD-EMPTY "), kTaskTimeoutMs),
             QStringLiteral("update-received UPD-EMPTY 100 76"));
    QCOMPARE(target->updateStatus(), -202);
    QCOMPARE(statusRowText(target), QStringLiteral("Update file damaged/truncated"));
}

// Each camera has its own task on its own thread, all released at the same moment.
void UpdateTaskLabTest::manyCamerasAtOnce()
{
    const QByteArray content = randomBytes((1 << 20) + 11);
    const QString path = writeFile(QStringLiteral("many.bin"), content);
    std::vector<std::unique_ptr<TaskRunner>> runners;
    QList<QSharedPointer<CameraItem>> targets;
    for (int i = 1; i <= 4; ++i) {
        targets << camera(QStringLiteral("UPD-MANY-%1").arg(i));
        runners.push_back(std::make_unique<TaskRunner>(targets.last(), path, kUpdatePort, kPassword));
    }
    for (const auto &runner : runners)
        runner->start();
    for (int i = 0; i < 4; ++i) {
        QVERIFY(runners[i]->waitForEnd(kTaskTimeoutMs));
        QCOMPARE(runners[i]->events(), QStringList({"sending", "applying", "status"}));
        QVERIFY(runners[i]->emittedOnlyFromTaskThread());
        QCOMPARE(targets[i]->updateStatus(), 0);
        QVERIFY(m_simulator->storedFile(QStringLiteral("UPD-MANY-%1").arg(i + 1)) == content);
    }
}

QTEST_GUILESS_MAIN(UpdateTaskLabTest)
#include "UpdateTaskLabTest.moc"
