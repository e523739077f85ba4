#pragma once

#include "CameraItem.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <QThread>

class CameraModel;
class StatusDialog;

// Starts one update per camera, each task on a thread of its own, all released together by
// one startUpdate. Tasks and threads delete themselves when their camera has answered or
// failed; whatever still runs when the launcher goes is stopped and waited for.
class UpdateLauncher : public QObject
{
    Q_OBJECT

public:
    UpdateLauncher(CameraModel *model, StatusDialog *progress, QObject *parent = nullptr);
    ~UpdateLauncher() override;

    void start(const QList<QSharedPointer<CameraItem>> &cameras, const QString &fileName, quint16 port,
               const QString &adminUser, const QString &adminPassword);

signals:
    void startUpdate();
    void error(QString msg);

private:
    CameraModel *m_model;
    StatusDialog *m_progress;
    QList<QPointer<QThread>> m_threads;
};
