#include "CameraAPI.h"

#include "DownloadFile.h"
#include "HostCookieJar.h"
#include "ReplyBody.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QHttpMultiPart>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonParseError>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QTimer>
#include <QUrl>

#include <iterator>

namespace {

const char kStoreId[] = "store_id";
const char kNextData[] = "next.data";
const char kNextRequest[] = "next.request";
const char kNextMethod[] = "next.method";
// The body of a request, kept for sending it again after a login.
const char kBody[] = "request.body";
// Set on a request sent again after the login that its own 401 asked for: it is not sent a third time.
const char kRetried[] = "request.retried";
// Set on a login made for requests that wait for it, rather than asked for by a caller.
const char kOnBehalf[] = "login.onbehalf";
const char kProbe[] = "availability.probe";
const char kTooSlow[] = "reply.tooslow";
const char kIdle[] = "reply.idle";
// Set on uploads, which may take as long as their files need.
const char kUpload[] = "request.upload";
// However steadily a document or picture trickles in, it is given up after this many idle
// time-outs: no camera needs minutes for a few kilobytes.
constexpr int kIdleTimeoutsPerReply = 4;

constexpr qint64 kReadBuffer = 64 * 1024;

const QString kLoginPath = QStringLiteral("/login");
const QString kSnapshotPath = QStringLiteral("/live/snapshot");
// The cheapest resource that only a working camera answers.
const QString kProbePath = QStringLiteral("/live/status");

// Form bodies carry each name and value percent-encoded, so "&", "=" and "+" in a password
// arrive as typed.
QByteArray formBody(const QList<QPair<QString, QString>> &items)
{
    QByteArray body;
    for (const auto &[name, value] : items) {
        if (!body.isEmpty())
            body += '&';
        body += QUrl::toPercentEncoding(name) + '=' + QUrl::toPercentEncoding(value);
    }
    return body;
}

QNetworkRequest formRequest(const QUrl &url)
{
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/x-www-form-urlencoded"));
    return request;
}

QString lastSegment(const QString &path)
{
    return path.section(QLatin1Char('/'), -1);
}

QString secondToLastSegment(const QString &path)
{
    return path.section(QLatin1Char('/'), -2, -2);
}

QString timeStamp(std::chrono::system_clock::time_point now)
{
    const auto msecs = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    return QDateTime::fromMSecsSinceEpoch(msecs).toString(QStringLiteral("yyyy-MM-ddThh-mm-ss.zzz"));
}

bool isDownload(const QString &path)
{
    return path == QLatin1String("/export/results") || path.startsWith(QLatin1String("/classifier/file"))
           || (path.startsWith(QLatin1String("/access/")) && path.endsWith(QLatin1String("/file")));
}

bool isGet(const QNetworkReply *reply)
{
    return reply->operation() == QNetworkAccessManager::GetOperation
           || reply->request().attribute(QNetworkRequest::CustomVerbAttribute).toByteArray() == "GET";
}

// A socket that cannot be opened for lack of descriptors fails its request with the socket
// layer's "Out of resources"; no error code of the reply tells it from other failures.
bool outOfDescriptors(const QNetworkReply *reply)
{
    return reply->error() == QNetworkReply::UnknownNetworkError
           && reply->errorString() == QCoreApplication::translate("QNativeSocketEngine", "Out of resources");
}

QHttpPart filePart(const QString &disposition, const QString &fileName, QHttpMultiPart *owner)
{
    QHttpPart part;
    part.setHeader(QNetworkRequest::ContentDispositionHeader, disposition);
    auto *file = new QFile(fileName, owner);
    // A file that cannot be read is still sent, as an empty part.
    if (file->open(QIODevice::ReadOnly))
        part.setBodyDevice(file);
    return part;
}

} // namespace

CameraAPI::CameraAPI(QObject *parent)
    : QObject(parent)
    , m_clock([] { return std::chrono::system_clock::now(); })
{
}

CameraAPI::~CameraAPI() = default;

