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
#include <QMetaMethod>
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
    {"PICKY", "webpassword=other"}, {"ENDLESS", "web=endless"}, {"HUGE", "web=huge"},
    {"HANGREADS", "web=hangreads"}, {"TRICKLE", "web=trickle"}, {"REDIRECT", "redirect=10.77.0.11"},
    {"HTML", "web=html"}, {"EMPTY", "web=empty"}, {"NOSESSION", "session=0"}, {"BIGEXPORT", "huge=50000000"},
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
    std::atomic<qint64> offsetSeconds{0};
    CameraAPI::Clock clock()
    {
        return [this] { return system_clock::now() + seconds(offsetSeconds.load()); };
    }
};

using Read = void (CameraAPI::*)(QSharedPointer<CameraItem>);

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
    void sessionEndedByTheCameraIsRenewed();
    void deniedRequestsAreReportedOnce_data();
    void deniedRequestsAreReportedOnce();
    void hostileRepliesAreBounded_data();
    void hostileRepliesAreBounded();
    void largeExportGoesToDisk();
    void snapshotFailuresAreNoErrorLines();
    void availabilityFollowsTheCamera();
    void hungCameraGetsOneCheckAtATime();

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
    m_time.offsetSeconds = 0;
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

    m_time.offsetSeconds = 29 * 60;
    m_api->onLogin(cam);
    QCOMPARE(loggedIn.count(), 2);

    // Past the lifetime a request logs in again and then goes; it is no caller's login.
    m_time.offsetSeconds = 31 * 60;
    const int logins = m_simulator->lines("http OK1 POST /login").size();
    const int reads = m_simulator->lines("http OK1 GET /digitalio").size();
    m_api->viewDigitalIO(cam);
    QCOMPARE(m_simulator->waitForLine(loginLine, kTimeoutMs), loginLine);
    QVERIFY(!m_simulator->waitForLine("http OK1 GET /digitalio", kTimeoutMs).isNull());
    QCOMPARE(m_simulator->lines("http OK1 GET /digitalio").size(), reads + 1);
    QCOMPARE(m_simulator->lines("http OK1 POST /login").size(), logins + 1);
    QCOMPARE(loggedIn.count(), 2);
}

void tst_CameraAPILab::resourcesBecomeRows()
{
    const QList<QSharedPointer<CameraItem>> cams{camera("OK2"), camera("MALFORMED")};
    QSignalSpy updated(m_api.get(), &CameraAPI::updatedData);
    QSignalSpy failed(m_api.get(), &CameraAPI::error);
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
    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 11, kTimeoutMs);
    QVERIFY2(QRegularExpression("^Camera MALFORMED at 10\\.77\\.0\\.12: the answer to /[a-z/_]+ is not valid JSON "
                                "\\(.+ at byte \\d+\\)$")
                 .match(failed.at(0).at(0).toString())
                 .hasMatch(),
             qPrintable(failed.at(0).at(0).toString()));
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
    // Two requests to one camera are on their way at once, and may be answered in either order.
    QStringList lines;
    for (const QList<QVariant> &line : std::as_const(succeeded))
        lines << line.at(0).toString();
    lines.sort();
    for (int i = 0; i < messages.size(); ++i)
        QVERIFY2(lines.at(i).startsWith(messages.at(i)), qPrintable(lines.at(i)));
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

void tst_CameraAPILab::sessionEndedByTheCameraIsRenewed()
{
    const QSharedPointer<CameraItem> cam = camera("OK1");
    login(cam);
    QSignalSpy failed(m_api.get(), &CameraAPI::error);
    QSignalSpy received(m_api.get(), &CameraAPI::resourceReceived);
    const int logins = m_simulator->lines("http OK1 POST /login").size();
    const int denials = m_simulator->lines("denied OK1").size();

    // Ten minutes of polling and refreshing while the camera keeps forgetting its sessions:
    // every round's first 401 asks for one new login, and both reads are answered after it.
    constexpr int kRounds = 20;
    for (int round = 1; round <= kRounds; ++round) {
        m_time.offsetSeconds += 30;
        QVERIFY(m_simulator->endSessions());
        QVERIFY(!m_simulator->waitForLine("sessions-ended", kTimeoutMs).isNull());
        m_api->viewDigitalIO(cam);
        m_api->viewSystemProperties(cam);
        QTRY_COMPARE_WITH_TIMEOUT(received.count(), 2 * round, kTimeoutMs);
    }
    QVERIFY2(failed.isEmpty(), qPrintable(failed.value(0).value(0).toString()));
    QCOMPARE(m_simulator->lines("http OK1 POST /login").size(), logins + kRounds);
    QVERIFY(m_simulator->lines("denied OK1").size() - denials >= kRounds);
}

