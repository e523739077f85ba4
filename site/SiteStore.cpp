#include "SiteStore.h"

#include "SiteDifference.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QLockFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>

namespace {

// Where each category's document is referred to in a camera's row, in category order.
constexpr const char *kCategoryColumns[CameraItem::CategoryCount] = {
    "system", "anpr", "access", "action_events", "roi", "actions",
    "status", "apps", "classifier", "classifiers", "digital_io",
};

QStringList documentColumns()
{
    QStringList columns{QStringLiteral("discovery")};
    for (const char *column : kCategoryColumns)
        columns << QString::fromLatin1(column);
    return columns;
}

QJsonDocument discoveryDocument(const QMap<QString, QString> &discovery)
{
    QJsonObject object;
    for (auto it = discovery.cbegin(); it != discovery.cend(); ++it)
        object.insert(it.key(), it.value());
    return QJsonDocument(object);
}

QMap<QString, QString> discoveryMap(const QJsonDocument &document)
{
    QMap<QString, QString> discovery;
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it)
        discovery.insert(it.key(), it.value().toString());
    return discovery;
}

QString placeholders(int count)
{
    QStringList marks;
    for (int i = 0; i < count; ++i)
        marks << QStringLiteral("?");
    return marks.join(QLatin1Char(','));
}

} // namespace

QString SiteStore::defaultPath()
{
    return QDir(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation))
        .filePath(QStringLiteral("sites.sqlite"));
}

SiteStore::SiteStore(const QString &connectionName)
    : m_connectionName(connectionName)
{
}

SiteStore::~SiteStore()
{
    if (QSqlDatabase::contains(m_connectionName)) {
        QSqlDatabase::database(m_connectionName, false).close();
        QSqlDatabase::removeDatabase(m_connectionName);
    }
}

bool SiteStore::open(const QString &path)
{
    m_path = path;
    const QFileInfo file(path);
    if (!QDir().mkpath(file.absolutePath()))
        return fail(QStringLiteral("The folder %1 for the site database cannot be created.").arg(file.absolutePath()));

    m_lock = std::make_unique<QLockFile>(path + QStringLiteral(".lock"));
    if (!m_lock->tryLock(0)) {
        qint64 pid = 0;
        QString host;
        QString application;
        m_lock->getLockInfo(&pid, &host, &application);
        if (m_lock->error() == QLockFile::LockFailedError)
            return fail(QStringLiteral("The site database %1 is in use by another instance of the program "
                                       "(process %2).")
                            .arg(path)
                            .arg(pid));
        return fail(QStringLiteral("The site database %1 cannot be locked: its folder is not writable.").arg(path));
    }

    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connectionName);
    if (!db.isValid())
        return fail(QStringLiteral("The SQLite driver of Qt is not installed (Debian package libqt6sql6-sqlite)."));
    db.setDatabaseName(path);
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=2000"));
    if (!db.open())
        return fail(QStringLiteral("The site database %1 cannot be opened: %2").arg(path, db.lastError().text()));

    int version = 0;
    if (!checkLayout(&version) || !migrate(version))
        return false;
    m_open = true;
    return true;
}

bool SiteStore::isOpen() const
{
    return m_open;
}

QString SiteStore::errorString() const
{
    return m_error;
}

QString SiteStore::path() const
{
    return m_path;
}

bool SiteStore::fail(const QString &message)
{
    m_error = message;
    if (!m_open && QSqlDatabase::contains(m_connectionName))
        QSqlDatabase::database(m_connectionName, false).close();
    return false;
}

bool SiteStore::failQuery(const QSqlQuery &query, const QString &what)
{
    return fail(QStringLiteral("%1 in the site database %2 failed: %3").arg(what, m_path, query.lastError().text()));
}

// Reads only: nothing may be written to a file before it is known to be ours and not newer.
bool SiteStore::checkLayout(int *version)
{
    const QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("SELECT COUNT(*) FROM sqlite_master")) || !query.next())
        return fail(QStringLiteral("The file %1 is not a site database (%2); it was left as it is.")
                        .arg(m_path, query.lastError().text()));
    const int tables = query.value(0).toInt();
    if (!query.exec(QStringLiteral("PRAGMA user_version")) || !query.next())
        return failQuery(query, QStringLiteral("Reading the layout version"));
    *version = query.value(0).toInt();
    if (*version == 0 && tables > 0)
        return fail(QStringLiteral("The file %1 is a database of another program; it was left as it is.").arg(m_path));
    if (*version > kSchemaVersion)
        return fail(QStringLiteral("The site database %1 was written by a newer version of the program (layout %2, "
                                   "this one knows up to %3); it was left as it is.")
                        .arg(m_path)
                        .arg(*version)
                        .arg(kSchemaVersion));
    return true;
}

