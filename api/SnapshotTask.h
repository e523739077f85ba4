#pragma once

#include "CameraItem.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QSharedPointer>
#include <QTimer>

class CameraAPI;

// Fetches snapshots of one chosen camera at a steady rate through a Web-API client that may
// live on another thread. Only one request is on its way at a time: a rate of 0 asks again as
// soon as the camera has answered, never sooner. An outage is told once, when it begins.
class SnapshotTask : public QObject
{
    Q_OBJECT

public:
    // At rate 0, how long a camera that failed is left alone before it is asked again.
    static constexpr int kRetryAfterFailureMs = 1000;
    // A request the client dropped without a word (no credentials yet) holds no place longer.
    static constexpr int kLostAfterMs = 30000;

    explicit SnapshotTask(CameraAPI *client, QObject *parent = nullptr);
    ~SnapshotTask() override;

    void start();
    void stop();
    bool isActive() const;
    void setInterval(int milliseconds);
    int interval() const;
    // A new camera starts afresh: no request on its way, no outage.
    void setCamera(const QSharedPointer<CameraItem> &camera);
    QSharedPointer<CameraItem> camera() const;
    // Whether the picture shown is older than the last attempt to fetch one.
    bool isStale() const;

signals:
    void fetchingImage(QSharedPointer<CameraItem> cam);
    void gotImage(QSharedPointer<QByteArray> image);
    // The camera stopped giving pictures; msg says why. Once per outage.
    void failed(QString msg);

public slots:
    void fetchImage();
    void receiveImage(QSharedPointer<CameraItem> cam, QSharedPointer<QByteArray> image);
    void receiveFailure(QSharedPointer<CameraItem> cam, QString msg);

private:
    bool isOurs(const QSharedPointer<CameraItem> &cam) const;
    void answered(int nextAfterMs);

    QTimer m_timer;
    int m_interval;
    bool m_running = false;
    QSharedPointer<CameraItem> m_camera;
    bool m_waiting = false;
    QElapsedTimer m_sentAt;
    bool m_stale = false;
};
