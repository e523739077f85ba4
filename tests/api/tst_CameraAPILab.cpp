#include "CameraAPI.h"
#include "CameraModel.h"
#include "ContactTask.h"
#include "DescriptorShortage.h"
#include "JsonItem.h"
#include "Lab.h"
#include "SimulatorProcess.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>

using namespace std::chrono;

namespace {

constexpr int kTimeoutMs = 10000;
const QString kUser = QStringLiteral("admin");
const QString kPassword = QStringLiteral("admin");

// Camera serial and options of the simulated cameras, at lab indexes 0, 1, ...
const QList<QPair<QString, QString>> kCameras = {
    {"OK1", ""}, {"OK2", ""}, {"MALFORMED", "web=malformed"}, {"REFUSE", "web=refuse"},
    {"HANG", "web=hang"}, {"E500", "web=error500"}, {"E500PLAIN", "web=error500plain"},
    {"PICKY", "webpassword=other"},
};

QByteArray sha256(const QByteArray &data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex();
}

// "http <serial> <method> <path> <content type> <length> <sha256>" as the simulator logs it.
QString httpLine(const QString &serial, const QString &method, const QString &path, const QString &type,
                 const QByteArray &body)
{
    return QStringLiteral("http %1 %2 %3 %4 %5 %6")
        .arg(serial, method, path, type, QString::number(body.size()), QString::fromLatin1(sha256(body)));
}

// A clock that the test moves on by hand; every client of a test shares it.
struct TestClock
{
    std::atomic<qint64> offsetMinutes{0};
    CameraAPI::Clock clock()
    {
        return [this] { return system_clock::now() + minutes(offsetMinutes.load()); };
    }
};

} // namespace

// The Web-API client against simulated cameras: what goes on the wire, what comes back as
// rows, files and message lines, and how failures are reported.
class tst_CameraAPILab : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void sessionIsReusedForItsLifetime();
    void resourcesBecomeRows();
    void operationsOnTheWire_data();
    void operationsOnTheWire();
    void downloadsAreWrittenByName();
    void failuresAreReported_data();
    void failuresAreReported();
    void openFilesLimitIsNoCameraError();
    void availabilityFollowsTheCamera();

private:
    QSharedPointer<CameraItem> camera(const QString &serial) const;
    // Logs the client in to the camera and waits for the answer.
    void login(const QSharedPointer<CameraItem> &cam);

    TestClock m_time;
    CameraModel m_model;
    std::unique_ptr<CameraAPI> m_api;
    std::unique_ptr<SimulatorProcess> m_simulator;
    QTemporaryDir m_files;
};

void tst_CameraAPILab::initTestCase()
{
    LAB_REQUIRED();
    QStringList texts;
    for (int i = 0; i < kCameras.size(); ++i) {
        texts << Lab::cameraText(1, i, kCameras.at(i).first, kCameras.at(i).second);
        std::tm found{};
        m_model.addCamera(Lab::cameraIPv4(1, i), {{"S/N", kCameras.at(i).first}}, found);
    }
    m_simulator = std::make_unique<SimulatorProcess>();
    QVERIFY(m_simulator->start(1, texts));
}

void tst_CameraAPILab::init()
{
    m_time.offsetMinutes = 0;
    for (const QSharedPointer<CameraItem> &cam : m_model.cameras())
        cam->setLastLogin({});
    m_api = std::make_unique<CameraAPI>();
    m_api->setClock(m_time.clock());
    m_api->init();
    m_api->setCredentials(kUser, kPassword);
    connect(m_api.get(), &CameraAPI::resourceReceived, &m_model, &CameraModel::attachResource);
}

QSharedPointer<CameraItem> tst_CameraAPILab::camera(const QString &serial) const
{
    for (const QSharedPointer<CameraItem> &cam : m_model.cameras()) {
        if (cam->serial() == serial)
            return cam;
    }
    qFatal("no camera %s", qPrintable(serial));
}

void tst_CameraAPILab::login(const QSharedPointer<CameraItem> &cam)
{
    QSignalSpy loggedIn(m_api.get(), &CameraAPI::loggedIn);
    m_api->onLogin(cam);
    QVERIFY(loggedIn.wait(kTimeoutMs));
}

