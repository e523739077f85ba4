#pragma once

#include <QMutex>
#include <QObject>
#include <QSet>
#include <QSharedPointer>
#include <QStringList>
#include <QThread>

class CameraItem;
class UpdateTask;

// Runs one UpdateTask as the main window does: on a thread of its own, started by a queued
// init(). Records the task's signals as they reach the test's thread, and who emitted them.
class TaskRunner : public QObject
{
    Q_OBJECT

public:
    TaskRunner(const QSharedPointer<CameraItem> &camera, const QString &filePath, quint16 port,
               const QString &adminPassword);
    ~TaskRunner() override;

    void start();
    // True once the task has reported a status or an error within the time-out.
    bool waitForEnd(int timeoutMs);
    // "sending", "applying", "status" and "error: <text>", in the order they arrived.
    QStringList events() const;
    bool emittedOnlyFromTaskThread() const;

private:
    QThread m_thread;
    // Lives in m_thread and is deleted there before the thread ends.
    UpdateTask *m_task;
    QStringList m_events;
    mutable QMutex m_mutex;
    QSet<const QThread *> m_emitters;
};
