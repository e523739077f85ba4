#include "UpdateLauncher.h"

#include "CameraModel.h"
#include "UpdateTask.h"
#include "UpdateToken.h"

#include <QDateTime>
#include <QThread>

#include <algorithm>

namespace {

QString cameraPrefix(const CameraItem &camera)
{
    return QStringLiteral("Camera %0 at %1: ").arg(camera.serial(), camera.addressText());
}

}

UpdateLauncher::UpdateLauncher(CameraModel *model, QObject *parent)
    : QObject(parent)
    , m_model(model)
    , m_statusTimeout(UpdateTask::kDefaultStatusTimeout)
{
}

UpdateLauncher::~UpdateLauncher()
{
    // A task still running goes with its thread, which deletes it on finishing.
    for (Transfer &transfer : m_transfers)
        transfer.thread->quit();
    for (Transfer &transfer : m_transfers)
        transfer.thread->wait();
    for (const std::unique_ptr<QThread> &derivation : m_derivations)
        derivation->wait();
}

void UpdateLauncher::setTransferLimit(int limit)
{
    m_transferLimit = limit;
}

void UpdateLauncher::setStatusTimeout(std::chrono::seconds timeout)
{
    m_statusTimeout = timeout;
}

void UpdateLauncher::start(const QList<QSharedPointer<CameraItem>> &cameras, const QString &fileName, quint16 port,
                           const QString &adminUser, const QString &adminPassword)
{
    QList<QSharedPointer<CameraItem>> accepted;
    for (const QSharedPointer<CameraItem> &camera : cameras) {
        if (m_busy.contains(camera.data())) {
            emit error(cameraPrefix(*camera)
                       + QStringLiteral("An update of this camera is already under way; it was not started again."));
            continue;
        }
        m_busy.insert(camera.data());
        accepted.append(camera);
        showRow(camera, QStringLiteral("Waiting"));
    }
    emit uploadAdded(fileName, int(accepted.size()));

    if (!accepted.isEmpty()) {
        auto upload = std::make_shared<Upload>();
        upload->fileName = fileName;
        upload->port = port;
        for (const QSharedPointer<CameraItem> &camera : std::as_const(accepted))
            m_waiting.push_back({camera, upload});
        // The key takes milliseconds to derive, too long for the window to wait on.
        QThread *deriving = m_derivations
                                .emplace_back(QThread::create([upload, adminUser, adminPassword] {
                                    upload->key = deriveUpdateKey(adminUser, adminPassword);
                                }))
                                .get();
        connect(deriving, &QThread::finished, this, [this, deriving, upload] { onKeyDerived(deriving, *upload); });
        deriving->start();
    }
    emit startUpdate();
}

void UpdateLauncher::onKeyDerived(QThread *thread, Upload &upload)
{
    const auto derivation = std::find_if(m_derivations.begin(), m_derivations.end(),
                                         [thread](const std::unique_ptr<QThread> &entry) { return entry.get() == thread; });
    (*derivation)->wait();
    m_derivations.erase(derivation);
    upload.keyReady = true;
    dispatch();
}

void UpdateLauncher::dispatch()
{
    while (!m_waiting.empty() && m_waiting.front().upload->keyReady && int(m_transfers.size()) < m_transferLimit) {
        const Waiting next = m_waiting.front();
        m_waiting.pop_front();
        launch(next);
    }
}

void UpdateLauncher::launch(const Waiting &waiting)
{
    Transfer &transfer = m_transfers.emplace_back();
    transfer.camera = waiting.camera;
    transfer.thread = std::make_unique<QThread>();
    transfer.task = new UpdateTask(waiting.camera, waiting.upload->fileName, waiting.upload->port, waiting.upload->key);
    transfer.task->setStatusTimeout(m_statusTimeout);
    UpdateTask *task = transfer.task;
    QThread *thread = transfer.thread.get();
    task->moveToThread(thread);

    // Each task is started by its own thread, never by a signal that other tasks share.
    connect(thread, &QThread::started, task, &UpdateTask::init);
    // The thread deletes its task, whether the task ended or the launcher is going.
    connect(thread, &QThread::finished, task, &QObject::deleteLater);
    connect(thread, &QThread::finished, this, [this, thread] { onThreadFinished(thread); });
    connect(task, &UpdateTask::sendingUpdate, this, [this, task] { onStep(task, QStringLiteral("Sending")); });
    connect(task, &UpdateTask::applyingUpdate, this, [this, task] { onStep(task, QStringLiteral("Applying")); });
    connect(task, &UpdateTask::updateStatus, this, [this, task](int code) { onStatus(task, code); });
    connect(task, &UpdateTask::error, this, [this, task](const QString &msg) { onFailure(task, msg); });
    showRow(waiting.camera, QStringLiteral("Connecting"));
    thread->start(QThread::InheritPriority);
}

void UpdateLauncher::onStep(UpdateTask *task, const QString &rowText)
{
    Transfer *transfer = transferOf(task);
    ++transfer->steps;
    emit stepCompleted();
    showRow(transfer->camera, rowText);
}

void UpdateLauncher::onStatus(UpdateTask *task, int code)
{
    Transfer *transfer = transferOf(task);
    ++transfer->steps;
    emit stepCompleted();
    transfer->camera->setUpdateStatus(code);
    m_model->refreshUpdateStatus(transfer->camera);
    const QSharedPointer<CameraItem> camera = transfer->camera;
    end(*transfer);
    emit cameraUpdated(camera, code);
}

void UpdateLauncher::onFailure(UpdateTask *task, const QString &msg)
{
    Transfer *transfer = transferOf(task);
    emit stepsAborted(kStepsPerCamera - transfer->steps);
    const QString prefix = cameraPrefix(*transfer->camera);
    const QString cause = msg.startsWith(prefix) ? msg.mid(prefix.size()) : msg;
    showRow(transfer->camera,
            QStringLiteral("Failed: %0 (at %1)")
                .arg(cause, QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))));
    emit error(msg);
    const QSharedPointer<CameraItem> camera = transfer->camera;
    end(*transfer);
    emit cameraFailed(camera, msg);
}

void UpdateLauncher::end(Transfer &transfer)
{
    m_busy.remove(transfer.camera.data());
    transfer.thread->quit();
}

void UpdateLauncher::onThreadFinished(QThread *thread)
{
    const auto transfer = std::find_if(m_transfers.begin(), m_transfers.end(),
                                       [thread](const Transfer &entry) { return entry.thread.get() == thread; });
    transfer->thread->wait();
    m_transfers.erase(transfer);
    dispatch();
}

UpdateLauncher::Transfer *UpdateLauncher::transferOf(UpdateTask *task)
{
    const auto transfer = std::find_if(m_transfers.begin(), m_transfers.end(),
                                       [task](const Transfer &entry) { return entry.task == task; });
    return &*transfer;
}

void UpdateLauncher::showRow(const QSharedPointer<CameraItem> &camera, const QString &text)
{
    emit cameraProgress(camera, text);
    const QSharedPointer<Item> row = camera->updateStatusRow();
    if (!row)
        return;
    row->setData(1, text);
    m_model->refreshUpdateStatus(camera);
}
