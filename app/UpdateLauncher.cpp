#include "UpdateLauncher.h"

#include "CameraModel.h"
#include "StatusDialog.h"
#include "UpdateTask.h"

UpdateLauncher::UpdateLauncher(CameraModel *model, StatusDialog *progress, QObject *parent)
    : QObject(parent)
    , m_model(model)
    , m_progress(progress)
{
}

UpdateLauncher::~UpdateLauncher()
{
    for (const QPointer<QThread> &thread : std::as_const(m_threads)) {
        if (!thread)
            continue;
        thread->quit();
        thread->wait();
        // Nobody runs this thread's deferred deletions any more.
        delete thread;
    }
}

void UpdateLauncher::start(const QList<QSharedPointer<CameraItem>> &cameras, const QString &fileName,
                           quint16 port, const QString &adminUser, const QString &adminPassword)
{
    m_threads.removeAll(nullptr);
    m_progress->setUpload(fileName, int(cameras.size()));
    m_progress->show();

    for (const QSharedPointer<CameraItem> &camera : cameras) {
        auto *thread = new QThread;
        auto *task = new UpdateTask(camera, fileName, port, adminUser, adminPassword);
        task->moveToThread(thread);

        connect(this, &UpdateLauncher::startUpdate, task, &UpdateTask::init);
        connect(task, &UpdateTask::error, this, &UpdateLauncher::error);
        connect(task, &UpdateTask::error, m_progress, &StatusDialog::stepAborted);
        connect(task, &UpdateTask::sendingUpdate, m_progress, &StatusDialog::stepCompleted);
        connect(task, &UpdateTask::applyingUpdate, m_progress, &StatusDialog::stepCompleted);
        connect(task, &UpdateTask::updateStatus, m_progress, &StatusDialog::stepCompleted);
        // The task changed the row's text on its own thread; the views hear of it on theirs.
        connect(task, &UpdateTask::updateStatus, m_model, [model = m_model, camera] {
            model->refreshUpdateStatus(camera);
        });
        connect(task, &UpdateTask::error, task, &QObject::deleteLater);
        connect(task, &UpdateTask::error, thread, &QThread::quit);
        connect(task, &UpdateTask::updateStatus, task, &QObject::deleteLater);
        connect(task, &UpdateTask::updateStatus, thread, &QThread::quit);
        connect(thread, &QThread::finished, thread, &QObject::deleteLater);
        // A task stopped at shutdown before it answered goes with its thread.
        connect(thread, &QThread::finished, task, &QObject::deleteLater);
        m_threads.append(thread);
        thread->start(QThread::InheritPriority);
    }
    emit startUpdate();
}