void tst_CameraAPILab::deniedRequestsAreReportedOnce_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<int>("logins");
    QTest::addColumn<QString>("pattern");
    // The wrong password fails the one login that both reads wait for.
    QTest::newRow("wrong password") << "PICKY" << 1
                                    << "^Camera PICKY at 10\\.77\\.0\\.17: HTTP Error: 401 - .+\\nInvalid user name or password$";
    // A session that never holds: each read logs in once more, is denied again and reported.
    QTest::newRow("session never holds") << "NOSESSION" << 2
                                         << "^Camera NOSESSION at 10\\.77\\.0\\.25: HTTP Error: 401 - .+\\nLogin required$";
}

void tst_CameraAPILab::deniedRequestsAreReportedOnce()
{
    QFETCH(QString, serial);
    QFETCH(int, logins);
    QFETCH(QString, pattern);
    const QSharedPointer<CameraItem> cam = camera(serial);
    QSignalSpy failed(m_api.get(), &CameraAPI::error);
    const int loginsBefore = m_simulator->lines("http " + serial + " POST /login").size();

    m_api->viewDigitalIO(cam);
    m_api->viewSystemProperties(cam);

    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 2, kTimeoutMs);
    for (const QList<QVariant> &line : std::as_const(failed))
        QVERIFY2(QRegularExpression(pattern).match(line.at(0).toString()).hasMatch(), qPrintable(line.at(0).toString()));
    QCOMPARE(m_simulator->lines("http " + serial + " POST /login").size(), loginsBefore + logins);
}

void tst_CameraAPILab::hostileRepliesAreBounded_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<bool>("snapshot");
    QTest::addColumn<QString>("text");
    // Whether the camera counts as unreachable; one that sent a wrong document did answer.
    QTest::addColumn<bool>("unreachable");
    // Short only where the time-out is what is tested: a busy machine may pause a transfer.
    QTest::addColumn<int>("idleSeconds");
    QTest::newRow("endless body") << "ENDLESS" << false << "reply too large" << true << 15;
    QTest::newRow("endless picture") << "ENDLESS" << true << "reply too large" << true << 15;
    QTest::newRow("2 GiB body") << "HUGE" << false << "reply too large" << true << 15;
    QTest::newRow("never answers a read") << "HANGREADS" << false << "did not answer for 2 s" << true << 2;
    QTest::newRow("never answers the login") << "HANG" << false << "did not answer for 2 s" << true << 2;
    QTest::newRow("trickle") << "TRICKLE" << false << "did not finish its answer within 8 s" << true << 2;
    QTest::newRow("redirected login")
        << "REDIRECT" << false << "tried to redirect to http://10.77.0.11/login, which is not followed" << true << 15;
    QTest::newRow("HTML page") << "HTML" << false << "the answer to /digitalio is not valid JSON (illegal value at byte 1)" << false << 15;
    QTest::newRow("empty body") << "EMPTY" << false << "the answer to /digitalio is empty, not JSON" << false << 15;
}

void tst_CameraAPILab::hostileRepliesAreBounded()
{
    QFETCH(QString, serial);
    QFETCH(bool, snapshot);
    QFETCH(QString, text);
    QFETCH(bool, unreachable);
    QFETCH(int, idleSeconds);
    const QSharedPointer<CameraItem> hostile = camera(serial);
    // Logged in first where the login is not what fails, so that a busy machine cannot make
    // a slow login look like a hostile read.
    if (serial != "HANG" && serial != "REDIRECT") {
        login(hostile);
        login(camera("OK1"));
    }
    m_api->setIdleTimeout(seconds(idleSeconds));
    const QMetaMethod failure = snapshot ? QMetaMethod::fromSignal(&CameraAPI::liveImageFailed)
                                         : QMetaMethod::fromSignal(&CameraAPI::error);
    QSignalSpy failed(m_api.get(), failure);
    QSignalSpy lost(m_api.get(), &CameraAPI::connectionError);
    QSignalSpy received(m_api.get(), &CameraAPI::resourceReceived);
    const int redirectedLogins = m_simulator->lines("http OK2 POST /login").size();

    if (snapshot)
        m_api->fetchLiveSnapshot(hostile);
    else
        m_api->viewDigitalIO(hostile);
    m_api->viewDigitalIO(camera("OK1"));

    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, kTimeoutMs);
    QCOMPARE(failed.at(0).last().toString(), QStringLiteral("Camera %1 at %2: %3").arg(serial, hostile->addressText(), text));
    QCOMPARE(lost.count(), unreachable ? 1 : 0);
    QTRY_COMPARE_WITH_TIMEOUT(received.count(), 1, kTimeoutMs);
    QCOMPARE(received.at(0).at(0).value<QSharedPointer<CameraItem>>(), camera("OK1"));
    // Neither the password nor anything else went where the redirect pointed.
    QCOMPARE(m_simulator->lines("http OK2 POST /login").size(), redirectedLogins);
}

