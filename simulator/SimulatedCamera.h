#pragma once

#include "CameraConfig.h"
#include "DiscoveryResponder.h"
#include "UpdateSession.h"

#include <QObject>
#include <QString>

class UpdateService;

// One camera and the services that answer on its addresses. Each service is a child object of
// its own, so a further one (the Web-API) slots in beside them.
class SimulatedCamera : public QObject
{
    Q_OBJECT

public:
    SimulatedCamera(const CameraConfig &config, const DiscoveryResponder::Settings &discovery,
                    quint16 updatePort, const UpdateSession::Settings &update, QObject *parent);

    // Opens every socket of every service; false with a reason when one cannot be opened.
    bool start(QString *error);

private:
    DiscoveryResponder *m_discovery;
    UpdateService *m_update;
};