void tst_CameraAPILab::sessionIsReusedForItsLifetime()
{
    const QSharedPointer<CameraItem> cam = camera("OK1");
    QSignalSpy loggedIn(m_api.get(), &CameraAPI::loggedIn);
    const QString loginLine = httpLine("OK1", "POST", "/login", "application/x-www-form-urlencoded",
                                       "username=admin&password=admin");

    m_api->onLogin(cam);
    QCOMPARE(m_simulator->waitForLine(loginLine, kTimeoutMs), loginLine);
    QTRY_COMPARE_WITH_TIMEOUT(loggedIn.count(), 1, kTimeoutMs);

    m_time.offsetMinutes = 29;
    m_api->onLogin(cam);
    QCOMPARE(loggedIn.count(), 2);

    // Past the lifetime a request only logs in again; the caller repeats it after loggedIn.
    m_time.offsetMinutes = 31;
    m_api->viewDigitalIO(cam);
    QCOMPARE(m_simulator->waitForLine(loginLine, kTimeoutMs), loginLine);
    QTRY_COMPARE_WITH_TIMEOUT(loggedIn.count(), 3, kTimeoutMs);
    m_api->viewDigitalIO(cam);
    QVERIFY(!m_simulator->waitForLine("http OK1 GET /digitalio", kTimeoutMs).isNull());
    QCOMPARE(m_simulator->lines("http OK1 GET /digitalio").size(), 1);
    QCOMPARE(m_simulator->lines("http OK1 POST /login").size(), 2);
}

void tst_CameraAPILab::resourcesBecomeRows()
{
    const QList<QSharedPointer<CameraItem>> cams{camera("OK2"), camera("MALFORMED")};
    QSignalSpy updated(m_api.get(), &CameraAPI::updatedData);
    for (const QSharedPointer<CameraItem> &cam : cams) {
        login(cam);
        for (auto read : {&CameraAPI::viewCameraStatus, &CameraAPI::viewApps, &CameraAPI::viewSystemProperties,
                          &CameraAPI::viewANPRProperties, &CameraAPI::viewAccessProperties,
                          &CameraAPI::viewActionEventProperties, &CameraAPI::viewROIProperties,
                          &CameraAPI::viewActions, &CameraAPI::viewClassifier, &CameraAPI::listClassifiers,
                          &CameraAPI::viewDigitalIO}) {
            (m_api.get()->*read)(cam);
        }
    }
    QTRY_COMPARE_WITH_TIMEOUT(updated.count(), 11, kTimeoutMs);
    for (int category = 0; category < CameraItem::CategoryCount; ++category) {
        QVERIFY2(cams.at(0)->categoryRow(CameraItem::Category(category))->childCount() > 0,
                 qPrintable(CameraItem::categoryLabel(CameraItem::Category(category))));
        QCOMPARE(cams.at(1)->categoryRow(CameraItem::Category(category))->childCount(), 0);
    }
    QTRY_COMPARE_WITH_TIMEOUT(m_simulator->lines("http MALFORMED GET").size(), 11, kTimeoutMs);
    QCOMPARE(updated.count(), 11);
}

void tst_CameraAPILab::operationsOnTheWire_data()
{
    QTest::addColumn<std::function<void(CameraAPI &, QSharedPointer<CameraItem>)>>("operation");
    QTest::addColumn<QStringList>("requests");
    QTest::addColumn<QStringList>("messages");
    using Op = std::function<void(CameraAPI &, QSharedPointer<CameraItem>)>;
    const QString form = "application/x-www-form-urlencoded";
    const QString json = "application/json";
    const QString prefix = "Camera OK1 at 10.77.0.10: ";

    QTest::newRow("reinit") << Op([](CameraAPI &api, auto cam) { api.reinit(cam); })
                            << QStringList{httpLine("OK1", "POST", "/camera/reinit", "-", "")}
                            << QStringList{prefix + "Reinitialisation completed."};
    QTest::newRow("reboot") << Op([](CameraAPI &api, auto cam) { api.reboot(cam); })
                            << QStringList{httpLine("OK1", "POST", "/camera/reboot", "-", "")}
                            << QStringList{prefix + "Reboot started"};
    QTest::newRow("system properties go to /anpr/")
        << Op([](CameraAPI &api, auto cam) { api.setSystemProperties(cam, {{"ntp", "on"}, {"gain", "5"}}); })
        << QStringList{httpLine("OK1", "PATCH", "/anpr/gain", form, "gain=5"),
                       httpLine("OK1", "PATCH", "/anpr/ntp", form, "ntp=on")}
        << QStringList{prefix + "Changed ANPR property 'gain'", prefix + "Changed ANPR property 'ntp'"};
    QTest::newRow("default classifier") << Op([](CameraAPI &api, auto cam) { api.defaultToClassifier(cam, "eu"); })
                                        << QStringList{httpLine("OK1", "PATCH", "/classifier/file/eu", "-", "")}
                                        << QStringList{prefix + "Classifier 'eu' is now the default"};
    QTest::newRow("add entry, always")
        << Op([](CameraAPI &api, auto cam) { api.addAccessListEntry(cam, "white", "AB123", true, {}, {}, {}, {}, {}); })
        << QStringList{httpLine("OK1", "POST", "/access/white", json,
                                "{\n    \"always\": true,\n    \"plate\": \"AB123\"\n}\n")}
        << QStringList{prefix + "Added Entry to Access List white uploaded"};
    QTest::newRow("add entry with schedule")
        << Op([](CameraAPI &api, auto cam) {
               api.addAccessListEntry(cam, "black", "X1", false, QDate(2024, 5, 1), QDate(2024, 5, 2),
                                      {"Monday", "Friday"}, QTime(7, 30), QTime(18, 0));
           })
        << QStringList{httpLine("OK1", "POST", "/access/black", json,
                                "{\n    \"always\": false,\n    \"plate\": \"X1\",\n    \"schedules\": [\n"
                                "        {\n            \"period\": {\n                \"end\": \"2024-05-02\",\n"
                                "                \"start\": \"2024-05-01\"\n            },\n"
                                "            \"time-span\": {\n                \"from\": \"07:30\",\n"
                                "                \"to\": \"18:00\"\n            },\n            \"weekdays\": [\n"
                                "                \"Monday\",\n                \"Friday\"\n            ]\n"
                                "        }\n    ]\n}\n")}
        << QStringList{prefix + "Added Entry to Access List black uploaded"};
    // Deletes the entry that the "add entry, always" row put there.
    QTest::newRow("delete by index among matches")
        << Op([](CameraAPI &api, auto cam) { api.deleteAccessListEntry(cam, "white", 0, "AB1"); })
        << QStringList{httpLine("OK1", "DELETE", "/access/white", json,
                                "{\n    \"index\": 0,\n    \"pattern\": \"AB1\"\n}\n")}
        << QStringList{prefix + "Access List white: Deleted entry"};
}

