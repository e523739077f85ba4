#pragma once

#include "UpdateStatus.h"
#include "UpdateTask.h"
#include "UpdateToken.h"

#include <QMutex>
#include <QStringList>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <chrono>

// Runs one UpdateTask as the main window does: on a thread of its own, started by a queued
// init(). Records the task's signals in the order they are emitted, and the status code; a
// signal emitted from any other thread is recorded with " from a foreign thread" appended.
// Time-outs of zero keep the task's own.
class TaskRunner
{
public:
    TaskRunner(const QSharedPointer<CameraItem> &camera, const QString &filePath, quint16 port,
               const QString &password, std::chrono::seconds deadPeerTimeout = {},
               std::chrono::seconds statusTimeout = {})
        : m_task(new UpdateTask(camera, filePath, port, deriveUpdateKey(QStringLiteral("admin"), password)))
    {
        if (deadPeerTimeout.count() > 0)
            m_task->setDeadPeerTimeout(deadPeerTimeout);
        if (statusTimeout.count() > 0)
            m_task->setStatusTimeout(statusTimeout);
        m_task->moveToThread(&m_thread);
        for (const auto &[signal, name] : {std::pair(&UpdateTask::sendingUpdate, "sending"),
                                           std::pair(&UpdateTask::applyingUpdate, "applying")})
            QObject::connect(m_task, signal, m_task, [this, event = QString::fromLatin1(name)] { record(event); },
                             Qt::DirectConnection);
        QObject::connect(m_task, &UpdateTask::updateStatus, m_task, [this](int code) {
            {
                const QMutexLocker locker(&m_mutex);
                m_code = code;
            }
            record(QStringLiteral("status"));
        }, Qt::DirectConnection);
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

    // The code of the status event; kNoUpdateStatus before one.
    int code()
    {
        const QMutexLocker locker(&m_mutex);
        return m_code;
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
    int m_code = kNoUpdateStatus;
};
