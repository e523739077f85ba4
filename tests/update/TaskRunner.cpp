#include "TaskRunner.h"

#include "UpdateTask.h"

#include <QTest>

TaskRunner::TaskRunner(const QSharedPointer<CameraItem> &camera, const QString &filePath, quint16 port,
                       const QString &adminPassword)
    : m_task(new UpdateTask(camera, filePath, port, QStringLiteral("admin"), adminPassword))
{
    m_task->moveToThread(&m_thread);
    const auto noteEmitter = [this] {
        const QMutexLocker locker(&m_mutex);
        m_emitters.insert(QThread::currentThread());
    };
    const auto record = [this](const QString &event) { return [this, event] { m_events << event; }; };
    for (const auto &[signal, event] : {std::pair(&UpdateTask::sendingUpdate, "sending"),
                                        std::pair(&UpdateTask::applyingUpdate, "applying"),
                                        std::pair(&UpdateTask::updateStatus, "status")}) {
        connect(m_task, signal, m_task, noteEmitter, Qt::DirectConnection);
        connect(m_task, signal, this, record(QString::fromLatin1(event)));
    }
    connect(m_task, &UpdateTask::error, m_task, noteEmitter, Qt::DirectConnection);
    connect(m_task, &UpdateTask::error, this, [this](const QString &text) { m_events << QStringLiteral("error: ") + text; });
}

TaskRunner::~TaskRunner()
{
    m_task->deleteLater();
    m_thread.quit();
    m_thread.wait();
}

void TaskRunner::start()
{
    m_thread.start();
    QMetaObject::invokeMethod(m_task, &UpdateTask::init, Qt::QueuedConnection);
}

bool TaskRunner::waitForEnd(int timeoutMs)
{
    return QTest::qWaitFor(
        [this] {
            return !m_events.isEmpty()
                && (m_events.last() == QLatin1String("status") || m_events.last().startsWith(QLatin1String("error: ")));
        },
        timeoutMs);
}

QStringList TaskRunner::events() const
{
    return m_events;
}

bool TaskRunner::emittedOnlyFromTaskThread() const
{
    const QMutexLocker locker(&m_mutex);
    return m_emitters == QSet<const QThread *>{&m_thread};
}
