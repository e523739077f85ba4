#include "Lab.h"
#include "SimulatorProcess.h"

#include <QCryptographicHash>
#include <QHttpMultiPart>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkCookieJar>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

constexpr int kTimeoutMs = 5000;
const QString kSerial = QStringLiteral("WEB1");

QString sha256(const QByteArray &data)
{
    return QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex());
}

int status(QNetworkReply *reply)
{
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

} // namespace

// The simulator's Web-API as a client meets it: login and session cookie, refusals, the JSON
// resources, a multipart upload, and the log lines that tell a test what the camera received.
class tst_SimulatorWebApi : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void refusesRequestsWithoutSession();
    void loginSetsSessionCookie();
    void resources_data();
    void resources();
    void uploadedListDownloadsUnchanged();
    void cleanupTestCase();

private:
    std::unique_ptr<QNetworkReply> send(const QByteArray &method, const QString &path,
                                        const QByteArray &body = QByteArray(),
                                        const QByteArray &contentType = QByteArray());
    std::unique_ptr<QNetworkReply> finished(QNetworkReply *reply);
    QUrl url(const QString &path) const;

    QNetworkAccessManager m_manager;
    std::unique_ptr<SimulatorProcess> m_simulator;
};

void tst_SimulatorWebApi::initTestCase()
{
    LAB_REQUIRED();
    m_simulator = std::make_unique<SimulatorProcess>();
    QVERIFY(m_simulator->start(1, {Lab::cameraText(1, 0, kSerial, "webpassword=s3cret+&")}));
}

void tst_SimulatorWebApi::refusesRequestsWithoutSession()
{
    const auto reply = send("GET", "/properties/system");
    QCOMPARE(status(reply.get()), 401);
    QVERIFY(!QJsonDocument::fromJson(reply->readAll())["msg"].toString().isEmpty());
    QCOMPARE(m_simulator->waitForLine("http " + kSerial),
             "http WEB1 GET /properties/system - 0 " + sha256(QByteArray()));

    const auto wrong = send("POST", "/login", "username=admin&password=admin",
                            "application/x-www-form-urlencoded");
    QCOMPARE(status(wrong.get()), 401);
    QVERIFY(m_manager.cookieJar()->cookiesForUrl(url("/")).isEmpty());
}

void tst_SimulatorWebApi::loginSetsSessionCookie()
{
    const QByteArray body = "username=admin&password=s3cret%2B%26";
    const auto reply = send("POST", "/login", body, "application/x-www-form-urlencoded");
    QCOMPARE(status(reply.get()), 200);
    QVERIFY(QJsonDocument::fromJson(reply->readAll()).isObject());
    const QList<QNetworkCookie> cookies = m_manager.cookieJar()->cookiesForUrl(url("/"));
    QCOMPARE(cookies.size(), 1);
    QCOMPARE(cookies.first().name(), "session");
    const QString line = QStringLiteral("http WEB1 POST /login application/x-www-form-urlencoded "
                                        "%1 %2")
                             .arg(body.size())
                             .arg(sha256(body));
    QTRY_VERIFY_WITH_TIMEOUT(m_simulator->lines().contains(line), kTimeoutMs);
}

void tst_SimulatorWebApi::resources_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("key");
    QTest::newRow("status") << "/live/status" << "serial";
    QTest::newRow("apps") << "/live/apps" << QString();
    QTest::newRow("system") << "/properties/system" << "config";
    QTest::newRow("anpr") << "/properties/anpr" << "versioninfo";
    QTest::newRow("access") << "/properties/access" << QString();
    QTest::newRow("action") << "/properties/action" << "events";
    QTest::newRow("roi") << "/properties/roi" << "regions";
    QTest::newRow("actions") << "/available_actions" << QString();
    QTest::newRow("classifier") << "/classifier/info" << "name";
    QTest::newRow("classifiers") << "/classifier/list" << QString();
    QTest::newRow("digital io") << "/digitalio" << "inputs";
}

void tst_SimulatorWebApi::resources()
{
    QFETCH(QString, path);
    QFETCH(QString, key);
    const auto reply = send("GET", path);
    QCOMPARE(status(reply.get()), 200);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(reply->readAll(), &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    if (key.isEmpty())
        QVERIFY(!document.array().isEmpty());
    else
        QVERIFY(document.object().contains(key));
}

void tst_SimulatorWebApi::uploadedListDownloadsUnchanged()
{
    // Line ends, a boundary-like line and every byte value must survive the trip.
    QByteArray list = "AB-CD 1\r\n--boundary\r\n\r\n";
    for (int byte = 0; byte < 256; ++byte)
        list += char(byte);

    auto *multipart = new QHttpMultiPart(QHttpMultiPart::FormDataType);
    QHttpPart part;
    part.setHeader(QNetworkRequest::ContentDispositionHeader,
                   "form-data; name=\"list\"; filename=\"list\"");
    part.setBody(list);
    multipart->append(part);
    const auto upload = finished(m_manager.put(QNetworkRequest(url("/access/white/file")), multipart));
    multipart->setParent(upload.get());
    QCOMPARE(status(upload.get()), 200);
    QCOMPARE(m_simulator->waitForLine("upload " + kSerial),
             QStringLiteral("upload WEB1 PUT /access/white/file list list %1 %2")
                 .arg(list.size())
                 .arg(sha256(list)));

    const auto download = send("GET", "/access/white/file");
    QCOMPARE(status(download.get()), 200);
    QCOMPARE(download->readAll(), list);
}

void tst_SimulatorWebApi::cleanupTestCase()
{
    // A clean exit also means no leak report from a sanitizer build.
    if (m_simulator)
        QCOMPARE(m_simulator->stop(), 0);
}

std::unique_ptr<QNetworkReply> tst_SimulatorWebApi::send(const QByteArray &method,
                                                         const QString &path,
                                                         const QByteArray &body,
                                                         const QByteArray &contentType)
{
    QNetworkRequest request(url(path));
    if (!contentType.isEmpty())
        request.setHeader(QNetworkRequest::ContentTypeHeader, contentType);
    return finished(m_manager.sendCustomRequest(request, method, body));
}

std::unique_ptr<QNetworkReply> tst_SimulatorWebApi::finished(QNetworkReply *reply)
{
    if (!reply->isFinished())
        QSignalSpy(reply, &QNetworkReply::finished).wait(kTimeoutMs);
    return std::unique_ptr<QNetworkReply>(reply);
}

QUrl tst_SimulatorWebApi::url(const QString &path) const
{
    return QUrl(QStringLiteral("http://%1%2").arg(Lab::cameraIPv4(1, 0).toString(), path));
}

QTEST_GUILESS_MAIN(tst_SimulatorWebApi)
#include "tst_SimulatorWebApi.moc"
