#include "SiteRecorder.h"

#include "SiteDifference.h"
#include "SiteStore.h"

SiteRecorder::SiteRecorder(QObject *parent)
    : QObject(parent)
{
}

SiteRecorder::~SiteRecorder() = default;

void SiteRecorder::open(const QString &path)
{
    auto store = std::make_unique<SiteStore>(QStringLiteral("site-recorder-%1").arg(quintptr(this)));
    if (!store->open(path)) {
        emit unavailable(store->errorString());
        return;
    }
    m_store = std::move(store);
    emit opened(path);
}

void SiteRecorder::store(const QString &site, const QDateTime &time, const QList<CameraRecord> &cameras,
                         qint64 replacing)
{
    if (!m_store)
        return;
    DifferenceReport report;
    report.after = m_store->storeVisit(site, time, cameras, replacing);
    if (report.after.id == 0) {
        emit storeFailed(m_store->errorString());
        return;
    }
    report.before = m_store->previousVisit(report.after);
    if (report.hasEarlierVisit())
        report.changes = SiteDifference::compare(m_store->cameras(report.before.id), cameras);
    emit stored(report);
}

void SiteRecorder::listVisits(const QString &site)
{
    if (m_store)
        emit visitsListed(site, m_store->visits(site));
}

void SiteRecorder::compare(qint64 before, qint64 after)
{
    if (!m_store)
        return;
    const VisitInfo earlier = m_store->visit(before);
    const VisitInfo later = m_store->visit(after);
    if (earlier.id == 0 || later.id == 0) {
        emit failed(QStringLiteral("The visits to compare are no longer stored."));
        return;
    }
    emit compared(m_store->compare(earlier, later));
}

void SiteRecorder::remove(const QString &site, const QList<qint64> &ids)
{
    if (!m_store)
        return;
    if (!m_store->removeVisits(ids))
        emit failed(m_store->errorString());
    emit visitsListed(site, m_store->visits(site));
}
