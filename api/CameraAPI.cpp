#include "CameraAPI.h"

#include "HostCookieJar.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QHttpMultiPart>
#include <QJsonArray>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QUrl>

#include <iterator>

namespace {

constexpr qint64 kCopyPiece = 65536;
const char kStoreId[] = "store_id";
const char kNextData[] = "next.data";
const char kNextRequest[] = "next.request";
const char kNextMethod[] = "next.method";

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

// Copies the reply into a new file in the directory the request carried; never overwrites.
QFileDevice::FileError writeReplyToFile(QNetworkReply *reply, const QString &fileName)
{
    const QString directory = QString::fromUtf8(reply->property(kNextData).toByteArray());
    QFile file(QDir(directory).filePath(fileName));
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return file.error();
    for (QByteArray piece = reply->read(kCopyPiece); !piece.isEmpty(); piece = reply->read(kCopyPiece)) {
        if (file.write(piece) != piece.size())
            return file.error();
    }
    file.close();
    return file.error();
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
    connect(this, &CameraAPI::error, this, [this](const QString &msg) {
        if (m_replyCamera)
            emit cameraError(m_replyCamera, msg);
    });
    connect(this, &CameraAPI::success, this, [this](const QString &msg) {
        if (m_replyCamera)
            emit cameraSuccess(m_replyCamera, msg);
    });
}

CameraAPI::~CameraAPI() = default;

void CameraAPI::setClock(Clock clock)
{
    m_clock = std::move(clock);
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

// Expects the camera's login lock held.
bool CameraAPI::sessionValid(const CameraItem &cam) const
{
    const auto age = m_clock() - cam.lastLogin();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(age)
           <= std::chrono::minutes(m_sessionLifetimeMinutes);
}

void CameraAPI::dispatch(const QSharedPointer<CameraItem> &cam, const QNetworkRequest &request, Start start,
                         const QVariantMap &properties)
{
    m_queue.send(request.url().host(), [this, cam, start = std::move(start), properties] {
        QNetworkReply *reply = start();
        reply->setProperty(kStoreId, storeCamera(cam));
        for (auto it = properties.cbegin(); it != properties.cend(); ++it)
            reply->setProperty(it.key().toLatin1().constData(), it.value());
    });
}

void CameraAPI::postLogin(const QSharedPointer<CameraItem> &cam, const QVariantMap &properties)
{
    const QByteArray body = formBody({{QStringLiteral("username"), m_username},
                                      {QStringLiteral("password"), m_password}});
    const QNetworkRequest request = formRequest(cam->url(QStringLiteral("/login")));
    dispatch(cam, request, [this, request, body] { return m_manager->post(request, body); }, properties);
}

void CameraAPI::onLogin(QSharedPointer<CameraItem> cam)
{
    if (m_username.isEmpty() || m_password.isEmpty() || !m_manager)
        return;
    QMutexLocker lock(&cam->loginMutex());
    if (sessionValid(*cam)) {
        lock.unlock();
        emit loggedIn(cam);
        return;
    }
    lock.unlock();
    postLogin(cam);
}

void CameraAPI::sendRequest(const QSharedPointer<CameraItem> &cam, QNetworkRequest request, const QString &method,
                            const QByteArray &body, const QByteArray &extra)
{
    if ((m_username.isEmpty() && m_password.isEmpty()) || !m_manager)
        return;
    QMutexLocker lock(&cam->loginMutex());
    if (!sessionValid(*cam)) {
        loginAndRequest(cam, method, body);
        return;
    }
    QVariantMap properties;
    if (!extra.isEmpty())
        properties.insert(QLatin1String(kNextData), extra);
    const QByteArray verb = method.toUtf8();
    dispatch(
        cam, request, [this, request, verb, body] { return m_manager->sendCustomRequest(request, verb, body); },
        properties);
}

// The request that waited for this login is not sent afterwards: whoever wanted it repeats it
// once loggedIn arrives. Its method and body travel on the login reply for inspection only.
void CameraAPI::loginAndRequest(const QSharedPointer<CameraItem> &cam, const QString &method, const QByteArray &body)
{
    postLogin(cam, {{QLatin1String(kNextRequest), quint64(++m_pendingRequests)},
                    {QLatin1String(kNextMethod), method.toUtf8()},
                    {QLatin1String(kNextData), body}});
}

void CameraAPI::getResource(const QSharedPointer<CameraItem> &cam, const QString &path, const QByteArray &extra)
{
    sendRequest(cam, QNetworkRequest(cam->url(path)), QStringLiteral("GET"), QByteArray(), extra);
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
    });
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
        m_replyCamera = cam;
        const QString path = reply->url().path();
        if (reply->error() != QNetworkReply::NoError) {
            if (outOfDescriptors(reply))
                emit openFilesLimitReached();
            else
                reportHttpError(cam, reply, status);
            emit connectionError(cam);
        } else if (is(QNetworkAccessManager::GetOperation, "GET")) {
            routeGet(cam, reply, path);
        } else if (is(QNetworkAccessManager::PostOperation, "POST")) {
            routePost(cam, path);
        } else if (is(QNetworkAccessManager::PutOperation, "PUT")) {
            if (path.startsWith(QLatin1String("/access/")) && path.endsWith(QLatin1String("/file")))
                emit success(message(cam, QStringLiteral("Access List uploaded")));
        } else if (verb == "PATCH") {
            routePatch(cam, path);
        } else if (is(QNetworkAccessManager::DeleteOperation, "DELETE")) {
            routeDelete(cam, reply, path);
        }
        m_replyCamera.reset();
    }
    m_queue.finished(reply->request().url().host());
    reply->deleteLater();
}

