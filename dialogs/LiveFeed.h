#pragma once

#include "CameraItem.h"

#include <QByteArray>
#include <QDialog>
#include <QList>
#include <QTime>
#include <QSharedPointer>

#include <memory>

class CameraAPI;
class SnapshotTask;

namespace Ui {
class LiveFeed;
}

// The live view: the current picture of one chosen camera, refreshed at a rate the user sets.
class LiveFeed : public QDialog
{
    Q_OBJECT

public:
    LiveFeed(CameraAPI *client, QWidget *parent = nullptr);
    ~LiveFeed() override;

    // Keeps the camera on show when it is still listed, else shows the first; with no cameras
    // nothing is fetched.
    void setCameras(const QList<QSharedPointer<CameraItem>> &cameras);
    // A camera found since the list was set.
    void addCamera(const QSharedPointer<CameraItem> &camera);
    // Shows this camera when it is listed.
    void showCamera(const QSharedPointer<CameraItem> &camera);
    void start();
    SnapshotTask *snapshotTask() const;

signals:
    void fetchLiveSnapshot(QSharedPointer<CameraItem> cam);

public slots:
    void drawImage(QSharedPointer<QByteArray> image);
    void onSelectCamera(int index);
    void onSetRate();
    void onClose();
    void fetchImage();
    // The picture stays, greyed, under a line that says why it is old.
    void showFailure(QString msg);

protected:
    void hideEvent(QHideEvent *event) override;

private:
    void addItem(int index);
    void selectCamera(int index);

    std::unique_ptr<Ui::LiveFeed> m_ui;
    SnapshotTask *m_task;
    QList<QSharedPointer<CameraItem>> m_cameras;
    QTime m_pictureTime;
};
