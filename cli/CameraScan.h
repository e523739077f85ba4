#pragma once

#include "CameraFinder.h"
#include "ScanSchedule.h"

#include <QHostAddress>
#include <QObject>

#include <functional>

class CameraModel;

// One scan into a camera list with the window's finder and probe schedule: a probe at once,
// then every half second for the given time. It ends early once the cameras found are enough.
class CameraScan : public QObject
{
    Q_OBJECT

public:
    using Enough = std::function<bool()>;

    CameraScan(CameraModel *model, QObject *parent = nullptr);

    void start(const QHostAddress &group, quint16 port, int ttl, int seconds, Enough enough = {});

signals:
    void finished();

private:
    void end();

    CameraModel *m_model;
    CameraFinder m_finder;
    ScanSchedule m_schedule;
    Enough m_enough;
    bool m_running = false;
};
