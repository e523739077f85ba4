#include "ContactTask.h"

#include "CameraModel.h"

#include <QTimer>

ContactTask::ContactTask(const CameraModel *model, const QString &username, const QString &password,
                         quint32 intervalMs, QObject *parent)
    : QObject(parent)
    , m_model(model)
    , m_username(username)
    , m_password(password)
    , m_intervalMs(intervalMs)
{
}

ContactTask::~ContactTask()
{
    if (m_timer)
        m_timer->stop();
}

void ContactTask::setClock(CameraAPI::Clock clock)
{
    m_clock = std::move(clock);
}

void ContactTask::init()
{
    m_client = std::make_unique<CameraAPI>();
    m_timer = std::make_unique<QTimer>();
    m_client->moveToThread(thread());
    m_timer->moveToThread(thread());
    if (m_clock)
        m_client->setClock(m_clock);
    m_client->init();
    m_client->setIdleTimeout(kCheckTimeout);
    m_client->setCredentials(m_username, m_password);
    m_timer->setInterval(int(m_intervalMs));

    connect(m_timer.get(), &QTimer::timeout, this, &ContactTask::tryLogin);
    connect(this, &ContactTask::check, m_client.get(), &CameraAPI::checkAvailability);
    connect(m_client.get(), &CameraAPI::connectionError, this, &ContactTask::unavailable);
    connect(m_client.get(), &CameraAPI::answered, this, &ContactTask::available);
    connect(m_client.get(), &CameraAPI::openFilesLimitReached, this, &ContactTask::openFilesLimitReached);

    if (!m_username.isEmpty()) {
        m_timer->start();
        tryLogin();
    }
}

void ContactTask::setCredentials(QString username, QString password)
{
    m_username = username;
    m_password = password;
    if (m_client)
        m_client->setCredentials(username, password);
    if (m_timer && !m_timer->isActive()) {
        m_timer->start();
        tryLogin();
    }
}

void ContactTask::tryLogin()
{
    if (m_username.isEmpty() || m_password.isEmpty())
        return;
    const QList<QSharedPointer<CameraItem>> cameras = m_model->cameras();
    for (const QSharedPointer<CameraItem> &camera : cameras) {
        if (!m_checking.contains(camera)) {
            m_checking.insert(camera);
            emit check(camera);
        }
    }
}

void ContactTask::available(QSharedPointer<CameraItem> cam)
{
    m_checking.remove(cam);
    cam->setUnavailable(false);
    emit cameraAvailable(cam);
}

void ContactTask::unavailable(QSharedPointer<CameraItem> cam)
{
    m_checking.remove(cam);
    cam->setUnavailable(true);
    emit cameraUnavailable(cam);
}