void CameraAPI::setClock(Clock clock)
{
    m_clock = std::move(clock);
}

void CameraAPI::setIdleTimeout(std::chrono::milliseconds timeout)
{
    m_idleTimeout = timeout;
}

void CameraAPI::init()
{
    m_cookieJar = new HostCookieJar;
    m_manager = std::make_unique<QNetworkAccessManager>();
    m_cookieJar->moveToThread(thread());
    m_manager->moveToThread(thread());
    m_manager->setCookieJar(m_cookieJar);
    // Cameras sit on the local network: their requests never go through a proxy, and asking
    // the system for one per request costs more than the request itself.
    m_manager->setProxy(QNetworkProxy::NoProxy);
    // A redirect would carry the password form or the session cookie to whatever host the
    // answer names; only the camera's own address gets them.
    m_manager->setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
    connect(m_manager.get(), &QNetworkAccessManager::finished, this, &CameraAPI::onFinished);
}

void CameraAPI::setCredentials(QString username, QString password)
{
    m_username = username;
    m_password = password;
}

quint32 CameraAPI::storeCamera(const QSharedPointer<CameraItem> &cam)
{
    QMutexLocker lock(&m_pendingMutex);
    const quint32 id = m_nextRequest++;
    m_pendingCameras.insert(id, cam);
    return id;
}

QSharedPointer<CameraItem> CameraAPI::takeCamera(quint32 id)
{
    QMutexLocker lock(&m_pendingMutex);
    return m_pendingCameras.take(id);
}

bool CameraAPI::sessionValid(const QString &host) const
{
    const auto session = m_sessions.constFind(host);
    if (session == m_sessions.constEnd())
        return false;
    const auto age = m_clock() - *session;
    return std::chrono::duration_cast<std::chrono::nanoseconds>(age) <= std::chrono::minutes(m_sessionLifetimeMinutes);
}

void CameraAPI::dispatch(const QSharedPointer<CameraItem> &cam, const QNetworkRequest &request, Start start,
                         const QVariantMap &properties)
{
    m_queue.send(request.url().host(), [this, cam, start = std::move(start), properties] {
        QNetworkReply *reply = start();
        reply->setProperty(kStoreId, storeCamera(cam));
        for (auto it = properties.cbegin(); it != properties.cend(); ++it)
            reply->setProperty(it.key().toLatin1().constData(), it.value());
        watchReply(cam, reply);
    });
}

void CameraAPI::watchReply(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply)
{
    const QString path = reply->url().path();
    const bool download = isGet(reply) && isDownload(path);
    if (download) {
        const QString directory = QString::fromUtf8(reply->property(kNextData).toByteArray());
        const QString stamp = timeStamp(m_clock());
        QString name;
        if (path.startsWith(QLatin1String("/classifier/file")))
            name = QStringLiteral("Camera_%0_%1_%2").arg(cam->serial(), lastSegment(path), stamp);
        else if (path.startsWith(QLatin1String("/access/")))
            // The time stands before the list name here, unlike in classifier downloads.
            name = QStringLiteral("Camera_%0_%2_%1").arg(cam->serial(), secondToLastSegment(path), stamp);
        else
            name = QStringLiteral("Camera_%0_%1.zip").arg(cam->serial(), stamp);
        new DownloadFile(QDir(directory).filePath(name), reply);
    }
    // The network layer's own transfer time-out is not restarted by bytes that wait unread in
    // the reply, so a picture arriving steadily would count as silent.
    auto *idle = new QTimer(reply);
    idle->setSingleShot(true);
    connect(idle, &QTimer::timeout, reply, [reply] {
        reply->setProperty(kIdle, true);
        reply->abort();
    });
    idle->start(m_idleTimeout);
    const auto restartIdle = [idle] { idle->start(); };
    connect(reply, &QNetworkReply::readyRead, idle, restartIdle);
    connect(reply, &QNetworkReply::uploadProgress, idle, restartIdle);
    if (!download && !reply->property(kUpload).toBool()) {
        auto *deadline = new QTimer(reply);
        deadline->setSingleShot(true);
        connect(deadline, &QTimer::timeout, reply, [reply] {
            reply->setProperty(kTooSlow, true);
            reply->abort();
        });
        deadline->start(m_idleTimeout * kIdleTimeoutsPerReply);
    }
    // Without a bound the network thread reads whatever a camera sends as fast as it comes and
    // queues it for this thread, so a fast camera could fill the memory before any limit is seen.
    reply->setReadBufferSize(kReadBuffer);
    new ReplyBody(reply, path == kSnapshotPath ? kSnapshotLimit : kDocumentLimit,
                  download ? ReplyBody::Kind::Download : ReplyBody::Kind::Held);
}

