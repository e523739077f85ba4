#include "UpdateService.h"

#include <QTcpServer>
#include <QTcpSocket>

UpdateService::UpdateService(const CameraConfig &camera, quint16 port,
                             const UpdateSession::Settings &settings, QObject *parent)
    : QObject(parent)
    , m_camera(camera)
    , m_port(port)
    , m_settings(settings)
{
}

bool UpdateService::start(QString *error)
{
    if (m_camera.updateBehaviour == CameraConfig::UpdateBehaviour::Refuse)
        return true;
    for (const QHostAddress &address : {m_camera.ipv4, m_camera.ipv6}) {
        if (!address.isNull() && !listen(address, error))
            return false;
    }
    return true;
}

bool UpdateService::listen(const QHostAddress &address, QString *error)
{
    auto *server = new QTcpServer(this);
    if (!server->listen(address, m_port)) {
        *error = QStringLiteral("camera %1: cannot listen on [%2]:%3: %4")
                     .arg(m_camera.serial, address.toString())
                     .arg(m_port)
                     .arg(server->errorString());
        return false;
    }
    connect(server, &QTcpServer::newConnection, this, [this, server] { onNewConnection(server); });
    return true;
}

void UpdateService::onNewConnection(QTcpServer *server)
{
    while (QTcpSocket *socket = server->nextPendingConnection())
        new UpdateSession(socket, m_camera, m_settings, this);
}
