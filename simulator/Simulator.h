#pragma once

#include "SimulatorOptions.h"

#include <QList>
#include <QObject>
#include <QString>

class SimulatedCamera;

// All cameras of one process.
class Simulator : public QObject
{
    Q_OBJECT

public:
    explicit Simulator(const SimulatorOptions &options, QObject *parent = nullptr);

    // Creates the cameras and opens all their sockets; false with a reason on the first failure.
    bool start(QString *error);
    void toggleWebSilence();
    void endSessions();

private:
    SimulatorOptions m_options;
    QList<SimulatedCamera *> m_cameras;
};
