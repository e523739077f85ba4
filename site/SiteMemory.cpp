#include "SiteMemory.h"

SiteMemory::SiteMemory(QObject *parent)
    : QObject(parent)
    , m_recorder(new SiteRecorder)
{
    m_thread.setObjectName(QStringLiteral("site memory"));
    m_recorder->moveToThread(&m_thread);
    // The recorder's database connection belongs to its thread and is closed there.
    connect(&m_thread, &QThread::finished, m_recorder, &QObject::deleteLater);
    connect(m_recorder, &SiteRecorder::opened, this, &SiteMemory::opened);
    connect(m_recorder, &SiteRecorder::unavailable, this, &SiteMemory::unavailable);
    connect(m_recorder, &SiteRecorder::stored, this, &SiteMemory::stored);
    connect(m_recorder, &SiteRecorder::storeFailed, this, &SiteMemory::storeFailed);
    connect(m_recorder, &SiteRecorder::visitsListed, this, &SiteMemory::visitsListed);
    connect(m_recorder, &SiteRecorder::compared, this, &SiteMemory::compared);
    connect(m_recorder, &SiteRecorder::failed, this, &SiteMemory::failed);
    m_thread.start();
}

SiteMemory::~SiteMemory()
{
    // Queued behind the requests still waiting, so a visit handed over just before is stored.
    post([thread = &m_thread] { thread->quit(); });
    m_thread.wait();
}

template<typename Call>
void SiteMemory::post(Call call)
{
    QMetaObject::invokeMethod(m_recorder, std::move(call), Qt::QueuedConnection);
}

void SiteMemory::open(const QString &path)
{
    post([recorder = m_recorder, path] { recorder->open(path); });
}

void SiteMemory::store(const QString &site, const QDateTime &time, const QList<CameraRecord> &cameras,
                       qint64 replacing)
{
    post([recorder = m_recorder, site, time, cameras, replacing] { recorder->store(site, time, cameras, replacing); });
}

void SiteMemory::listVisits(const QString &site)
{
    post([recorder = m_recorder, site] { recorder->listVisits(site); });
}

void SiteMemory::compare(qint64 before, qint64 after)
{
    post([recorder = m_recorder, before, after] { recorder->compare(before, after); });
}

void SiteMemory::remove(const QString &site, const QList<qint64> &ids)
{
    post([recorder = m_recorder, site, ids] { recorder->remove(site, ids); });
}
