#pragma once

#include "CameraRecord.h"
#include "DifferenceReport.h"
#include "VisitInfo.h"

#include <QDateTime>
#include <QList>
#include <QObject>

#include <memory>

class SiteStore;

// Works the site store on a thread of its own, so storing a visit of hundreds of cameras never
// holds up the window. Every answer comes back as a signal.
class SiteRecorder : public QObject
{
    Q_OBJECT

public:
    explicit SiteRecorder(QObject *parent = nullptr);
    ~SiteRecorder() override;

public slots:
    void open(const QString &path);
    // Stores the visit (or replaces the cameras of visit `replacing`) and reports what changed
    // since the site's previous visit.
    void store(const QString &site, const QDateTime &time, const QList<CameraRecord> &cameras, qint64 replacing);
    void listVisits(const QString &site);
    void compare(qint64 before, qint64 after);
    void remove(const QString &site, const QList<qint64> &ids);

signals:
    void opened(QString path);
    // The store cannot be used; the reason is a sentence for the user.
    void unavailable(QString reason);
    void stored(DifferenceReport report);
    void storeFailed(QString message);
    void visitsListed(QString site, QList<VisitInfo> visits);
    void compared(DifferenceReport report);
    void failed(QString message);

private:
    std::unique_ptr<SiteStore> m_store;
};