void tst_CameraAPILab::largeExportGoesToDisk()
{
    const QSharedPointer<CameraItem> cam = camera("BIGEXPORT");
    QSignalSpy failed(m_api.get(), &CameraAPI::error);
    QTemporaryDir folder;
    m_api->exportResults(cam, folder.path());
    m_api->exportResults(camera("HUGE"), "/nonexistent-folder");

    // The export of the camera whose folder is missing fails; its body never grows in memory.
    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, kTimeoutMs);
    QCOMPARE(failed.at(0).at(0).toString(), QStringLiteral("Camera HUGE at 10.77.0.19: Could not write exported results "
                                                           "to file: The file could not be opened."));
    const QDir dir(folder.path());
    QTRY_COMPARE_WITH_TIMEOUT(dir.entryInfoList(QDir::Files).value(0).size(), qint64(50000000), kTimeoutMs);
    QVERIFY(dir.entryList(QDir::Files).at(0).startsWith("Camera_BIGEXPORT_"));
}

void tst_CameraAPILab::snapshotFailuresAreNoErrorLines()
{
    QSignalSpy failed(m_api.get(), &CameraAPI::error);
    QSignalSpy pictureFailed(m_api.get(), &CameraAPI::liveImageFailed);
    QSignalSpy pictures(m_api.get(), &CameraAPI::liveImage);
    m_api->fetchLiveSnapshot(camera("REFUSE"));
    m_api->fetchLiveSnapshot(camera("OK1"));
    QTRY_COMPARE_WITH_TIMEOUT(pictureFailed.count(), 1, kTimeoutMs);
    QCOMPARE(pictureFailed.at(0).at(1).toString(), QStringLiteral("Camera REFUSE at 10.77.0.13: Connection refused"));
    QTRY_COMPARE_WITH_TIMEOUT(pictures.count(), 1, kTimeoutMs);
    QVERIFY(failed.isEmpty());
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

    ContactTask task(&m_model, kUser, kPassword, 200);
    QSignalSpy reached(&task, &ContactTask::cameraAvailable);
    QSignalSpy checks(&task, &ContactTask::check);
    task.init();

    QTRY_VERIFY_WITH_TIMEOUT(reached.contains({QVariant::fromValue(flaky)}), kTimeoutMs);
    QVERIFY(!flaky->isUnavailable());
    // Each check is a real request, answered now: the login alone proves nothing.
    QTRY_VERIFY_WITH_TIMEOUT(network2.lines("http FLAKY GET /live/status").size() >= 2, kTimeoutMs);
    QVERIFY(!network2.waitForLine("web-silent FLAKY", kTimeoutMs).isNull());
    const auto checksOf = [&checks](const QSharedPointer<CameraItem> &cam) {
        return std::count(checks.cbegin(), checks.cend(), QList<QVariant>{QVariant::fromValue(cam)});
    };
    const auto silentAt = checksOf(flaky);
    QTRY_VERIFY_WITH_TIMEOUT(flaky->isUnavailable(), kTimeoutMs);
    QVERIFY2(checksOf(flaky) - silentAt <= 2, "more than two ticks to notice the silence");
    QVERIFY(!network2.waitForLine("web-listening FLAKY", kTimeoutMs).isNull());
    const auto backAt = checksOf(flaky);
    QTRY_VERIFY_WITH_TIMEOUT(!flaky->isUnavailable(), kTimeoutMs);
    QVERIFY2(checksOf(flaky) - backAt <= 2, "more than two ticks to notice the return");
    QVERIFY(camera("REFUSE")->isUnavailable());
    QCOMPARE(idleAnswers.count(), 0);
}

void tst_CameraAPILab::hungCameraGetsOneCheckAtATime()
{
    const QSharedPointer<CameraItem> hung = camera("HANG");
    hung->setUnavailable(false);
    const int logins = m_simulator->lines("http HANG POST /login").size();
    ContactTask task(&m_model, kUser, kPassword, 50);
    QSignalSpy checks(&task, &ContactTask::check);
    task.init();
    QTRY_VERIFY_WITH_TIMEOUT(hung->isUnavailable(), kTimeoutMs);
    const auto checksOf = [&checks](const QSharedPointer<CameraItem> &cam) {
        return std::count(checks.cbegin(), checks.cend(), QList<QVariant>{QVariant::fromValue(cam)});
    };
    // Dozens of ticks passed while the first check hung; a second may have started since it
    // gave up, but never one for each tick.
    QVERIFY2(checksOf(camera("OK2")) >= 20, "the test needs dozens of ticks");
    QVERIFY(checksOf(hung) <= 2);
    QVERIFY(m_simulator->lines("http HANG POST /login").size() - logins <= 2);
    QVERIFY(camera("HANGREADS")->isUnavailable());
    QVERIFY(!camera("OK2")->isUnavailable());
}

QTEST_GUILESS_MAIN(tst_CameraAPILab)
#include "tst_CameraAPILab.moc"
