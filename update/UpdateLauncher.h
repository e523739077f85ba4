#pragma once

#include "CameraItem.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QSharedPointer>
#include <QString>

#include <chrono>
#include <deque>
#include <list>
#include <memory>

class CameraModel;
class QThread;
class UpdateTask;

// Updates cameras through a bounded pool: at most a set number of transfers run at once, each
// task on a thread of its own, and the other cameras wait their turn in the order they were
// started. Each start derives its update key once, on a thread of its own, and announces its
// cameras to whoever shows progress, where every camera counts exactly three steps whatever
// becomes of it. A start never touches the updates already under way. Each camera's "Update
// Status" row tells where its update stands. Whatever still runs when the launcher goes is
// stopped and waited for.
class UpdateLauncher : public QObject
{
    Q_OBJECT

public:
    static constexpr int kDefaultTransferLimit = 16;
    static constexpr quint16 kDefaultPort = 4799;
    static constexpr int kStepsPerCamera = 3;

    explicit UpdateLauncher(CameraModel *model, QObject *parent = nullptr);
    ~UpdateLauncher() override;

    // Takes effect for the transfers started from then on.
    void setTransferLimit(int limit);
    void setStatusTimeout(std::chrono::seconds timeout);

    // A camera whose update is already waiting or running is left out, and the user is told.
    void start(const QList<QSharedPointer<CameraItem>> &cameras, const QString &fileName, quint16 port,
               const QString &adminUser, const QString &adminPassword);

signals:
    // One start has queued its cameras.
    void startUpdate();
    void error(QString msg);
    // Progress counted in steps: a start adds its cameras' steps, each camera completes them
    // or, failing, gives up the ones it had left.
    void uploadAdded(QString fileName, int cameras);
    void stepCompleted();
    void stepsAborted(int stepsLeft);
    // Where one camera's update stands, in the words of its "Update Status" row.
    void cameraProgress(QSharedPointer<CameraItem> camera, QString text);
    // A camera's update ended: with the camera's status code, or with the error line.
    void cameraUpdated(QSharedPointer<CameraItem> camera, int code);
    void cameraFailed(QSharedPointer<CameraItem> camera, QString msg);

private:
    // What the cameras of one start share; the key is filled in once derived.
    struct Upload
    {
        QString fileName;
        quint16 port = 0;
        QString key;
        bool keyReady = false;
    };
    struct Waiting
    {
        QSharedPointer<CameraItem> camera;
        std::shared_ptr<Upload> upload;
    };
    struct Transfer
    {
        QSharedPointer<CameraItem> camera;
        std::unique_ptr<QThread> thread;
        UpdateTask *task = nullptr;
        int steps = 0;
    };

    void onKeyDerived(QThread *thread, Upload &upload);
    // Starts waiting cameras, in the order of their starts, while fewer transfers than the limit
    // run; a start whose key is still being derived holds up the ones after it.
    void dispatch();
    void launch(const Waiting &waiting);
    void onStep(UpdateTask *task, const QString &rowText);
    void onStatus(UpdateTask *task, int code);
    void onFailure(UpdateTask *task, const QString &msg);
    // The task has sent its last signal: its thread is let go and its camera may start again.
    void end(Transfer &transfer);
    void onThreadFinished(QThread *thread);
    Transfer *transferOf(UpdateTask *task);
    void showRow(const QSharedPointer<CameraItem> &camera, const QString &text);

    CameraModel *m_model;
    int m_transferLimit = kDefaultTransferLimit;
    std::chrono::seconds m_statusTimeout;
    // Threads deriving the key of a start.
    std::list<std::unique_ptr<QThread>> m_derivations;
    std::deque<Waiting> m_waiting;
    std::list<Transfer> m_transfers;
    // Cameras from start to end of their update: deriving, waiting or transferring.
    QSet<const CameraItem *> m_busy;
};