void CameraAPI::postLogin(const QSharedPointer<CameraItem> &cam, const QVariantMap &properties)
{
    const QByteArray body = formBody({{QStringLiteral("username"), m_username},
                                      {QStringLiteral("password"), m_password}});
    const QNetworkRequest request = formRequest(cam->url(kLoginPath));
    dispatch(cam, request, [this, request, body] { return m_manager->post(request, body); }, properties);
}

void CameraAPI::onLogin(QSharedPointer<CameraItem> cam)
{
    if (m_username.isEmpty() || m_password.isEmpty() || !m_manager)
        return;
    if (sessionValid(cam->url(kLoginPath).host()))
        emit loggedIn(cam);
    else
        postLogin(cam);
}

void CameraAPI::checkAvailability(QSharedPointer<CameraItem> cam)
{
    getResource(cam, kProbePath, QByteArray(), {{QLatin1String(kProbe), true}});
}

void CameraAPI::sendRequest(const QSharedPointer<CameraItem> &cam, QNetworkRequest request, const QString &method,
                            const QByteArray &body, const QByteArray &extra, const QVariantMap &properties)
{
    if ((m_username.isEmpty() && m_password.isEmpty()) || !m_manager)
        return;
    QVariantMap requestProperties = properties;
    if (!extra.isEmpty())
        requestProperties.insert(QLatin1String(kNextData), extra);
    const Outgoing outgoing{cam, request, method.toUtf8(), body, requestProperties};
    if (sessionValid(request.url().host()))
        send(outgoing);
    else
        sendAfterLogin(outgoing);
}

void CameraAPI::send(const Outgoing &outgoing)
{
    QVariantMap properties = outgoing.properties;
    if (!outgoing.body.isEmpty())
        properties.insert(QLatin1String(kBody), outgoing.body);
    dispatch(
        outgoing.cam, outgoing.request,
        [this, request = outgoing.request, verb = outgoing.verb, body = outgoing.body] {
            return m_manager->sendCustomRequest(request, verb, body);
        },
        properties);
}

void CameraAPI::sendAfterLogin(const Outgoing &outgoing)
{
    std::vector<Outgoing> &waiting = m_waitingForLogin[outgoing.request.url().host()];
    waiting.push_back(outgoing);
    if (waiting.size() > 1)
        return;
    // The method and body of the first waiting request travel on the login for inspection.
    postLogin(outgoing.cam, {{QLatin1String(kOnBehalf), true},
                             {QLatin1String(kNextRequest), quint64(++m_pendingRequests)},
                             {QLatin1String(kNextMethod), outgoing.verb},
                             {QLatin1String(kNextData), outgoing.body}});
}

void CameraAPI::loginAnswered(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &failure)
{
    const QString host = reply->url().host();
    const bool onBehalf = reply->property(kOnBehalf).toBool();
    if (failure.isNull())
        m_sessions.insert(host, m_clock());
    if (!onBehalf) {
        if (failure.isNull())
            emit loggedIn(cam);
        else
            reportFailure(cam, kLoginPath, failure);
        return;
    }
    // Each waiting request ends with one answer: its own, or the login's failure.
    const std::vector<Outgoing> waiting = m_waitingForLogin.take(host);
    for (const Outgoing &outgoing : waiting) {
        if (failure.isNull())
            send(outgoing);
        else
            reportFailure(outgoing.cam, outgoing.request.url().path(), failure);
    }
}

