#pragma once

#include "UpdateTask.h"

#include <QMutex>
#include <QStringList>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <chrono>

// Runs one UpdateTask as the main window does: on a thread of its own, started by a queued
// init(). Records the task's signals in the order they are emitted; a signal emitted from any
// other thread is recorded with " from a foreign thread" appended.
class TaskRunner
{
public:
    TaskRunner(const QSharedPointer<CameraItem> &camera, const QString &filePath, quint16 port,
               const QString &password, std::chrono::seconds deadPeerTimeout = {})
        : m_task(new UpdateTask(camera, filePath, port, QStringLiteral("admin"), password))
    {
        if (deadPeerTimeout.count() > 0)
            m_task->setDeadPeerTimeout(deadPeerTimeout);
        m_task->moveToThread(&m_thread);
        for (const auto &[signal, name] : {std::pair(&UpdateTask::sendingUpdate, "sending"),
                                           std::pair(&UpdateTask::applyingUpdate, "applying"),
                                           std::pair(&UpdateTask::updateStatus, "status")})
            QObject::connect(m_task, signal, m_task, [this, event = QString::fromLatin1(name)] { record(event); },
                             Qt::DirectConnection);
        QObject::connect(m_task, &UpdateTask::error, m_task, [this](const QString &text) { record("error: " + text); },
                         Qt::DirectConnection);
        m_thread.start();
        QMetaObject::invokeMethod(m_task, &UpdateTask::init, Qt::QueuedConnection);
    }

    ~TaskRunner()
    {
        m_task->deleteLater();
        m_thread.quit();
        m_thread.wait();
    }

    // "sending", "applying", "status" and "error: <text>"; waits until a status or an error is in.
    QStringList events(int timeoutMs = 15000)
    {
        const bool ended = QTest::qWaitFor([this] { return hasEnded(); }, timeoutMs);
        const QMutexLocker locker(&m_mutex);
        return ended ? m_events : m_events + QStringList{QStringLiteral("no status or error in time")};
    }

    // Whether an event starting with prefix comes within the time-out.
    bool waitFor(const QString &prefix, int timeoutMs)
    {
        return QTest::qWaitFor([&] {
            const QMutexLocker locker(&m_mutex);
            return std::any_of(m_events.begin(), m_events.end(), [&](const QString &event) { return event.startsWith(prefix); });
        }, timeoutMs);
    }

private:
    void record(const QString &event)
    {
        const QMutexLocker locker(&m_mutex);
        m_events << (QThread::currentThread() == &m_thread ? event : event + QStringLiteral(" from a foreign thread"));
    }

    bool hasEnded()
    {
        const QMutexLocker locker(&m_mutex);
        const QString last = m_events.isEmpty() ? QString() : m_events.last();
        return last.startsWith(QLatin1String("status")) || last.startsWith(QLatin1String("error: "));
    }

    QThread m_thread;
    // Lives in m_thread and is deleted there before the thread ends.
    UpdateTask *m_task;
    QMutex m_mutex;
    QStringList m_events;
};
