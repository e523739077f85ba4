#pragma once

#include "CameraConfig.h"
#include "UpdateSession.h"

#include <QObject>
#include <QString>

class QTcpServer;

// A camera's update port: listens on each of the camera's addresses and hands every
// connection to an UpdateSession. In the "refuse" fault mode it opens nothing, so that
// connections meet a reset.
class UpdateService : public QObject
{
    Q_OBJECT

public:
    UpdateService(const CameraConfig &camera, quint16 port, const UpdateSession::Settings &settings,
                  QObject *parent);

    bool start(QString *error);

private:
    bool listen(const QHostAddress &address, QString *error);
    void onNewConnection(QTcpServer *server);

    CameraConfig m_camera;
    quint16 m_port;
    UpdateSession::Settings m_settings;
};