bool SiteStore::migrate(int version)
{
    QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
    QSqlQuery query(db);
    // The write-ahead log keeps a visit cut short by a crash out of the database without
    // syncing every write; foreign keys take a removed visit's cameras with it.
    for (const char *pragma : {"PRAGMA journal_mode=WAL", "PRAGMA synchronous=NORMAL", "PRAGMA foreign_keys=ON"}) {
        if (!query.exec(QString::fromLatin1(pragma)))
            return failQuery(query, QString::fromLatin1(pragma));
    }
    if (version == kSchemaVersion)
        return true;

    if (!db.transaction())
        return fail(QStringLiteral("The site database %1 cannot be written: %2").arg(m_path, db.lastError().text()));
    const bool migrated = version == 0 ? createTables() : migrateFromInlineDocuments();
    if (!migrated || !query.exec(QStringLiteral("PRAGMA user_version=%1").arg(kSchemaVersion)) || !db.commit()) {
        if (migrated)
            failQuery(query, QStringLiteral("Updating the layout"));
        db.rollback();
        forgetUncommittedContents();
        return false;
    }
    m_uncommittedContents.clear();
    return true;
}

bool SiteStore::createTables()
{
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    for (const char *statement : {"CREATE TABLE visits(id INTEGER PRIMARY KEY, site TEXT NOT NULL, time INTEGER NOT NULL)",
                                  "CREATE INDEX visits_by_site ON visits(site, time)"}) {
        if (!query.exec(QString::fromLatin1(statement)))
            return failQuery(query, QStringLiteral("Creating the tables"));
    }
    return createDocumentTables();
}

bool SiteStore::createDocumentTables()
{
    QStringList cameraColumns;
    for (const QString &column : documentColumns())
        cameraColumns << column + QStringLiteral(" INTEGER REFERENCES contents(id)");
    const QStringList statements = {
        QStringLiteral("CREATE TABLE contents(id INTEGER PRIMARY KEY, hash BLOB NOT NULL UNIQUE, body BLOB NOT NULL)"),
        QStringLiteral("CREATE TABLE cameras(visit INTEGER NOT NULL REFERENCES visits(id) ON DELETE CASCADE, "
                       "serial TEXT NOT NULL, address TEXT NOT NULL, %1)")
            .arg(cameraColumns.join(QStringLiteral(", "))),
        QStringLiteral("CREATE INDEX cameras_by_visit ON cameras(visit)"),
    };
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    for (const QString &statement : statements) {
        if (!query.exec(statement))
            return failQuery(query, QStringLiteral("Creating the tables"));
    }
    return true;
}

bool SiteStore::migrateFromInlineDocuments()
{
    const QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("ALTER TABLE cameras RENAME TO inline_cameras"))
        || !query.exec(QStringLiteral("DROP INDEX IF EXISTS cameras_by_visit")))
        return failQuery(query, QStringLiteral("Updating the layout"));
    if (!createDocumentTables())
        return false;

    QSqlQuery documents(db);
    documents.setForwardOnly(true);
    if (!documents.prepare(QStringLiteral("SELECT path, body FROM documents WHERE camera = ?")))
        return failQuery(documents, QStringLiteral("Updating the layout"));
    QSqlQuery insert(db);
    QSqlQuery old(db);
    old.setForwardOnly(true);
    if (!old.exec(QStringLiteral("SELECT id, visit, serial, address, discovery FROM inline_cameras ORDER BY id")))
        return failQuery(old, QStringLiteral("Updating the layout"));
    while (old.next()) {
        CameraRecord camera;
        camera.serial = old.value(2).toString();
        camera.address = old.value(3).toString();
        camera.discovery = discoveryMap(QJsonDocument::fromJson(old.value(4).toByteArray()));
        documents.addBindValue(old.value(0));
        if (!documents.exec())
            return failQuery(documents, QStringLiteral("Updating the layout"));
        while (documents.next()) {
            const CameraItem::Category category = CameraItem::categoryOfPath(documents.value(0).toString());
            if (category != CameraItem::CategoryCount)
                camera.documents[category] = QJsonDocument::fromJson(documents.value(1).toByteArray());
        }
        if (!insertCamera(insert, old.value(1).toLongLong(), camera))
            return false;
    }
    if (!query.exec(QStringLiteral("DROP TABLE documents")) || !query.exec(QStringLiteral("DROP TABLE inline_cameras")))
        return failQuery(query, QStringLiteral("Updating the layout"));
    return true;
}