bool CameraAPI::retryAfterLogin(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, int status)
{
    const QByteArray verb = reply->request().attribute(QNetworkRequest::CustomVerbAttribute).toByteArray();
    // Uploads are sent once: their bodies went with them.
    if (status != 401 || reply->property(kRetried).toBool() || verb.isEmpty())
        return false;
    // The camera ended the session before this client expected it to.
    m_sessions.remove(reply->url().host());
    QVariantMap properties{{QLatin1String(kRetried), true}};
    for (const char *name : {kNextData, kProbe}) {
        const QVariant value = reply->property(name);
        if (value.isValid())
            properties.insert(QLatin1String(name), value);
    }
    sendAfterLogin({cam, reply->request(), verb, reply->property(kBody).toByteArray(), properties});
    return true;
}

void CameraAPI::getResource(const QSharedPointer<CameraItem> &cam, const QString &path, const QByteArray &extra,
                            const QVariantMap &properties)
{
    sendRequest(cam, QNetworkRequest(cam->url(path)), QStringLiteral("GET"), QByteArray(), extra, properties);
}

void CameraAPI::viewCameraStatus(QSharedPointer<CameraItem> cam)
{
    getResource(cam, QStringLiteral("/live/status"));
}

void CameraAPI::viewApps(QSharedPointer<CameraItem> cam)
{
    getResource(cam, QStringLiteral("/live/apps"));
}

void CameraAPI::viewSystemProperties(QSharedPointer<CameraItem> cam)
{
    getResource(cam, QStringLiteral("/properties/system"));
}

void CameraAPI::viewANPRProperties(QSharedPointer<CameraItem> cam)
{
    getResource(cam, QStringLiteral("/properties/anpr"));
}

void CameraAPI::viewAccessProperties(QSharedPointer<CameraItem> cam)
{
    getResource(cam, QStringLiteral("/properties/access"));
}

void CameraAPI::viewActionEventProperties(QSharedPointer<CameraItem> cam)
{
    getResource(cam, QStringLiteral("/properties/action"));
}

void CameraAPI::viewROIProperties(QSharedPointer<CameraItem> cam)
{
    getResource(cam, QStringLiteral("/properties/roi"));
}

void CameraAPI::viewActions(QSharedPointer<CameraItem> cam)
{
    getResource(cam, QStringLiteral("/available_actions"));
}

void CameraAPI::viewClassifier(QSharedPointer<CameraItem> cam)
{
    getResource(cam, QStringLiteral("/classifier/info"));
}

void CameraAPI::listClassifiers(QSharedPointer<CameraItem> cam)
{
    getResource(cam, QStringLiteral("/classifier/list"));
}

void CameraAPI::viewDigitalIO(QSharedPointer<CameraItem> cam)
{
    getResource(cam, QStringLiteral("/digitalio"));
}

void CameraAPI::fetchLiveResult(QSharedPointer<CameraItem> cam)
{
    getResource(cam, QStringLiteral("/live/result"));
}

void CameraAPI::fetchLiveSnapshot(QSharedPointer<CameraItem> cam)
{
    getResource(cam, QStringLiteral("/live/snapshot"));
}

void CameraAPI::exportResults(QSharedPointer<CameraItem> cam, QString directory)
{
    getResource(cam, QStringLiteral("/export/results"), directory.toUtf8());
}

void CameraAPI::downloadClassifier(QSharedPointer<CameraItem> cam, QString classifier, QString directory)
{
    getResource(cam, QStringLiteral("/classifier/file/") + classifier, directory.toUtf8());
}

void CameraAPI::downloadAccessList(QSharedPointer<CameraItem> cam, QString access_list, QString directory)
{
    getResource(cam, QStringLiteral("/access/%0/file").arg(access_list), directory.toUtf8());
}

