#include "Simulator.h"

#include "SimulatedCamera.h"
#include "EventLog.h"
#include "UpdateKey.h"

#include <QHash>
#include <QNetworkInterface>

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
    // Read once: a fleet puts a thousand addresses on one interface, and reading them all
    // again for each camera would take most of the start-up.
    discovery.interfaces = QNetworkInterface::allInterfaces();

    UpdateSession::Settings update;
    update.storeDirectory = m_options.storeDirectory;
    update.readTimeoutMs = m_options.readTimeoutMs;

    // A fleet's cameras share one password, and each derivation costs thousands of hashes.
    QHash<QString, QByteArray> keys;
    for (const CameraConfig &config : std::as_const(m_options.cameras)) {
        auto key = keys.constFind(config.adminPassword);
        if (key == keys.constEnd())
            key = keys.insert(config.adminPassword, UpdateKey::derive(config.adminPassword));
        update.key = *key;
        auto *camera = new SimulatedCamera(config, discovery, m_options.updatePort, update,
                                           m_options.webPort, this);
        m_cameras.append(camera);
        if (!camera->start(error))
            return false;
    }
    return true;
}

void Simulator::endSessions()
{
    for (SimulatedCamera *camera : std::as_const(m_cameras))
        camera->endSessions();
    EventLog::write(QStringLiteral("sessions-ended"));
}

void Simulator::toggleWebSilence()
{
    for (SimulatedCamera *camera : std::as_const(m_cameras))
        camera->toggleWebSilence();
}