void CameraAPI::reportHttpError(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, int status)
{
    if (status == -1) {
        emit error(message(cam, reply->errorString()));
        return;
    }
    const QString head = QStringLiteral("HTTP Error: %0 - %1").arg(QString::number(status), reply->errorString());
    const QJsonObject body = QJsonDocument::fromJson(reply->readAll()).object();
    if (body.contains(QLatin1String("msg")))
        emit error(message(cam, head + QLatin1Char('\n') + body.value(QLatin1String("msg")).toString()));
    else
        emit error(message(cam, head));
}

void CameraAPI::routeGet(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &path)
{
    if (path == QLatin1String("/export/results")) {
        const QFileDevice::FileError result =
            writeReplyToFile(reply, QStringLiteral("Camera_%0_%1.zip").arg(cam->serial(), timeStamp(m_clock())));
        if (result != QFileDevice::NoError) {
            emit error(message(cam, QStringLiteral("Could not write exported results to file: %0")
                                        .arg(fileErrorText(result))));
        }
    } else if (path == QLatin1String("/live/snapshot")) {
        emit liveImage(cam, QSharedPointer<QByteArray>::create(reply->readAll()));
    } else if (path.startsWith(QLatin1String("/classifier/file"))) {
        reportDownload(cam, reply,
                       QStringLiteral("Camera_%0_%1_%2").arg(cam->serial(), lastSegment(path), timeStamp(m_clock())),
                       QStringLiteral("Could not write classifier to file: %0"),
                       QStringLiteral("Download of classifier successful"));
    } else if (path.startsWith(QLatin1String("/access/")) && path.endsWith(QLatin1String("/file"))) {
        // The time stands before the list name here, unlike in classifier downloads.
        reportDownload(cam, reply,
                       QStringLiteral("Camera_%0_%2_%1").arg(cam->serial(), secondToLastSegment(path), timeStamp(m_clock())),
                       QStringLiteral("Could not write access list to file: %0"),
                       QStringLiteral("Download of access list successful"));
    } else if (path.startsWith(QLatin1String("/access/"))) {
        // Named by the same rule as the download, which gives "access" for "/access/<list>":
        // receivers know which list they asked for.
        emit accessList(cam, secondToLastSegment(path), QJsonDocument::fromJson(reply->readAll()));
    } else {
        routeResource(cam, reply, path);
    }
}

void CameraAPI::reportDownload(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply,
                               const QString &fileName, const QString &failure, const QString &done)
{
    const QFileDevice::FileError result = writeReplyToFile(reply, fileName);
    if (result != QFileDevice::NoError)
        emit error(message(cam, failure.arg(fileErrorText(result))));
    else
        emit success(message(cam, done));
}

void CameraAPI::routeResource(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &path)
{
    const QJsonDocument document = QJsonDocument::fromJson(reply->readAll());
    if (document.isNull())
        return;
    if (CameraItem::categoryOfPath(path) != CameraItem::CategoryCount)
        emit resourceReceived(cam, path, document);
    emit updatedData();
}

void CameraAPI::routePost(const QSharedPointer<CameraItem> &cam, const QString &path)
{
    if (path == QLatin1String("/login")) {
        {
            QMutexLocker lock(&cam->loginMutex());
            cam->setLastLogin(m_clock());
        }
        emit loggedIn(cam);
    } else if (path == QLatin1String("/camera/reinit")) {
        emit success(message(cam, QStringLiteral("Reinitialisation completed.")));
    } else if (path == QLatin1String("/camera/reset")) {
        emit success(message(cam, QStringLiteral("Reset started")));
    } else if (path == QLatin1String("/camera/reboot")) {
        emit success(message(cam, QStringLiteral("Reboot started")));
    } else if (path.startsWith(QLatin1String("/classifier/file"))) {
        emit success(message(cam, QStringLiteral("Classifier uploaded")));
    } else if (path.startsWith(QLatin1String("/access/")) && !path.contains(QLatin1String("/file"))) {
        emit success(message(cam, QStringLiteral("Added Entry to Access List %0 uploaded").arg(lastSegment(path))));
    }
}

void CameraAPI::routePatch(const QSharedPointer<CameraItem> &cam, const QString &path)
{
    if (path.startsWith(QLatin1String("/system/"))) {
        emit success(message(cam, QStringLiteral("Changed sytem property '%0'").arg(lastSegment(path))));
    } else if (path.startsWith(QLatin1String("/anpr/"))) {
        emit success(message(cam, QStringLiteral("Changed ANPR property '%0'").arg(lastSegment(path))));
    } else if (path.startsWith(QLatin1String("/classifier/file"))) {
        emit success(message(cam, QStringLiteral("Classifier '%0' is now the default").arg(lastSegment(path))));
    }
}

void CameraAPI::routeDelete(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &path)
{
    if (!path.startsWith(QLatin1String("/access/")) || path.contains(QLatin1String("/file")))
        return;
    QString text = QStringLiteral("Deleted entry");
    const QJsonObject body = QJsonDocument::fromJson(reply->readAll()).object();
    if (body.contains(QLatin1String("msg")))
        text = body.value(QLatin1String("msg")).toString();
    emit success(message(cam, QStringLiteral("Access List %0: %1").arg(lastSegment(path), text)));
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
