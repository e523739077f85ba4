#pragma once

#include "CameraItem.h"

#include <QByteArray>
#include <QDialog>
#include <QList>
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

    void setCameras(const QList<QSharedPointer<CameraItem>> &cameras);
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

protected:
    void hideEvent(QHideEvent *event) override;

private:
    std::unique_ptr<Ui::LiveFeed> m_ui;
    SnapshotTask *m_task;
    QList<QSharedPointer<CameraItem>> m_cameras;
};
