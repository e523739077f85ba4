#include "SiteStore.h"
#include "SyntheticSite.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr int kCrashCameras = 500;
constexpr int kCrashRounds = 8;

void compareCameras(const QList<CameraRecord> &actual, const QList<CameraRecord> &expected)
{
    QCOMPARE(actual.size(), expected.size());
    for (qsizetype i = 0; i < actual.size(); ++i) {
        QCOMPARE(actual.at(i).serial, expected.at(i).serial);
        QCOMPARE(actual.at(i).address, expected.at(i).address);
        QCOMPARE(actual.at(i).discovery, expected.at(i).discovery);
        for (int category = 0; category < CameraItem::CategoryCount; ++category)
            QCOMPARE(actual.at(i).documents.at(category), expected.at(i).documents.at(category));
    }
}

// Runs statements on the file outside the store, as another program or an older one would.
QVariant execute(const QString &path, const QStringList &statements)
{
    QVariant last;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("outside"));
        db.setDatabaseName(path);
        if (!db.open())
            last = db.lastError().text();
        QSqlQuery query(db);
        for (auto statement = statements.cbegin(); statement != statements.cend() && !last.isValid(); ++statement) {
            if (!query.exec(*statement))
                last = query.lastError().text();
            else if (query.next())
                last = query.value(0);
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("outside"));
    return last;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class tst_SiteStore : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(m_folder.isValid());
        m_path = m_folder.filePath(QStringLiteral("%1-%2.sqlite")
                                       .arg(QTest::currentTestFunction(), QString::fromUtf8(QTest::currentDataTag())));
    }

    void roundTrip()
    {
        const QList<CameraRecord> first = SyntheticSite::visit(12, 0);
        QList<CameraRecord> second = SyntheticSite::visit(12, 1);
        second.removeLast();
        second.first().documents[CameraItem::ANPR] = QJsonDocument();
        const QDateTime time = QDateTime::currentDateTime().addDays(-90);
        {
            SiteStore store;
            QVERIFY2(store.open(m_path), qPrintable(store.errorString()));
            QVERIFY(store.storeVisit("North gate", time, first).id != 0);
            const VisitInfo partial = store.storeVisit("North gate", time.addDays(90), first.mid(0, 3));
            QVERIFY(store.storeVisit("South gate", time, first).id != 0);
            // More was read after the visit was first stored.
            QCOMPARE(store.storeVisit("North gate", partial.time, second, partial.id).id, partial.id);
        }
        SiteStore store;
        QVERIFY2(store.open(m_path), qPrintable(store.errorString()));
        QCOMPARE(store.sites(), QStringList({"North gate", "South gate"}));
        const QList<VisitInfo> visits = store.visits("North gate");
        QCOMPARE(visits.size(), 2);
        QCOMPARE(visits.at(0).time, time);
        QCOMPARE(visits.at(1).cameraCount, second.size());
        QCOMPARE(store.previousVisit(visits.at(1)).id, visits.at(0).id);
        QCOMPARE(store.previousVisit(visits.at(0)).id, 0);
        compareCameras(store.cameras(visits.at(0).id), first);
        compareCameras(store.cameras(visits.at(1).id), second);

        // Documents no visit refers to any more go with the visits.
        QVERIFY(store.removeVisits({visits.at(1).id}));
        QCOMPARE(store.visits("North gate").size(), 1);
        compareCameras(store.cameras(visits.at(0).id), first);
        QVERIFY(store.removeVisits({visits.at(0).id, store.visits("South gate").at(0).id}));
        QVERIFY(store.sites().isEmpty());
        QCOMPARE(execute(m_path, {"SELECT COUNT(*) FROM contents"}).toInt(), 0);
    }

    void migratesInlineDocuments()
    {
        const CameraRecord camera = SyntheticSite::visit(1, 0).constFirst();
        QStringList statements = {
            "CREATE TABLE visits(id INTEGER PRIMARY KEY, site TEXT NOT NULL, time INTEGER NOT NULL)",
            "CREATE TABLE cameras(id INTEGER PRIMARY KEY, visit INTEGER NOT NULL, serial TEXT NOT NULL, "
            "address TEXT NOT NULL, discovery TEXT NOT NULL)",
            "CREATE INDEX cameras_by_visit ON cameras(visit)",
            "CREATE TABLE documents(camera INTEGER NOT NULL, path TEXT NOT NULL, body TEXT NOT NULL)",
            "INSERT INTO visits VALUES (7, 'Depot', 1700000000000)",
            QStringLiteral("INSERT INTO cameras VALUES (3, 7, '%1', '%2', '{\"S/N\":\"%1\",\"Firmware\":\"%3\"}')")
                .arg(camera.serial, camera.address, camera.discovery.value("Firmware")),
        };
        for (int category = 0; category < CameraItem::CategoryCount; ++category) {
            QString body = QString::fromUtf8(camera.documents.at(category).toJson(QJsonDocument::Compact));
            statements << QStringLiteral("INSERT INTO documents VALUES (3, '%1', '%2')")
                              .arg(CameraItem::resourcePath(CameraItem::Category(category)), body.replace("'", "''"));
        }
        statements << "PRAGMA user_version=1";
        QCOMPARE(execute(m_path, statements), QVariant());

        {
            SiteStore store;
            QVERIFY2(store.open(m_path), qPrintable(store.errorString()));
            const QList<VisitInfo> visits = store.visits("Depot");
            QCOMPARE(visits.size(), 1);
            QCOMPARE(visits.at(0).time, QDateTime::fromMSecsSinceEpoch(1700000000000));
            CameraRecord expected = camera;
            expected.discovery = {{"S/N", camera.serial}, {"Firmware", camera.discovery.value("Firmware")}};
            compareCameras(store.cameras(7), {expected});
        }
        QCOMPARE(execute(m_path, {"PRAGMA user_version"}).toInt(), SiteStore::kSchemaVersion);
    }

    void refusesFilesNotItsOwn_data()
    {
        QTest::addColumn<QStringList>("statements");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("message");
        QTest::newRow("text file") << QStringList() << QByteArray("installer notes\n" + QByteArray(5000, 'x'))
                                   << "is not a site database";
        QTest::newRow("newer layout") << QStringList{"CREATE TABLE visits(id INTEGER)", "PRAGMA user_version=3"}
                                      << QByteArray() << "written by a newer version of the program (layout 3";
        QTest::newRow("another program's database") << QStringList{"CREATE TABLE plates(text TEXT)"} << QByteArray()
                                                    << "a database of another program";
    }

    void refusesFilesNotItsOwn()
    {
        QFETCH(QStringList, statements);
        QFETCH(QByteArray, text);
        QFETCH(QString, message);
        if (statements.isEmpty()) {
            QFile file(m_path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(text);
        } else {
            QCOMPARE(execute(m_path, statements), QVariant());
        }
        const QByteArray before = contentOf(m_path);
        SiteStore store;
        QVERIFY(!store.open(m_path));
        QVERIFY2(store.errorString().contains(message), qPrintable(store.errorString()));
        QVERIFY(store.storeVisit("Depot", QDateTime::currentDateTime(), SyntheticSite::visit(1, 0)).id == 0);
        QCOMPARE(contentOf(m_path), before);
    }

    void oneProgramAtATime()
    {
        SiteStore first(QStringLiteral("first"));
        QVERIFY(first.open(m_path));
        SiteStore second(QStringLiteral("second"));
        QVERIFY(!second.open(m_path));
        QVERIFY2(second.errorString().contains("in use by another instance"), qPrintable(second.errorString()));
    }

    // Killed in the middle of storing, the program leaves each visit whole or not there at all.
    void crashWhileStoring()
    {
        int committed = 0;
        for (int round = 0; round < kCrashRounds; ++round) {
            QProcess writer;
            writer.setProcessChannelMode(QProcess::ForwardedErrorChannel);
            writer.start(QStringLiteral(SITE_STORE_WRITER_PATH), {m_path, QString::number(kCrashCameras)});
            QVERIFY(writer.waitForStarted());
            // A visit or two goes through now and then, so later rounds kill a database with visits.
            const QByteArray awaited = "begin " + QByteArray::number(round % 3);
            QByteArray output;
            QTRY_VERIFY_WITH_TIMEOUT((output += writer.readAllStandardOutput()).contains(awaited), 60000);
            QTest::qWait(QRandomGenerator::global()->bounded(150));
            writer.kill();
            QVERIFY(writer.waitForFinished());
            output += writer.readAllStandardOutput();
            committed += int(output.count("stored "));

            SiteStore store;
            QVERIFY2(store.open(m_path), qPrintable(store.errorString()));
            const QList<VisitInfo> visits = store.visits("crash");
            QVERIFY2(visits.size() >= committed, qPrintable(QStringLiteral("%1 of %2").arg(visits.size()).arg(committed)));
            for (const VisitInfo &visit : visits)
                QCOMPARE(visit.cameraCount, kCrashCameras);
            committed = int(visits.size());
        }
        QCOMPARE(execute(m_path, {"PRAGMA integrity_check"}).toString(), QStringLiteral("ok"));
    }

private:
    QTemporaryDir m_folder;
    QString m_path;
};

QTEST_GUILESS_MAIN(tst_SiteStore)
#include "tst_SiteStore.moc"