void tst_CameraAPILab::operationsOnTheWire()
{
    QFETCH(std::function<void(CameraAPI &, QSharedPointer<CameraItem>)>, operation);
    QFETCH(QStringList, requests);
    QFETCH(QStringList, messages);
    const QSharedPointer<CameraItem> cam = camera("OK1");
    login(cam);
    QSignalSpy succeeded(m_api.get(), &CameraAPI::success);

    operation(*m_api, cam);

    for (const QString &request : requests)
        QCOMPARE(m_simulator->waitForLine(request, kTimeoutMs), request);
    QTRY_COMPARE_WITH_TIMEOUT(succeeded.count(), messages.size(), kTimeoutMs);
    for (int i = 0; i < messages.size(); ++i)
        QVERIFY2(succeeded.at(i).at(0).toString().startsWith(messages.at(i)), qPrintable(succeeded.at(i).at(0).toString()));
}

void tst_CameraAPILab::downloadsAreWrittenByName()
{
    const QSharedPointer<CameraItem> cam = camera("OK2");
    login(cam);
    QSignalSpy succeeded(m_api.get(), &CameraAPI::success);
    QSignalSpy failed(m_api.get(), &CameraAPI::error);
    const QByteArray list = "AB123\nCD456\n";
    const QString listFile = m_files.filePath("upload.txt");
    QFile upload(listFile);
    QVERIFY(upload.open(QIODevice::WriteOnly) && upload.write(list) == list.size());
    upload.close();

    m_api->uploadAccessList(cam, "white", listFile);
    QVERIFY(!m_simulator->waitForLine("upload OK2 PUT /access/white/file list list " + QString::number(list.size())
                                          + ' ' + sha256(list), kTimeoutMs).isNull());
    QTRY_COMPARE_WITH_TIMEOUT(succeeded.count(), 1, kTimeoutMs);
    QCOMPARE(succeeded.at(0).at(0).toString(), QStringLiteral("Camera OK2 at 10.77.0.11: Access List uploaded"));

    // A frozen clock names two exports alike: the second must not overwrite the first.
    const system_clock::time_point frozen = system_clock::now();
    m_api->setClock([frozen] { return frozen; });
    const QString stamp = QDateTime::fromMSecsSinceEpoch(duration_cast<milliseconds>(frozen.time_since_epoch()).count())
                              .toString("yyyy-MM-ddThh-mm-ss.zzz");
    m_api->downloadAccessList(cam, "white", m_files.path());
    m_api->exportResults(cam, m_files.path());
    m_api->exportResults(cam, m_files.path());

    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, kTimeoutMs);
    QCOMPARE(failed.at(0).at(0).toString(), QStringLiteral("Camera OK2 at 10.77.0.11: Could not write exported "
                                                           "results to file: The file could not be opened."));
    QTRY_COMPARE_WITH_TIMEOUT(succeeded.count(), 2, kTimeoutMs);
    QFile downloaded(QDir(m_files.path()).filePath("Camera_OK2_" + stamp + "_white"));
    QVERIFY(downloaded.open(QIODevice::ReadOnly));
    QCOMPARE(downloaded.readAll(), list);
    QFile archive(QDir(m_files.path()).filePath("Camera_OK2_" + stamp + ".zip"));
    QVERIFY(archive.open(QIODevice::ReadOnly));
    QVERIFY(archive.read(4) == QByteArray("PK\x03\x04", 4));
}