void CameraAPI::reinit(QSharedPointer<CameraItem> cam)
{
    sendRequest(cam, QNetworkRequest(cam->url(QStringLiteral("/camera/reinit"))), QStringLiteral("POST"), {});
}

void CameraAPI::reset(QSharedPointer<CameraItem> cam)
{
    sendRequest(cam, QNetworkRequest(cam->url(QStringLiteral("/camera/reset"))), QStringLiteral("POST"), {});
}

void CameraAPI::reboot(QSharedPointer<CameraItem> cam)
{
    sendRequest(cam, QNetworkRequest(cam->url(QStringLiteral("/camera/reboot"))), QStringLiteral("POST"), {});
}

void CameraAPI::defaultToClassifier(QSharedPointer<CameraItem> cam, QString classifier)
{
    sendRequest(cam, QNetworkRequest(cam->url(QStringLiteral("/classifier/file/") + classifier)),
                QStringLiteral("PATCH"), {});
}

// System properties are written under "/anpr/" as well: that is where the cameras take them.
void CameraAPI::setProperties(const QSharedPointer<CameraItem> &cam, const QMap<QString, QString> &properties)
{
    for (auto it = properties.cbegin(); it != properties.cend(); ++it) {
        sendRequest(cam, formRequest(cam->url(QStringLiteral("/anpr/") + it.key())), QStringLiteral("PATCH"),
                    formBody({{it.key(), it.value()}}));
    }
}

void CameraAPI::setSystemProperties(QSharedPointer<CameraItem> cam, QMap<QString, QString> properties)
{
    setProperties(cam, properties);
}

void CameraAPI::setANPRProperties(QSharedPointer<CameraItem> cam, QMap<QString, QString> properties)
{
    setProperties(cam, properties);
}

void CameraAPI::sendJson(const QSharedPointer<CameraItem> &cam, const QString &path, const QString &method,
                         const QJsonDocument &document)
{
    QNetworkRequest request(cam->url(path));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    sendRequest(cam, request, method, document.isNull() ? QByteArray() : document.toJson());
}

void CameraAPI::fetchAccessListEntries(QSharedPointer<CameraItem> cam, QString access_list, QString pattern)
{
    QJsonDocument body;
    if (!pattern.isEmpty())
        body.setObject({{QStringLiteral("pattern"), pattern}});
    sendJson(cam, QStringLiteral("/access/") + access_list, QStringLiteral("GET"), body);
}

void CameraAPI::addAccessListEntry(QSharedPointer<CameraItem> cam, QString access_list, QString plate, bool always,
                                   QDate start, QDate end, QStringList weekdays, QTime from, QTime to)
{
    QJsonObject entry{{QStringLiteral("plate"), plate}, {QStringLiteral("always"), always}};
    if (!always) {
        const QJsonObject period{{QStringLiteral("start"), start.toString(QStringLiteral("yyyy-MM-dd"))},
                                 {QStringLiteral("end"), end.toString(QStringLiteral("yyyy-MM-dd"))}};
        const QJsonObject timeSpan{{QStringLiteral("from"), from.toString(QStringLiteral("HH:mm"))},
                                   {QStringLiteral("to"), to.toString(QStringLiteral("HH:mm"))}};
        const QJsonObject schedule{{QStringLiteral("period"), period},
                                   {QStringLiteral("time-span"), timeSpan},
                                   {QStringLiteral("weekdays"), QJsonArray::fromStringList(weekdays)}};
        entry.insert(QStringLiteral("schedules"), QJsonArray{schedule});
    }
    sendJson(cam, QStringLiteral("/access/") + access_list, QStringLiteral("POST"), QJsonDocument(entry));
}

void CameraAPI::deleteAccessListEntry(QSharedPointer<CameraItem> cam, QString access_list, int index,
                                      QString pattern)
{
    QJsonObject selection;
    if (index >= 0)
        selection.insert(QStringLiteral("index"), index);
    if (!pattern.isEmpty())
        selection.insert(QStringLiteral("pattern"), pattern);
    sendJson(cam, QStringLiteral("/access/") + access_list, QStringLiteral("DELETE"), QJsonDocument(selection));
}

