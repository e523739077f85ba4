#include "WebService.h"

#include "EventLog.h"
#include "StreamedBody.h"
#include "WebResources.h"

#include <QCryptographicHash>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QHttpServerResponse>
#include <QJsonObject>
#include <QMetaEnum>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QUrlQuery>

namespace {

// Header names are case-insensitive, whatever case the client wrote them in.
QByteArray headerValue(const QHttpServerRequest &request, const QByteArray &name)
{
    const auto headers = request.headers();
    for (const auto &header : headers) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0)
            return header.second;
    }
    return QByteArray();
}

QString sha256(const QByteArray &data)
{
    return QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex());
}

} // namespace

WebService::WebService(const CameraConfig &camera, quint16 port, QObject *parent)
    : QAbstractHttpServer(parent)
    , m_camera(camera)
    , m_port(port)
    , m_sessions(qint64(camera.sessionSeconds) * 1000)
    , m_resources(std::make_unique<WebResources>(camera))
{
}

WebService::~WebService() = default;

bool WebService::start(QString *error)
{
    if (m_camera.webBehaviour == CameraConfig::WebBehaviour::Refuse)
        return true;
    for (const QHostAddress &address : {m_camera.ipv4, m_camera.ipv6}) {
        if (address.isNull())
            continue;
        auto *server = new QTcpServer(this);
        if (!listen(server, address, error))
            return false;
        bind(server);
        m_listeners.append({server, address});
    }
    if (m_camera.silentAfterMs >= 0) {
        QTimer::singleShot(m_camera.silentAfterMs, this, [this] {
            setSilent(true);
            if (m_camera.silentForMs > 0)
                QTimer::singleShot(m_camera.silentForMs, this, [this] { setSilent(false); });
        });
    }
    return true;
}

void WebService::toggleSilence()
{
    setSilent(!m_silent);
}

void WebService::endSessions()
{
    m_sessions.clear();
}

bool WebService::handleRequest(const QHttpServerRequest &request, QTcpSocket *socket)
{
    const QByteArray method = methodName(request);
    const QString path = request.url().path(QUrl::FullyDecoded);
    const QByteArray fullType = headerValue(request, "Content-Type");
    const QByteArray receivedType = fullType.split(';').constFirst().trimmed();
    const QByteArray body = request.body();
    EventLog::write(QStringLiteral("http %1 %2 %3 %4 %5 %6")
                        .arg(m_camera.serial, QString::fromLatin1(method),
                             request.url().path(QUrl::FullyEncoded),
                             receivedType.isEmpty() ? QStringLiteral("-")
                                                    : QString::fromLatin1(receivedType))
                        .arg(body.size())
                        .arg(sha256(body)));

    const QByteArray contentType = receivedType.toLower();
    QList<MultipartParser::Part> parts;
    QString multipartError;
    if (contentType == "multipart/form-data"
        && MultipartParser::parse(fullType, body, &parts, &multipartError)) {
        for (const MultipartParser::Part &part : std::as_const(parts)) {
            EventLog::write(QStringLiteral("upload %1 %2 %3 %4 %5 %6 %7")
                                .arg(m_camera.serial, QString::fromLatin1(method),
                                     request.url().path(QUrl::FullyEncoded),
                                     QString::fromUtf8(part.name),
                                     part.filename.isNull() ? QStringLiteral("-")
                                                            : QString::fromUtf8(part.filename))
                                .arg(part.body.size())
                                .arg(sha256(part.body)));
        }
    }

    using Behaviour = CameraConfig::WebBehaviour;
    if (path != QLatin1String("/login") && answersBadly(request, method, path, contentType, parts, multipartError, socket))
        return true;
    WebReply reply;
    switch (m_camera.webBehaviour) {
    case Behaviour::Hang:
        return true;
    case Behaviour::Error500:
        reply = WebReply::message(QStringLiteral("Internal server error"), 500);
        break;
    case Behaviour::Error500Plain:
        reply = WebReply::data(QByteArrayLiteral("text/plain"), QByteArrayLiteral("Internal Server Error\n"));
        reply.status = 500;
        break;
    case Behaviour::Redirect:
        reply = WebReply::message(QStringLiteral("Moved"), 307);
        reply.headers.append({QByteArrayLiteral("Location"),
                              QStringLiteral("http://%1%2").arg(m_camera.redirectTo, path).toUtf8()});
        break;
    default:
        reply = answer(request, method, path, contentType, parts, multipartError);
        break;
    }
    if (method == "GET" && reply.status == 200 && reply.contentType == "application/json") {
        switch (m_camera.webBehaviour) {
        case Behaviour::Malformed:
            // No prefix of an object or array is JSON.
            reply.body.truncate(reply.body.size() / 2);
            break;
        case Behaviour::Html:
            reply = WebReply::data(QByteArrayLiteral("text/html"),
                                   QByteArrayLiteral("<!DOCTYPE html><html><body><h1>Welcome</h1></body></html>\n"));
            break;
        case Behaviour::Empty:
            reply.body.clear();
            break;
        default:
            break;
        }
    }
    send(reply, makeResponder(request, socket));
    return true;
}

