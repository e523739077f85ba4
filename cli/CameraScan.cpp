#include "CameraScan.h"

#include "CameraModel.h"

#include <algorithm>

CameraScan::CameraScan(CameraModel *model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    connect(&m_finder, &CameraFinder::foundRemote, m_model, &CameraModel::addCamera);
    connect(&m_schedule, &ScanSchedule::probe, &m_finder, &CameraFinder::scan);
    connect(&m_schedule, &ScanSchedule::finished, this, &CameraScan::end);
    connect(m_model, &CameraModel::newCamera, this, [this] {
        if (m_running && m_enough && m_enough())
            end();
    });
}

void CameraScan::start(const QHostAddress &group, quint16 port, int ttl, int seconds, Enough enough)
{
    m_enough = std::move(enough);
    m_running = true;
    m_finder.init();
    m_finder.init(group, port, ttl);
    m_finder.scan();
    m_schedule.start(std::max(1, seconds * 1000 / ScanSchedule::kIntervalMs));
}

void CameraScan::end()
{
    if (!m_running)
        return;
    m_running = false;
    m_schedule.stop();
    emit finished();
}