void CameraAPI::sendMultipart(const QSharedPointer<CameraItem> &cam, const QString &path, QHttpMultiPart *body,
                              QNetworkAccessManager::Operation operation)
{
    const QNetworkRequest request(cam->url(path));
    // The body belongs to this client while it waits its turn, then to its reply.
    body->setParent(this);
    dispatch(cam, request, [this, request, body, operation] {
        QNetworkReply *reply = operation == QNetworkAccessManager::PutOperation ? m_manager->put(request, body)
                                                                                 : m_manager->post(request, body);
        body->setParent(reply);
        return reply;
    }, {{QLatin1String(kUpload), true}});
}

void CameraAPI::uploadClassifier(QSharedPointer<CameraItem> cam, QString classifier, QString filename,
                                 bool overwrite)
{
    if (!m_manager)
        return;
    auto *body = new QHttpMultiPart(QHttpMultiPart::FormDataType);
    if (overwrite) {
        QHttpPart part;
        part.setHeader(QNetworkRequest::ContentDispositionHeader, QStringLiteral("form-data; name=\"overwrite\""));
        part.setBody("true");
        body->append(part);
    }
    body->append(filePart(QStringLiteral("form-data; name=\"classifier\"; filename=\"classifier\""), filename, body));
    sendMultipart(cam, QStringLiteral("/classifier/file/") + classifier, body, QNetworkAccessManager::PostOperation);
}

void CameraAPI::uploadAccessList(QSharedPointer<CameraItem> cam, QString access_list, QString filename)
{
    if (!m_manager)
        return;
    auto *body = new QHttpMultiPart(QHttpMultiPart::FormDataType);
    body->append(filePart(QStringLiteral("form-data; name=\"list\"; filename=\"list\""), filename, body));
    sendMultipart(cam, QStringLiteral("/access/%0/file").arg(access_list), body, QNetworkAccessManager::PutOperation);
}

void CameraAPI::reportError(const QSharedPointer<CameraItem> &cam, const QString &text)
{
    const QString line = message(cam, text);
    emit error(line);
    emit cameraError(cam, line);
}

void CameraAPI::reportSuccess(const QSharedPointer<CameraItem> &cam, const QString &text)
{
    const QString line = message(cam, text);
    emit success(line);
    emit cameraSuccess(cam, line);
}

QString CameraAPI::message(const QSharedPointer<CameraItem> &cam, const QString &text)
{
    return QStringLiteral("Camera %0 at %1: %2").arg(cam->serial(), cam->addressText(), text);
}

void CameraAPI::onFinished(QNetworkReply *reply)
{
    bool statusIsNumber = false;
    int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(&statusIsNumber);
    if (!statusIsNumber)
        status = -1;

    const QByteArray verb = reply->request().attribute(QNetworkRequest::CustomVerbAttribute).toByteArray();
    const QNetworkAccessManager::Operation operation = reply->operation();
    const auto is = [&](QNetworkAccessManager::Operation op, const char *name) {
        return operation == op || verb == name;
    };

    const QSharedPointer<CameraItem> cam = takeCamera(reply->property(kStoreId).toUInt());
    if (cam) {
        const QString path = reply->url().path();
        const QString failure = failureText(reply, status);
        auto *file = reply->findChild<DownloadFile *>(QString(), Qt::FindDirectChildrenOnly);
        if (outOfDescriptors(reply)) {
            emit openFilesLimitReached();
            emit connectionError(cam);
        } else if (is(QNetworkAccessManager::PostOperation, "POST") && path == kLoginPath) {
            loginAnswered(cam, reply, failure);
        } else if (file && file->error() != QFileDevice::NoError) {
            routeGet(cam, reply, path);
        } else if (!failure.isNull()) {
            if (file)
                file->discard();
            if (!retryAfterLogin(cam, reply, status))
                reportFailure(cam, path, failure);
        } else if (reply->property(kProbe).toBool()) {
            emit answered(cam);
        } else if (is(QNetworkAccessManager::GetOperation, "GET")) {
            routeGet(cam, reply, path);
        } else if (is(QNetworkAccessManager::PostOperation, "POST")) {
            routePost(cam, path);
        } else if (is(QNetworkAccessManager::PutOperation, "PUT")) {
            if (path.startsWith(QLatin1String("/access/")) && path.endsWith(QLatin1String("/file")))
                reportSuccess(cam, QStringLiteral("Access List uploaded"));
        } else if (verb == "PATCH") {
            routePatch(cam, path);
        } else if (is(QNetworkAccessManager::DeleteOperation, "DELETE")) {
            routeDelete(cam, reply, path);
        }
    }
    m_queue.finished(reply->request().url().host());
    reply->deleteLater();
}