bool WebService::answersBadly(const QHttpServerRequest &request, const QByteArray &method, const QString &path,
                              const QByteArray &contentType, const QList<MultipartParser::Part> &parts,
                              const QString &multipartError, QTcpSocket *socket)
{
    using Behaviour = CameraConfig::WebBehaviour;
    const QByteArray binary = QByteArrayLiteral("application/octet-stream");
    switch (m_camera.webBehaviour) {
    case Behaviour::HangReads:
        return true;
    case Behaviour::Endless:
        StreamedBody::sendEndless(socket, binary);
        return true;
    case Behaviour::Huge:
        StreamedBody::sendSized(socket, binary, m_camera.hugeBytes);
        return true;
    case Behaviour::Trickle: {
        const WebReply reply = answer(request, method, path, contentType, parts, multipartError);
        StreamedBody::sendTrickled(socket, reply.contentType, reply.body, m_camera.trickleMs);
        return true;
    }
    default:
        return false;
    }
}

void WebService::missingHandler(const QHttpServerRequest &request, QTcpSocket *socket)
{
    send(WebReply::message(QStringLiteral("No resource"), 404), makeResponder(request, socket));
}

WebReply WebService::answer(const QHttpServerRequest &request, const QByteArray &method,
                            const QString &path, const QByteArray &contentType,
                            const QList<MultipartParser::Part> &parts,
                            const QString &multipartError)
{
    if (path == QLatin1String("/login")) {
        if (method != "POST")
            return WebReply::message(QStringLiteral("Log in with POST"), 405);
        return login(contentType, request.body());
    }
    if (!hasSession(request)) {
        EventLog::write(QStringLiteral("denied %1 %2").arg(m_camera.serial, path));
        return WebReply::message(QStringLiteral("Login required"), 401);
    }
    if (!multipartError.isEmpty())
        return WebReply::message(QStringLiteral("Malformed multipart body: ") + multipartError, 400);
    return m_resources->answer(method, path, contentType, request.body(), parts);
}

WebReply WebService::login(const QByteArray &contentType, const QByteArray &body)
{
    const QUrlQuery form(QString::fromUtf8(body));
    const QString user = form.queryItemValue(QStringLiteral("username"), QUrl::FullyDecoded);
    const QString password = form.queryItemValue(QStringLiteral("password"), QUrl::FullyDecoded);
    if (contentType != "application/x-www-form-urlencoded"
        || !form.hasQueryItem(QStringLiteral("username"))
        || !form.hasQueryItem(QStringLiteral("password")) || user != m_camera.webUser
        || password != m_camera.webPassword)
        return WebReply::message(QStringLiteral("Invalid user name or password"), 401);

    WebReply reply = WebReply::json(QJsonDocument(QJsonObject{
        {QStringLiteral("msg"), QStringLiteral("Login successful")},
        {QStringLiteral("user"), user},
        {QStringLiteral("session_timeout"), m_camera.sessionSeconds},
    }));
    reply.headers.append({QByteArrayLiteral("Set-Cookie"),
                          "session=" + m_sessions.open() + "; Path=/; HttpOnly"});
    return reply;
}

bool WebService::hasSession(const QHttpServerRequest &request) const
{
    const QList<QByteArray> cookies = headerValue(request, "Cookie").split(';');
    for (const QByteArray &cookie : cookies) {
        const QByteArray trimmed = cookie.trimmed();
        if (trimmed.startsWith("session=") && m_sessions.isValid(trimmed.mid(8)))
            return true;
    }
    return false;
}

void WebService::setSilent(bool silent)
{
    if (silent == m_silent || m_listeners.isEmpty())
        return;
    m_silent = silent;
    for (const auto &listener : std::as_const(m_listeners)) {
        QTcpServer *server = listener.first;
        if (silent) {
            server->close();
            // Open connections go too, so that a silent camera cannot answer on a kept-alive one.
            const auto connections =
                server->findChildren<QTcpSocket *>(QString(), Qt::FindDirectChildrenOnly);
            for (QTcpSocket *connection : connections) {
                connection->abort();
                connection->deleteLater();
            }
        } else {
            QString error;
            if (!listen(server, listener.second, &error))
                qWarning("%s", qPrintable(error));
        }
    }
    EventLog::write(QStringLiteral("%1 %2").arg(silent ? QStringLiteral("web-silent")
                                                       : QStringLiteral("web-listening"),
                                                m_camera.serial));
}

bool WebService::listen(QTcpServer *server, const QHostAddress &address, QString *error)
{
    if (server->listen(address, m_port))
        return true;
    *error = QStringLiteral("camera %1: cannot listen on [%2]:%3: %4")
                 .arg(m_camera.serial, address.toString())
                 .arg(m_port)
                 .arg(server->errorString());
    return false;
}

void WebService::send(const WebReply &reply, QHttpServerResponder &&responder)
{
    QHttpServerResponse response(reply.contentType, reply.body,
                                 static_cast<QHttpServerResponse::StatusCode>(reply.status));
    for (const auto &header : reply.headers)
        response.addHeader(header.first, header.second);
    response.write(std::move(responder));
}

QByteArray WebService::methodName(const QHttpServerRequest &request)
{
    const char *key = QMetaEnum::fromType<QHttpServerRequest::Method>().valueToKey(
        static_cast<int>(request.method()));
    return QByteArray(key ? key : "Unknown").toUpper();
}
