#pragma once

#include "CameraItem.h"

#include <QByteArray>
#include <QObject>
#include <QSharedPointer>
#include <QTimer>

class CameraAPI;

// Fetches snapshots of one chosen camera at a steady rate through a Web-API client that may
// live on another thread.
class SnapshotTask : public QObject
{
    Q_OBJECT

public:
    explicit SnapshotTask(CameraAPI *client, QObject *parent = nullptr);
    ~SnapshotTask() override;

    void start();
    void stop();
    bool isActive() const;
    void setInterval(int milliseconds);
    int interval() const;
    void setCamera(const QSharedPointer<CameraItem> &camera);
    QSharedPointer<CameraItem> camera() const;

signals:
    void fetchingImage(QSharedPointer<CameraItem> cam);
    void gotImage(QSharedPointer<QByteArray> image);

public slots:
    void fetchImage();
    void receiveImage(QSharedPointer<CameraItem> cam, QSharedPointer<QByteArray> image);

private:
    QTimer m_timer;
    QSharedPointer<CameraItem> m_camera;
};
