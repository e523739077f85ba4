#pragma once

#include <QMutex>
#include <QObject>
#include <QSet>
#include <QSharedPointer>
#include <QStringList>
#include <QThread>

class CameraItem;
class UpdateTask;

// Runs one UpdateTask the way the main window does: on a thread of its own, started by a
// queued call of init(). Records the task's signals in order, as seen from the test's
// thread, and which threads emitted them.
class TaskRunner : public QObject
{
    Q_OBJECT

public:
    TaskRunner(const QSharedPointer<CameraItem> &camera, const QString &filePath, quint16 port,
               const QString &adminPassword);
    ~TaskRunner() override;

    void start();
    // True once the task has reported a status or an error, within the timeout.
    bool waitForEnd(int timeoutMs);
    // "sending", "applying", "status" and "error: <text>", in the order they arrived.
    QStringList events() const;
    bool emittedOnlyFromTaskThread() const;

private:
    void record(const QString &event);

    QThread m_thread;
    // Lives in m_thread; deleted there before the thread ends.
    UpdateTask *m_task;
    QStringList m_events;
    mutable QMutex m_mutex;
    QSet<const QThread *> m_emitters;
};