void tst_CameraAPILab::failuresAreReported_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<QString>("pattern");
    QTest::newRow("refused") << "REFUSE" << "^Camera REFUSE at 10\\.77\\.0\\.13: Connection refused$";
    QTest::newRow("401 with msg") << "PICKY"
                                  << "^Camera PICKY at 10\\.77\\.0\\.17: HTTP Error: 401 - .+\\n.+$";
    QTest::newRow("500 with msg") << "E500" << "^Camera E500 at 10\\.77\\.0\\.15: HTTP Error: 500 - .+\\n.+$";
    QTest::newRow("500 without msg") << "E500PLAIN" << "^Camera E500PLAIN at 10\\.77\\.0\\.16: HTTP Error: 500 - [^\\n]+$";
}

void tst_CameraAPILab::failuresAreReported()
{
    QFETCH(QString, serial);
    QFETCH(QString, pattern);
    QSignalSpy failed(m_api.get(), &CameraAPI::error);
    QSignalSpy unreachable(m_api.get(), &CameraAPI::connectionError);
    QSignalSpy loggedIn(m_api.get(), &CameraAPI::loggedIn);

    // The hanging camera's answer never comes; the other camera's must still find its own.
    m_api->onLogin(camera("HANG"));
    m_api->onLogin(camera(serial));
    m_api->onLogin(camera("OK1"));

    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, kTimeoutMs);
    QVERIFY2(QRegularExpression(pattern).match(failed.at(0).at(0).toString()).hasMatch(),
             qPrintable(failed.at(0).at(0).toString()));
    QCOMPARE(unreachable.count(), 1);
    QCOMPARE(unreachable.at(0).at(0).value<QSharedPointer<CameraItem>>(), camera(serial));
    QTRY_COMPARE_WITH_TIMEOUT(loggedIn.count(), 1, kTimeoutMs);
    QCOMPARE(loggedIn.at(0).at(0).value<QSharedPointer<CameraItem>>(), camera("OK1"));
}

void tst_CameraAPILab::openFilesLimitIsNoCameraError()
{
    // The first request starts the client's network thread, which needs descriptors of its own.
    login(camera("OK2"));
    QSignalSpy failed(m_api.get(), &CameraAPI::error);
    QSignalSpy unreachable(m_api.get(), &CameraAPI::connectionError);
    QSignalSpy limitReached(m_api.get(), &CameraAPI::openFilesLimitReached);
    {
        const DescriptorShortage shortage;
        QVERIFY(shortage.isActive());
        m_api->onLogin(camera("OK1"));
        QTRY_COMPARE_WITH_TIMEOUT(unreachable.count(), 1, kTimeoutMs);
    }
    QCOMPARE(unreachable.at(0).at(0).value<QSharedPointer<CameraItem>>(), camera("OK1"));
    QCOMPARE(limitReached.count(), 1);
    QVERIFY2(failed.isEmpty(), qPrintable(failed.value(0).value(0).toString()));

    // With room again, the same client reaches the camera.
    login(camera("OK1"));
}

void tst_CameraAPILab::availabilityFollowsTheCamera()
{
    // Its own simulator, so that the camera's silence starts two seconds from now.
    SimulatorProcess network2;
    QVERIFY(network2.start(2, {Lab::cameraText(2, 0, "FLAKY", "silent=2:3")}));
    m_model.addCamera(Lab::cameraIPv4(2, 0), {{"S/N", "FLAKY"}}, std::tm{});
    const QSharedPointer<CameraItem> flaky = camera("FLAKY");

    ContactTask idle(&m_model, QString(), QString(), 100);
    QSignalSpy idleAnswers(&idle, &ContactTask::cameraAvailable);
    idle.init();

    // Every reading of this clock lies past the last login, so each tick logs in for real.
    std::atomic<qint64> readings{0};
    ContactTask task(&m_model, kUser, kPassword, 200);
    task.setClock([&readings] { return system_clock::now() + minutes(31) * readings.fetch_add(1); });
    QSignalSpy reached(&task, &ContactTask::cameraAvailable);
    task.init();

    QTRY_VERIFY_WITH_TIMEOUT(reached.contains({QVariant::fromValue(flaky)}), kTimeoutMs);
    QVERIFY(!flaky->isUnavailable());
    QTRY_VERIFY_WITH_TIMEOUT(flaky->isUnavailable(), kTimeoutMs);
    QTRY_VERIFY_WITH_TIMEOUT(!flaky->isUnavailable(), kTimeoutMs);
    QVERIFY(camera("REFUSE")->isUnavailable());
    QCOMPARE(idleAnswers.count(), 0);
}

QTEST_GUILESS_MAIN(tst_CameraAPILab)
#include "tst_CameraAPILab.moc"
