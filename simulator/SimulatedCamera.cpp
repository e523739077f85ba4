#include "SimulatedCamera.h"

#include "UpdateService.h"

SimulatedCamera::SimulatedCamera(const CameraConfig &config,
                                 const DiscoveryResponder::Settings &discovery, quint16 updatePort,
                                 const UpdateSession::Settings &update, QObject *parent)
    : QObject(parent)
    , m_discovery(new DiscoveryResponder(config, discovery, this))
    , m_update(new UpdateService(config, updatePort, update, this))
{
}

bool SimulatedCamera::start(QString *error)
{
    return m_discovery->start(error) && m_update->start(error);
}