QString CameraAPI::failureText(QNetworkReply *reply, int status) const
{
    if (ReplyBody::of(reply)->isTooLarge())
        return QStringLiteral("reply too large");
    if (reply->property(kTooSlow).toBool())
        return QStringLiteral("did not finish its answer within %0 s")
            .arg(double((m_idleTimeout * kIdleTimeoutsPerReply).count()) / 1000);
    if (status >= 300 && status < 400) {
        const QUrl target = reply->url().resolved(reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl());
        return QStringLiteral("tried to redirect to %0, which is not followed")
            .arg(target.toDisplayString(QUrl::RemoveUserInfo));
    }
    if (reply->property(kIdle).toBool())
        return QStringLiteral("did not answer for %0 s").arg(double(m_idleTimeout.count()) / 1000);
    if (reply->error() == QNetworkReply::NoError)
        return QString();
    if (status == -1)
        return reply->errorString();
    const QString head = QStringLiteral("HTTP Error: %0 - %1").arg(QString::number(status), reply->errorString());
    const QJsonObject body = QJsonDocument::fromJson(ReplyBody::of(reply)->take()).object();
    if (body.contains(QLatin1String("msg")))
        return head + QLatin1Char('\n') + body.value(QLatin1String("msg")).toString();
    return head;
}

void CameraAPI::reportFailure(const QSharedPointer<CameraItem> &cam, const QString &path, const QString &text)
{
    if (path == kSnapshotPath) {
        emit liveImageFailed(cam, message(cam, text));
        emit cameraError(cam, message(cam, text));
    } else {
        reportError(cam, text);
    }
    emit connectionError(cam);
}

void CameraAPI::routeGet(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &path)
{
    if (path == QLatin1String("/export/results")) {
        reportDownload(cam, reply, QStringLiteral("Could not write exported results to file: %0"), QString());
    } else if (path == kSnapshotPath) {
        emit liveImage(cam, QSharedPointer<QByteArray>::create(ReplyBody::of(reply)->take()));
    } else if (path.startsWith(QLatin1String("/classifier/file"))) {
        reportDownload(cam, reply, QStringLiteral("Could not write classifier to file: %0"),
                       QStringLiteral("Download of classifier successful"));
    } else if (path.startsWith(QLatin1String("/access/")) && path.endsWith(QLatin1String("/file"))) {
        reportDownload(cam, reply, QStringLiteral("Could not write access list to file: %0"),
                       QStringLiteral("Download of access list successful"));
    } else if (path.startsWith(QLatin1String("/access/"))) {
        // Named by the same rule as the download, which gives "access" for "/access/<list>":
        // receivers know which list they asked for.
        const QJsonDocument entries = readJson(cam, reply, path);
        if (!entries.isNull())
            emit accessList(cam, secondToLastSegment(path), entries);
    } else {
        routeResource(cam, reply, path);
    }
}

