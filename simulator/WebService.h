#pragma once

#include "CameraConfig.h"
#include "MultipartParser.h"
#include "SessionTable.h"
#include "WebReply.h"

#include <QAbstractHttpServer>
#include <QHostAddress>
#include <QList>
#include <QPair>
#include <QString>

#include <memory>

class QTcpServer;
class WebResources;

// A camera's Web-API: an HTTP server on port 80 (or the given port) of each of the camera's
// addresses. A form login opens a session whose cookie every further request must carry; the
// resources behind it are WebResources'. Every request is logged before it is answered, and the
// fault modes of the camera text decide whether, and how, it is answered at all.
class WebService : public QAbstractHttpServer
{
    Q_OBJECT

public:
    WebService(const CameraConfig &camera, quint16 port, QObject *parent);
    ~WebService() override;

    bool start(QString *error);
    // Stops listening, dropping open connections, or listens again; for tests that need a
    // camera to vanish and come back at a moment of their choosing.
    void toggleSilence();
    void endSessions();

protected:
    bool handleRequest(const QHttpServerRequest &request, QTcpSocket *socket) override;
    void missingHandler(const QHttpServerRequest &request, QTcpSocket *socket) override;

private:
    WebReply answer(const QHttpServerRequest &request, const QByteArray &method,
                    const QString &path, const QByteArray &contentType,
                    const QList<MultipartParser::Part> &parts, const QString &multipartError);
    // The fault modes that answer a logged-in client with something else than a reply, or not
    // at all; false when the camera answers as usual.
    bool answersBadly(const QHttpServerRequest &request, const QByteArray &method, const QString &path,
                      const QByteArray &contentType, const QList<MultipartParser::Part> &parts,
                      const QString &multipartError, QTcpSocket *socket);
    WebReply login(const QByteArray &contentType, const QByteArray &body);
    bool hasSession(const QHttpServerRequest &request) const;
    void setSilent(bool silent);
    bool listen(QTcpServer *server, const QHostAddress &address, QString *error);
    static void send(const WebReply &reply, QHttpServerResponder &&responder);
    static QByteArray methodName(const QHttpServerRequest &request);

    CameraConfig m_camera;
    quint16 m_port;
    SessionTable m_sessions;
    std::unique_ptr<WebResources> m_resources;
    QList<QPair<QTcpServer *, QHostAddress>> m_listeners;
    bool m_silent = false;
};