VisitInfo SiteStore::storeVisit(const QString &site, const QDateTime &time, const QList<CameraRecord> &cameras,
                                qint64 replacing)
{
    VisitInfo visit{replacing, site, time, int(cameras.size())};
    if (!m_open) {
        fail(QStringLiteral("The site database is not open."));
        return {};
    }
    QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
    if (!db.transaction()) {
        fail(QStringLiteral("The site database %1 cannot be written: %2").arg(m_path, db.lastError().text()));
        return {};
    }
    QSqlQuery query(db);
    bool ok = true;
    if (replacing != 0) {
        query.prepare(QStringLiteral("DELETE FROM cameras WHERE visit = ?"));
        query.addBindValue(replacing);
        ok = query.exec() || failQuery(query, QStringLiteral("Replacing a visit"));
    } else {
        query.prepare(QStringLiteral("INSERT INTO visits(site, time) VALUES (?, ?)"));
        query.addBindValue(site);
        query.addBindValue(time.toMSecsSinceEpoch());
        ok = query.exec() || failQuery(query, QStringLiteral("Storing a visit"));
        visit.id = query.lastInsertId().toLongLong();
    }
    QSqlQuery insert(db);
    for (auto camera = cameras.cbegin(); ok && camera != cameras.cend(); ++camera)
        ok = insertCamera(insert, visit.id, *camera);
    if (ok && !db.commit())
        ok = fail(QStringLiteral("The visit could not be stored in %1: %2").arg(m_path, db.lastError().text()));
    if (!ok) {
        db.rollback();
        forgetUncommittedContents();
        return {};
    }
    m_uncommittedContents.clear();
    return visit;
}

bool SiteStore::insertCamera(QSqlQuery &insert, qint64 visitId, const CameraRecord &camera)
{
    if (insert.lastQuery().isEmpty()) {
        const QStringList columns = documentColumns();
        if (!insert.prepare(QStringLiteral("INSERT INTO cameras(visit, serial, address, %1) VALUES (?, ?, ?, %2)")
                                .arg(columns.join(QStringLiteral(", ")), placeholders(int(columns.size())))))
            return failQuery(insert, QStringLiteral("Storing a camera"));
    }
    insert.addBindValue(visitId);
    insert.addBindValue(camera.serial);
    insert.addBindValue(camera.address);
    const qint64 discovery = contentId(discoveryDocument(camera.discovery));
    if (discovery < 0)
        return false;
    insert.addBindValue(discovery);
    for (const QJsonDocument &document : camera.documents) {
        const qint64 id = document.isNull() ? 0 : contentId(document);
        if (id < 0)
            return false;
        insert.addBindValue(id == 0 ? QVariant(QMetaType(QMetaType::LongLong)) : QVariant(id));
    }
    return insert.exec() || failQuery(insert, QStringLiteral("Storing a camera"));
}

qint64 SiteStore::contentId(const QJsonDocument &document)
{
    const QByteArray body = document.toJson(QJsonDocument::Compact);
    const QByteArray hash = QCryptographicHash::hash(body, QCryptographicHash::Sha1);
    const auto known = m_contentIds.constFind(hash);
    if (known != m_contentIds.cend())
        return *known;

    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    query.prepare(QStringLiteral("SELECT id FROM contents WHERE hash = ?"));
    query.addBindValue(hash);
    if (!query.exec()) {
        failQuery(query, QStringLiteral("Looking up a document"));
        return -1;
    }
    qint64 id = 0;
    if (query.next()) {
        id = query.value(0).toLongLong();
    } else {
        query.prepare(QStringLiteral("INSERT INTO contents(hash, body) VALUES (?, ?)"));
        query.addBindValue(hash);
        query.addBindValue(qCompress(body));
        if (!query.exec()) {
            failQuery(query, QStringLiteral("Storing a document"));
            return -1;
        }
        id = query.lastInsertId().toLongLong();
        m_uncommittedContents.append(hash);
    }
    m_contentIds.insert(hash, id);
    return id;
}

void SiteStore::forgetUncommittedContents()
{
    for (const QByteArray &hash : std::as_const(m_uncommittedContents))
        m_contentIds.remove(hash);
    m_uncommittedContents.clear();
}