void CameraAPI::reportDownload(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &failure,
                               const QString &done)
{
    auto *file = reply->findChild<DownloadFile *>(QString(), Qt::FindDirectChildrenOnly);
    const QFileDevice::FileError result = file->finish();
    if (result != QFileDevice::NoError) {
        file->discard();
        reportError(cam, failure.arg(fileErrorText(result)));
    } else if (!done.isEmpty()) {
        reportSuccess(cam, done);
    }
}

QJsonDocument CameraAPI::readJson(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &path)
{
    const QByteArray body = ReplyBody::of(reply)->take();
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (body.isEmpty())
        reportError(cam, QStringLiteral("the answer to %0 is empty, not JSON").arg(path));
    else if (parseError.error != QJsonParseError::NoError)
        reportError(cam, QStringLiteral("the answer to %0 is not valid JSON (%1 at byte %2)")
                                    .arg(path, parseError.errorString(), QString::number(parseError.offset)));
    return document;
}

void CameraAPI::routeResource(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &path)
{
    const QJsonDocument document = readJson(cam, reply, path);
    if (document.isNull())
        return;
    if (CameraItem::categoryOfPath(path) != CameraItem::CategoryCount)
        emit resourceReceived(cam, path, document);
    emit updatedData();
}

void CameraAPI::routePost(const QSharedPointer<CameraItem> &cam, const QString &path)
{
    if (path == QLatin1String("/camera/reinit")) {
        reportSuccess(cam, QStringLiteral("Reinitialisation completed."));
    } else if (path == QLatin1String("/camera/reset")) {
        reportSuccess(cam, QStringLiteral("Reset started"));
    } else if (path == QLatin1String("/camera/reboot")) {
        reportSuccess(cam, QStringLiteral("Reboot started"));
    } else if (path.startsWith(QLatin1String("/classifier/file"))) {
        reportSuccess(cam, QStringLiteral("Classifier uploaded"));
    } else if (path.startsWith(QLatin1String("/access/")) && !path.contains(QLatin1String("/file"))) {
        reportSuccess(cam, QStringLiteral("Added Entry to Access List %0 uploaded").arg(lastSegment(path)));
    }
}

void CameraAPI::routePatch(const QSharedPointer<CameraItem> &cam, const QString &path)
{
    if (path.startsWith(QLatin1String("/system/"))) {
        reportSuccess(cam, QStringLiteral("Changed sytem property '%0'").arg(lastSegment(path)));
    } else if (path.startsWith(QLatin1String("/anpr/"))) {
        reportSuccess(cam, QStringLiteral("Changed ANPR property '%0'").arg(lastSegment(path)));
    } else if (path.startsWith(QLatin1String("/classifier/file"))) {
        reportSuccess(cam, QStringLiteral("Classifier '%0' is now the default").arg(lastSegment(path)));
    }
}

void CameraAPI::routeDelete(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &path)
{
    if (!path.startsWith(QLatin1String("/access/")) || path.contains(QLatin1String("/file")))
        return;
    QString text = QStringLiteral("Deleted entry");
    const QJsonObject body = QJsonDocument::fromJson(ReplyBody::of(reply)->take()).object();
    if (body.contains(QLatin1String("msg")))
        text = body.value(QLatin1String("msg")).toString();
    reportSuccess(cam, QStringLiteral("Access List %0: %1").arg(lastSegment(path), text));
}

QString CameraAPI::fileErrorText(QFileDevice::FileError error)
{
    static const char *const texts[] = {
        "No error occurred.",
        "An error occurred when reading from the file.",
        "An error occurred when writing to the file.",
        "A fatal error occurred.",
        "Out of resources (e.g., too many open files, out of memory, etc.)",
        "The file could not be opened.",
        "The operation was aborted.",
        "A timeout occurred.",
        "An unspecified error occurred.",
        "The file could not be removed.",
        "The file could not be renamed.",
        "The position in the file could not be changed.",
        "The file could not be resized.",
        "The file could not be accessed.",
        "The file could not be copied.",
    };
    const int code = int(error);
    if (code < 0 || code >= int(std::size(texts)))
        return QStringLiteral("Unknown error");
    return QString::fromLatin1(texts[code]);
}
