#include "SimulatedCamera.h"

#include "UpdateService.h"
#include "WebService.h"

SimulatedCamera::SimulatedCamera(const CameraConfig &config,
                                 const DiscoveryResponder::Settings &discovery, quint16 updatePort,
                                 const UpdateSession::Settings &update, quint16 webPort,
                                 QObject *parent)
    : QObject(parent)
    , m_discovery(new DiscoveryResponder(config, discovery, this))
    , m_update(new UpdateService(config, updatePort, update, this))
    , m_web(new WebService(config, webPort, this))
{
}

bool SimulatedCamera::start(QString *error)
{
    return m_discovery->start(error) && m_update->start(error) && m_web->start(error);
}

void SimulatedCamera::toggleWebSilence()
{
    m_web->toggleSilence();
}

void SimulatedCamera::endSessions()
{
    m_web->endSessions();
}
