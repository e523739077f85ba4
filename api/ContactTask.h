#pragma once

#include "CameraAPI.h"
#include "CameraItem.h"

#include <QObject>
#include <QSet>
#include <QSharedPointer>

#include <chrono>

#include <memory>

class CameraModel;
class QTimer;

// Keeps every camera's reachability current: at each tick its own Web-API client asks every
// camera of the model for one cheap resource, logging in first when it has to, and each camera
// is marked by its answer. A camera is never asked again while its last check is on its way, so
// cameras that hang cost one request each, however long they hang.
class ContactTask : public QObject
{
    Q_OBJECT

public:
    // Shorter than a tick, so that a camera that stops answering is marked before the next one.
    static constexpr std::chrono::seconds kCheckTimeout{3};

    ContactTask(const CameraModel *model, const QString &username, const QString &password, quint32 intervalMs,
                QObject *parent = nullptr);
    ~ContactTask() override;

    // Handed on to the private client; must be called before init().
    void setClock(CameraAPI::Clock clock);

signals:
    void check(QSharedPointer<CameraItem> camera);
    void cameraAvailable(QSharedPointer<CameraItem> camera);
    void cameraUnavailable(QSharedPointer<CameraItem> camera);
    // Handed on from the private client.
    void openFilesLimitReached();

public slots:
    void setCredentials(QString username, QString password);
    void init();
    void available(QSharedPointer<CameraItem> cam);
    void unavailable(QSharedPointer<CameraItem> cam);
    void tryLogin();

private:
    const CameraModel *m_model;
    QString m_username;
    QString m_password;
    quint32 m_intervalMs;
    CameraAPI::Clock m_clock;
    std::unique_ptr<CameraAPI> m_client;
    std::unique_ptr<QTimer> m_timer;
    QSet<QSharedPointer<CameraItem>> m_checking;
};
