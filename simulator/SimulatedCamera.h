#pragma once

#include "CameraConfig.h"
#include "DiscoveryResponder.h"
#include "UpdateSession.h"

#include <QObject>
#include <QString>

class UpdateService;
class WebService;

// One camera and the services that answer on its addresses: discovery, updates and the
// Web-API, each a child object of its own.
class SimulatedCamera : public QObject
{
    Q_OBJECT

public:
    SimulatedCamera(const CameraConfig &config, const DiscoveryResponder::Settings &discovery,
                    quint16 updatePort, const UpdateSession::Settings &update, quint16 webPort,
                    QObject *parent);

    // Opens every socket of every service; false with a reason when one cannot be opened.
    bool start(QString *error);
    void toggleWebSilence();
    void endSessions();

private:
    DiscoveryResponder *m_discovery;
    UpdateService *m_update;
    WebService *m_web;
};
