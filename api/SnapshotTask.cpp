#include "SnapshotTask.h"

#include "CameraAPI.h"

namespace {

constexpr int kDefaultInterval = 3000;

} // namespace

SnapshotTask::SnapshotTask(CameraAPI *client, QObject *parent)
    : QObject(parent)
    , m_interval(kDefaultInterval)
{
    connect(&m_timer, &QTimer::timeout, this, &SnapshotTask::fetchImage);
    connect(this, &SnapshotTask::fetchingImage, client, &CameraAPI::fetchLiveSnapshot);
    connect(client, &CameraAPI::liveImage, this, &SnapshotTask::receiveImage);
    connect(client, &CameraAPI::liveImageFailed, this, &SnapshotTask::receiveFailure);
}

SnapshotTask::~SnapshotTask() = default;

// At rate 0 the timer is not left running, which would ask at every turn of the event loop:
// each answer schedules the next request instead.
void SnapshotTask::start()
{
    m_running = true;
    if (m_interval > 0) {
        m_timer.setSingleShot(false);
        m_timer.start(m_interval);
    } else {
        m_timer.stop();
        fetchImage();
    }
}

void SnapshotTask::stop()
{
    m_running = false;
    m_timer.stop();
}

bool SnapshotTask::isActive() const
{
    return m_running;
}

void SnapshotTask::setInterval(int milliseconds)
{
    m_interval = milliseconds;
    if (m_running)
        start();
}

int SnapshotTask::interval() const
{
    return m_interval;
}

void SnapshotTask::setCamera(const QSharedPointer<CameraItem> &camera)
{
    m_camera = camera;
    m_waiting = false;
    m_stale = false;
}

QSharedPointer<CameraItem> SnapshotTask::camera() const
{
    return m_camera;
}

bool SnapshotTask::isStale() const
{
    return m_stale;
}

void SnapshotTask::fetchImage()
{
    if (!m_camera || (m_waiting && m_sentAt.elapsed() < kLostAfterMs))
        return;
    m_waiting = true;
    m_sentAt.start();
    emit fetchingImage(m_camera);
}

// The client answers every requester alike; a picture is ours when it comes from our
// camera's address, whichever entry of the list asked for it.
bool SnapshotTask::isOurs(const QSharedPointer<CameraItem> &cam) const
{
    return m_camera && cam && cam->url(QStringLiteral("/")) == m_camera->url(QStringLiteral("/"));
}

void SnapshotTask::receiveImage(QSharedPointer<CameraItem> cam, QSharedPointer<QByteArray> image)
{
    if (!isOurs(cam))
        return;
    m_stale = false;
    emit gotImage(image);
    answered(0);
}

void SnapshotTask::receiveFailure(QSharedPointer<CameraItem> cam, QString msg)
{
    if (!isOurs(cam))
        return;
    if (!m_stale) {
        m_stale = true;
        emit failed(msg);
    }
    answered(kRetryAfterFailureMs);
}

void SnapshotTask::answered(int nextAfterMs)
{
    m_waiting = false;
    if (m_running && m_interval == 0) {
        m_timer.setSingleShot(true);
        m_timer.start(nextAfterMs);
    }
}
