// What keeping a site's visits costs, with the cameras the simulator would show, without a
// network. Two parts:
//  - the window: a tree of N cameras with every category read, stored as a visit the way the
//    window does it after a scan (SiteSession); per round the longest time the event loop was kept
//    from running (a 1 ms heartbeat timer's worst lateness) and the time from the moment the
//    visit counts as read until its report is back;
//  - the store: V visits of N cameras stored one after the other (the cameras' running state
//    changes between visits, their settings stay), per visit the time to store it, and the size
//    of the database file at the end.
// Run from an optimised build:
//   QT_QPA_PLATFORM=offscreen build/release/bench/site-memory-benchmark [--cameras 500] [--visits 100] [--rounds 10]
#include "CameraModel.h"
#include "SiteSession.h"
#include "SiteStore.h"
#include "SyntheticSite.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int kHeartbeatMs = 1;

struct Figures
{
    QList<qint64> values;

    void print(const char *what, const char *unit) const
    {
        QList<qint64> sorted = values;
        std::sort(sorted.begin(), sorted.end());
        std::printf("%-40s best %6lld %s   median %6lld %s   worst %6lld %s   (%lld runs)\n", what,
                    static_cast<long long>(sorted.first()), unit, static_cast<long long>(sorted.at(sorted.size() / 2)),
                    unit, static_cast<long long>(sorted.last()), unit, static_cast<long long>(sorted.size()));
    }
};

void benchmarkWindow(int cameraCount, int rounds, const QString &folder)
{
    CameraModel model;
    const QList<CameraRecord> site = SyntheticSite::visit(cameraCount, 0);
    for (const CameraRecord &camera : site)
        model.addCamera(QHostAddress(camera.address), camera.discovery, {});
    const QList<QSharedPointer<CameraItem>> cameras = model.cameras();
    for (int i = 0; i < cameras.size(); ++i) {
        for (int category = 0; category < CameraItem::CategoryCount; ++category) {
            model.attachResource(cameras.at(i), CameraItem::resourcePath(CameraItem::Category(category)),
                                 site.at(i).documents.at(category));
        }
    }

    QWidget window;
    QLineEdit siteName;
    QPushButton whatChanged;
    QPushButton history;
    QLabel status;
    SiteSession session(&model, {&siteName, &whatChanged, &history, &status}, &window);
    session.open(QDir(folder).filePath(QStringLiteral("window.sqlite")));
    QSignalSpy stored(&session, &SiteSession::visitStored);

    QElapsedTimer sinceBeat;
    qint64 worstLateness = 0;
    QTimer heartbeat;
    heartbeat.setTimerType(Qt::PreciseTimer);
    heartbeat.setInterval(kHeartbeatMs);
    QObject::connect(&heartbeat, &QTimer::timeout, [&] {
        worstLateness = std::max(worstLateness, sinceBeat.restart() - kHeartbeatMs);
    });

    Figures blocked;
    Figures storing;
    for (int round = 0; round < rounds; ++round) {
        session.beginVisit();
        // As the last documents of a scan arrive: every camera has been read.
        for (const QSharedPointer<CameraItem> &camera : cameras)
            session.noteResource(camera, CameraItem::resourcePath(CameraItem::CameraStatus));
        QElapsedTimer sinceRead;
        sinceRead.start();
        // The quiet time before the visit counts as read is waiting, not work.
        QTest::qWait(SiteSession::kQuietMs - 100);
        worstLateness = 0;
        sinceBeat.start();
        heartbeat.start();
        if (!stored.wait(30000)) {
            std::fprintf(stderr, "no visit stored: %s\n", qPrintable(status.text()));
            return;
        }
        heartbeat.stop();
        storing.values << sinceRead.elapsed() - SiteSession::kQuietMs;
        blocked.values << worstLateness;
    }
    std::printf("Window, %d cameras with every category read:\n", cameraCount);
    blocked.print("  window blocked (longest stall)", "ms");
    storing.print("  read to report (stored and compared)", "ms");
}

void benchmarkStore(int cameraCount, int visits, const QString &folder)
{
    const QString path = QDir(folder).filePath(QStringLiteral("store.sqlite"));
    SiteStore store;
    if (!store.open(path)) {
        std::fprintf(stderr, "%s\n", qPrintable(store.errorString()));
        return;
    }
    Figures storing;
    for (int visit = 0; visit < visits; ++visit) {
        const QList<CameraRecord> cameras = SyntheticSite::visit(cameraCount, visit);
        QElapsedTimer timer;
        timer.start();
        if (store.storeVisit(QStringLiteral("Benchmark"), QDateTime::currentDateTime(), cameras).id == 0) {
            std::fprintf(stderr, "%s\n", qPrintable(store.errorString()));
            return;
        }
        storing.values << timer.elapsed();
    }
    std::printf("Store, %d visits of %d cameras:\n", visits, cameraCount);
    storing.print("  one visit stored", "ms");
    const qint64 bytes = QFileInfo(path).size() + QFileInfo(path + QStringLiteral("-wal")).size();
    std::printf("  database after %d visits: %.1f MB (%lld bytes, with its write-ahead log)\n", visits,
                bytes / 1e6, static_cast<long long>(bytes));
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption cameras(QStringLiteral("cameras"), QStringLiteral("Cameras per visit."),
                                     QStringLiteral("N"), QStringLiteral("500"));
    const QCommandLineOption visits(QStringLiteral("visits"), QStringLiteral("Visits stored."), QStringLiteral("V"),
                                    QStringLiteral("100"));
    const QCommandLineOption rounds(QStringLiteral("rounds"), QStringLiteral("Visits stored through the window."),
                                    QStringLiteral("R"), QStringLiteral("10"));
    parser.addOptions({cameras, visits, rounds});
    parser.addHelpOption();
    parser.process(app);

    QTemporaryDir folder;
    if (!folder.isValid())
        return 1;
    benchmarkWindow(parser.value(cameras).toInt(), parser.value(rounds).toInt(), folder.path());
    benchmarkStore(parser.value(cameras).toInt(), parser.value(visits).toInt(), folder.path());
    return 0;
}
