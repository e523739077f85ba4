#include "Simulator.h"

#include "SimulatedCamera.h"

Simulator::Simulator(const SimulatorOptions &options, QObject *parent)
    : QObject(parent)
    , m_options(options)
{
}

bool Simulator::start(QString *error)
{
    DiscoveryResponder::Settings discovery;
    discovery.probePort = m_options.probePort;
    discovery.probeGroupIPv4 = m_options.probeGroupIPv4;
    discovery.probeGroupIPv6 = m_options.probeGroupIPv6;

    UpdateSession::Settings update;
    update.storeDirectory = m_options.storeDirectory;
    update.readTimeoutMs = m_options.readTimeoutMs;

    for (const CameraConfig &config : std::as_const(m_options.cameras)) {
        auto *camera = new SimulatedCamera(config, discovery, m_options.updatePort, update,
                                           m_options.webPort, this);
        m_cameras.append(camera);
        if (!camera->start(error))
            return false;
    }
    return true;
}

void Simulator::toggleWebSilence()
{
    for (SimulatedCamera *camera : std::as_const(m_cameras))
        camera->toggleWebSilence();
}
