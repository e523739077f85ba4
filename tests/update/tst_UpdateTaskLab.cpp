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
    void manyCamerasAtOnce();

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
        {"MANY-1", password}, {"MANY-2", password}, {"MANY-3", password},
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

// A failed transfer leaves the camera's status as it was: "Unknown" (-255) here. "received"
// is what the camera counted, announced and received characters, when the row checks it.
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
    QTest::newRow("refused") << "REFUSE" << 8 << QStringList{"error: Camera at 10.77.0.10: Connection refused by peer."}
                             << -255 << "Unknown" << QString();
    QTest::newRow("closed without answer")
        << "SILENT" << 8 << error("Camera at 10.77.0.11: Remote host closed connection.") << -255 << "Unknown"
        << "100 100";
    QTest::newRow("answer not a number") << "GARBAGE" << 8 << error("Update status could not be gathered") << -255
                                         << "Unknown" << "100 100";
    // Opened only once connected; nothing is sent then, not even the length.
    QTest::newRow("unreadable file") << "NOFILE" << -1 << QStringList{"error: Could not open update file."} << -255
                                     << "Unknown" << "0 0";
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
                      kPassword);
    QTEST(runner.events(kTimeoutMs), "events");
    QTEST(target->updateStatus(), "code");
    static const QRegularExpression stamp(QStringLiteral(" \\(at [-0-9: ]+\\)$"));
    QTEST(target->updateStatusRow()->data(1).toString().remove(stamp), "text");
    if (!received.isEmpty())
        QCOMPARE(m_simulator->waitForLine("update-received " + serial + ' ', kTimeoutMs),
                 "update-received " + serial + ' ' + received);
    if (serial == QLatin1String("INTACT"))
        QVERIFY(m_simulator->storedFile(serial) == content);
}

// One task and thread per camera, all at once, as the main window does it.
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
        QCOMPARE(camera(serials[i])->updateStatus(), 0);
        QVERIFY(m_simulator->storedFile(serials[i]) == content);
    }
}

QTEST_GUILESS_MAIN(tst_UpdateTaskLab)
#include "tst_UpdateTaskLab.moc"