QList<VisitInfo> SiteStore::selectVisits(const QString &condition, const QVariantList &values) const
{
    QList<VisitInfo> visits;
    if (!m_open)
        return visits;
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("SELECT id, site, time, (SELECT COUNT(*) FROM cameras WHERE visit = visits.id) "
                                 "FROM visits WHERE %1 ORDER BY time, id")
                      .arg(condition));
    for (const QVariant &value : values)
        query.addBindValue(value);
    if (!query.exec())
        return visits;
    while (query.next()) {
        visits.append({query.value(0).toLongLong(), query.value(1).toString(),
                       QDateTime::fromMSecsSinceEpoch(query.value(2).toLongLong()), query.value(3).toInt()});
    }
    return visits;
}

QList<VisitInfo> SiteStore::visits(const QString &site) const
{
    return selectVisits(QStringLiteral("site = ?"), {site});
}

QStringList SiteStore::sites() const
{
    QStringList sites;
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    if (m_open && query.exec(QStringLiteral("SELECT DISTINCT site FROM visits ORDER BY site"))) {
        while (query.next())
            sites << query.value(0).toString();
    }
    return sites;
}

VisitInfo SiteStore::visit(qint64 id) const
{
    const QList<VisitInfo> found = selectVisits(QStringLiteral("id = ?"), {id});
    return found.isEmpty() ? VisitInfo() : found.constFirst();
}

VisitInfo SiteStore::previousVisit(const VisitInfo &visit) const
{
    const QList<VisitInfo> earlier = selectVisits(
        QStringLiteral("site = ? AND (time < ? OR (time = ? AND id < ?))"),
        {visit.site, visit.time.toMSecsSinceEpoch(), visit.time.toMSecsSinceEpoch(), visit.id});
    return earlier.isEmpty() ? VisitInfo() : earlier.constLast();
}

DifferenceReport SiteStore::compare(const VisitInfo &before, const VisitInfo &after) const
{
    return {before, after, SiteDifference::compare(cameras(before.id), cameras(after.id))};
}

QList<CameraRecord> SiteStore::cameras(qint64 visitId) const
{
    QList<CameraRecord> cameras;
    if (!m_open)
        return cameras;
    const QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
    QSqlQuery rows(db);
    rows.setForwardOnly(true);
    rows.prepare(QStringLiteral("SELECT serial, address, %1 FROM cameras WHERE visit = ? ORDER BY rowid")
                     .arg(documentColumns().join(QStringLiteral(", "))));
    rows.addBindValue(visitId);
    if (!rows.exec())
        return cameras;
    QSqlQuery body(db);
    body.prepare(QStringLiteral("SELECT body FROM contents WHERE id = ?"));
    // Most cameras share most documents with another camera or visit: each is read once.
    QHash<qint64, QJsonDocument> read;
    const auto document = [&](const QVariant &id) {
        if (id.isNull())
            return QJsonDocument();
        const qint64 key = id.toLongLong();
        auto known = read.constFind(key);
        if (known != read.cend())
            return *known;
        body.addBindValue(key);
        QJsonDocument parsed;
        if (body.exec() && body.next())
            parsed = QJsonDocument::fromJson(qUncompress(body.value(0).toByteArray()));
        read.insert(key, parsed);
        return parsed;
    };
    while (rows.next()) {
        CameraRecord camera;
        camera.serial = rows.value(0).toString();
        camera.address = rows.value(1).toString();
        camera.discovery = discoveryMap(document(rows.value(2)));
        for (int category = 0; category < CameraItem::CategoryCount; ++category)
            camera.documents[category] = document(rows.value(3 + category));
        cameras.append(camera);
    }
    return cameras;
}

bool SiteStore::removeVisits(const QList<qint64> &ids)
{
    if (!m_open)
        return fail(QStringLiteral("The site database is not open."));
    QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
    if (!db.transaction())
        return fail(QStringLiteral("The site database %1 cannot be written: %2").arg(m_path, db.lastError().text()));
    QSqlQuery query(db);
    bool ok = query.prepare(QStringLiteral("DELETE FROM visits WHERE id = ?"));
    for (auto id = ids.cbegin(); ok && id != ids.cend(); ++id) {
        query.addBindValue(*id);
        ok = query.exec();
    }
    QStringList used;
    for (const QString &column : documentColumns())
        used << QStringLiteral("SELECT %1 FROM cameras WHERE %1 IS NOT NULL").arg(column);
    ok = ok && query.exec(QStringLiteral("DELETE FROM contents WHERE id NOT IN (%1)").arg(used.join(QStringLiteral(" UNION "))));
    if (!ok || !db.commit()) {
        failQuery(query, QStringLiteral("Removing visits"));
        db.rollback();
        return false;
    }
    m_contentIds.clear();
    return true;
}
