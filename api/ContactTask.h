#pragma once

#include "CameraAPI.h"
#include "CameraItem.h"

#include <QObject>
#include <QSharedPointer>

#include <memory>

class CameraModel;
class QTimer;

// Keeps every camera's reachability current: at each tick it asks its own Web-API client to
// log in to every camera of the model and marks each camera by the answer.
class ContactTask : public QObject
{
    Q_OBJECT

public:
    ContactTask(const CameraModel *model, const QString &username, const QString &password, quint32 intervalMs,
                QObject *parent = nullptr);
    ~ContactTask() override;

    // Handed on to the private client; must be called before init().
    void setClock(CameraAPI::Clock clock);

signals:
    void login(QSharedPointer<CameraItem> camera);
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
};
