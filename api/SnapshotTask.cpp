#include "SnapshotTask.h"

#include "CameraAPI.h"

namespace {
constexpr int kDefaultInterval = 3000;
}

SnapshotTask::SnapshotTask(CameraAPI *client, QObject *parent)
    : QObject(parent)
{
    m_timer.setInterval(kDefaultInterval);
    connect(&m_timer, &QTimer::timeout, this, &SnapshotTask::fetchImage);
    connect(this, &SnapshotTask::fetchingImage, client, &CameraAPI::fetchLiveSnapshot);
    connect(client, &CameraAPI::liveImage, this, &SnapshotTask::receiveImage);
}

SnapshotTask::~SnapshotTask() = default;

void SnapshotTask::start()
{
    m_timer.start();
}

void SnapshotTask::stop()
{
    m_timer.stop();
}

bool SnapshotTask::isActive() const
{
    return m_timer.isActive();
}

void SnapshotTask::setInterval(int milliseconds)
{
    m_timer.setInterval(milliseconds);
}

int SnapshotTask::interval() const
{
    return m_timer.interval();
}

void SnapshotTask::setCamera(const QSharedPointer<CameraItem> &camera)
{
    m_camera = camera;
}

QSharedPointer<CameraItem> SnapshotTask::camera() const
{
    return m_camera;
}

void SnapshotTask::fetchImage()
{
    if (m_camera)
        emit fetchingImage(m_camera);
}

// The client answers every requester alike; a picture is ours when it comes from our
// camera's address, whichever entry of the list asked for it.
void SnapshotTask::receiveImage(QSharedPointer<CameraItem> cam, QSharedPointer<QByteArray> image)
{
    if (m_camera && cam && cam->url(QStringLiteral("/")) == m_camera->url(QStringLiteral("/")))
        emit gotImage(image);
}
