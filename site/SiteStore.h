#pragma once

#include "CameraRecord.h"
#include "DifferenceReport.h"
#include "VisitInfo.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>

#include <memory>

class QLockFile;
class QSqlQuery;

// The visits of every site, in one SQLite file. Each category document is kept once however
// many cameras and visits read it unchanged, and a visit refers to its documents, so a site
// visited a hundred times costs little more than the changes between visits.
//
// A store belongs to the thread that opened it (one database connection per store). The file
// is locked against a second program; a file that is not a site database, or one written by a
// newer program, is refused and never written to.
class SiteStore
{
public:
    // The layout this program writes. 1: documents kept inline with every camera of every visit.
    // 2: documents kept once by content.
    static constexpr int kSchemaVersion = 2;

    // "sites.sqlite" in the user's data folder of the program.
    static QString defaultPath();

    explicit SiteStore(const QString &connectionName = QStringLiteral("site-store"));
    ~SiteStore();
    SiteStore(const SiteStore &) = delete;
    SiteStore &operator=(const SiteStore &) = delete;

    // Opens or creates the file and brings it to the current layout; false with errorString()
    // when the store cannot be used.
    bool open(const QString &path);
    bool isOpen() const;
    QString errorString() const;
    QString path() const;

    // Stores a visit, or replaces the cameras of the visit `replacing` (more was read since it
    // was stored), in one transaction. Returns the visit, with id 0 when it failed.
    VisitInfo storeVisit(const QString &site, const QDateTime &time, const QList<CameraRecord> &cameras,
                         qint64 replacing = 0);
    // The visits of a site, oldest first.
    QList<VisitInfo> visits(const QString &site) const;
    QStringList sites() const;
    // The visit with this id; id 0 when there is none.
    VisitInfo visit(qint64 id) const;
    // The latest visit of the same site before this one; id 0 when there is none.
    VisitInfo previousVisit(const VisitInfo &visit) const;
    QList<CameraRecord> cameras(qint64 visitId) const;
    // What changed between two stored visits.
    DifferenceReport compare(const VisitInfo &before, const VisitInfo &after) const;
    bool removeVisits(const QList<qint64> &ids);

private:
    bool fail(const QString &message);
    bool failQuery(const QSqlQuery &query, const QString &what);
    bool checkLayout(int *version);
    bool migrate(int version);
    bool createTables();
    bool createDocumentTables();
    bool migrateFromInlineDocuments();
    bool insertCamera(QSqlQuery &insert, qint64 visitId, const CameraRecord &camera);
    qint64 contentId(const QJsonDocument &document);
    QList<VisitInfo> selectVisits(const QString &condition, const QVariantList &values) const;
    void forgetUncommittedContents();

    QString m_connectionName;
    QString m_path;
    std::unique_ptr<QLockFile> m_lock;
    QString m_error;
    bool m_open = false;
    // Content hash to row id, so that documents already stored are neither compressed nor
    // looked up again; the ones added by a transaction that rolls back are dropped from it.
    QHash<QByteArray, qint64> m_contentIds;
    QList<QByteArray> m_uncommittedContents;
};
