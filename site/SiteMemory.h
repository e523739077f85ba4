#pragma once

#include "SiteRecorder.h"

#include <QObject>
#include <QThread>

// The window's way to the site store: requests go to a recorder on a thread of its own and its
// answers come back as this object's signals, on the thread that owns it.
class SiteMemory : public QObject
{
    Q_OBJECT

public:
    explicit SiteMemory(QObject *parent = nullptr);
    ~SiteMemory() override;

    void open(const QString &path);
    void store(const QString &site, const QDateTime &time, const QList<CameraRecord> &cameras, qint64 replacing);
    void listVisits(const QString &site);
    void compare(qint64 before, qint64 after);
    void remove(const QString &site, const QList<qint64> &ids);

signals:
    void opened(QString path);
    void unavailable(QString reason);
    void stored(DifferenceReport report);
    void storeFailed(QString message);
    void visitsListed(QString site, QList<VisitInfo> visits);
    void compared(DifferenceReport report);
    void failed(QString message);

private:
    template<typename Call>
    void post(Call call);

    QThread m_thread;
    SiteRecorder *m_recorder;
};
