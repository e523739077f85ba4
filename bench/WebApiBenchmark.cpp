// The Web-API client against cameras that misbehave, and the live view against discovery. One
// scenario per run, so that the peak resident memory (VmHWM) printed is that scenario's alone:
//   endless     ten reads and ten snapshots of a camera that sends an endless body
//   export      a result export of 1 GB (--export-bytes), written to a temporary folder
//   polling     availability polling of 1,000 cameras of which 100 never answer, for
//               --minutes (default 5), resident memory sampled every 30 s
//   live-scan   a live view at rate 0 on one camera while a scan runs: cameras listed within
//               the first probe round, and pictures fetched meanwhile (NETLAB_CAMERA_COUNT=245
//               for the 490-camera lab)
// Run inside the lab, with room for 500 cameras per network for polling:
//   NETLAB_CAMERA_COUNT=500 lab/netlab build/release/bench/web-api-benchmark SCENARIO
#include "CameraAPI.h"
#include "CameraFinder.h"
#include "CameraModel.h"
#include "ContactTask.h"
#include "Lab.h"
#include "SimulatorProcess.h"
#include "SnapshotTask.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <cstdio>
#include <functional>

namespace {

const QString kUser = QStringLiteral("admin");

qint64 statusKiB(const char *field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(int(qstrlen(field))).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

double mib(qint64 kib)
{
    return double(kib) / 1024;
}

// Runs the event loop until done() holds or the time is up; false when the time ran out.
bool runUntil(const std::function<bool()> &done, int timeoutMs)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > timeoutMs)
            return false;
        QEventLoop loop;
        QTimer::singleShot(10, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "web-api-benchmark: %s\n", what);
    std::exit(1);
}

std::unique_ptr<CameraAPI> client()
{
    auto api = std::make_unique<CameraAPI>();
    api->init();
    api->setCredentials(kUser, kUser);
    return api;
}

int endless()
{
    SimulatorProcess simulator;
    if (!simulator.start(1, {Lab::cameraText(1, 0, "ENDLESS", "web=endless")}))
        fail("the simulator did not start");
    CameraModel model;
    model.addCamera(Lab::cameraIPv4(1, 0), {{"S/N", "ENDLESS"}}, std::tm{});
    const QSharedPointer<CameraItem> cam = model.cameras().constFirst();
    const auto api = client();
    int failures = 0;
    QObject::connect(api.get(), &CameraAPI::error, [&failures] { ++failures; });
    QObject::connect(api.get(), &CameraAPI::liveImageFailed, [&failures] { ++failures; });
    const qint64 before = statusKiB("VmRSS:");
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < 10; ++i) {
        api->viewDigitalIO(cam);
        api->fetchLiveSnapshot(cam);
    }
    if (!runUntil([&failures] { return failures == 20; }, 120000))
        fail("not every reply was cut off");
    std::printf("endless: 20 replies cut off in %lld ms; resident memory before %.1f MiB, peak %.1f MiB\n",
                clock.elapsed(), mib(before), mib(statusKiB("VmHWM:")));
    return 0;
}

int exportResults(qint64 bytes)
{
    SimulatorProcess simulator;
    if (!simulator.start(1, {Lab::cameraText(1, 0, "EXPORT", "huge=" + QString::number(bytes))}))
        fail("the simulator did not start");
    CameraModel model;
    model.addCamera(Lab::cameraIPv4(1, 0), {{"S/N", "EXPORT"}}, std::tm{});
    const auto api = client();
    bool failed = false;
    QObject::connect(api.get(), &CameraAPI::error, [&failed](const QString &msg) {
        std::fprintf(stderr, "%s\n", qPrintable(msg));
        failed = true;
    });
    QTemporaryDir folder;
    const qint64 before = statusKiB("VmRSS:");
    QElapsedTimer clock;
    clock.start();
    api->exportResults(model.cameras().constFirst(), folder.path());
    const auto written = [&folder] { return QDir(folder.path()).entryInfoList(QDir::Files).value(0).size(); };
    if (!runUntil([&] { return failed || written() == bytes; }, 600000) || failed)
        fail("the export did not arrive whole");
    std::printf("export: %.0f MB written in %lld ms; resident memory before %.1f MiB, peak %.1f MiB\n",
                double(bytes) / 1e6, clock.elapsed(), mib(before), mib(statusKiB("VmHWM:")));
    return 0;
}

int polling(int minutes)
{
    constexpr int kHung = 100;
    constexpr int kPerNetwork = 500;
    if (Lab::cameraCount() < kPerNetwork)
        fail("polling needs NETLAB_CAMERA_COUNT=500");
    QStringList hung;
    for (int i = 0; i < kHung; ++i)
        hung << Lab::cameraText(1, i, QStringLiteral("HUNG-%1").arg(i), QStringLiteral("web=hang"));
    std::array<SimulatorProcess, 2> simulators;
    if (!simulators[0].start(1, hung, {"--fleet", QString::number(kPerNetwork - kHung), "--network", "1",
                                       "--fleet-start", QString::number(kHung)}, 120000)
        || !simulators[1].start(2, {}, {"--fleet", QString::number(kPerNetwork), "--network", "2"}, 120000))
        fail("the simulators did not start");
    CameraModel model;
    for (int network = 1; network <= 2; ++network) {
        for (int i = 0; i < kPerNetwork; ++i)
            model.addCamera(Lab::cameraIPv4(network, i), {{"S/N", QStringLiteral("N%1-%2").arg(network).arg(i)}},
                            std::tm{});
    }
    ContactTask task(&model, kUser, kUser, 5000);
    int answered = 0;
    int unanswered = 0;
    QObject::connect(&task, &ContactTask::cameraAvailable, [&answered] { ++answered; });
    QObject::connect(&task, &ContactTask::cameraUnavailable, [&unanswered] { ++unanswered; });
    task.init();
    std::printf("polling 1,000 cameras, 100 of them hung, every 5 s for %d min\n", minutes);
    std::printf("  %8s %12s %12s %12s\n", "seconds", "RSS MiB", "answers", "no answer");
    QElapsedTimer clock;
    clock.start();
    for (int sample = 0; sample <= minutes * 2; ++sample) {
        runUntil([&clock, sample] { return clock.elapsed() >= sample * 30000; }, 40000);
        std::printf("  %8lld %12.1f %12d %12d\n", clock.elapsed() / 1000, mib(statusKiB("VmRSS:")), answered,
                    unanswered);
        std::fflush(stdout);
    }
    std::printf("  peak resident memory %.1f MiB\n", mib(statusKiB("VmHWM:")));
    return 0;
}

int liveScan()
{
    const int perNetwork = Lab::cameraCount();
    std::array<SimulatorProcess, 2> simulators;
    for (int network = 1; network <= 2; ++network) {
        if (!simulators[network - 1].start(network, {}, {"--fleet", QString::number(perNetwork), "--network",
                                                         QString::number(network)}, 120000))
            fail("the simulators did not start");
    }
    // As in the window: discovery and the Web-API client share one worker thread.
    QThread worker;
    auto *finder = new CameraFinder;
    auto *api = new CameraAPI;
    finder->moveToThread(&worker);
    api->moveToThread(&worker);
    QObject::connect(&worker, &QThread::started, finder, qOverload<>(&CameraFinder::init));
    QObject::connect(&worker, &QThread::started, api, &CameraAPI::init);
    QObject::connect(&worker, &QThread::finished, finder, &QObject::deleteLater);
    QObject::connect(&worker, &QThread::finished, api, &QObject::deleteLater);
    worker.start();
    QMetaObject::invokeMethod(api, [api] { api->setCredentials(kUser, kUser); });

    CameraModel model;
    model.addCamera(Lab::cameraIPv4(1, 0), {{"S/N", "SIM1-0"}}, std::tm{});
    SnapshotTask live(api);
    int pictures = 0;
    QObject::connect(&live, &SnapshotTask::gotImage, [&pictures] { ++pictures; });
    live.setCamera(model.cameras().constFirst());
    live.setInterval(0);
    live.start();
    if (!runUntil([&pictures] { return pictures >= 5; }, 30000))
        fail("the live view shows no pictures");

    QSet<QString> found;
    QObject::connect(finder, &CameraFinder::foundRemote, &model,
                     [&found](const QHostAddress &address) { found.insert(address.toString()); });
    QMetaObject::invokeMethod(finder, [finder] {
        finder->init(QHostAddress(QLatin1String(CameraFinder::kDefaultProbeGroupIPv4)), 4800, 255);
        finder->scan();
    });
    const int picturesBefore = pictures;
    QElapsedTimer clock;
    clock.start();
    // The window probes again after 500 ms: whatever answered before that came from the first round.
    runUntil([&clock] { return clock.elapsed() >= 500; }, 1000);
    const int firstRound = int(found.size());
    const int picturesDuring = pictures - picturesBefore;
    // Each fleet's second camera answers without a serial number, which discovery drops.
    const int listed = 2 * (perNetwork - 1);
    runUntil([&found, listed] { return found.size() >= listed; }, 10000);
    std::printf("live-scan: %d of %d cameras listed in the first probe round (%d after %lld ms), %d pictures "
                "fetched meanwhile at rate 0\n",
                firstRound, listed, int(found.size()), clock.elapsed(), picturesDuring);
    live.stop();
    worker.quit();
    worker.wait();
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("scenario"), QStringLiteral("endless, export, polling or live-scan"));
    const QCommandLineOption minutesOption(QStringLiteral("minutes"), QStringLiteral("Polling time."),
                                           QStringLiteral("n"), QStringLiteral("5"));
    const QCommandLineOption bytesOption(QStringLiteral("export-bytes"), QStringLiteral("Size of the export."),
                                         QStringLiteral("bytes"), QStringLiteral("1000000000"));
    parser.addOptions({minutesOption, bytesOption});
    parser.process(app);
    if (!Lab::isInside())
        fail("run me inside the network lab: NETLAB_CAMERA_COUNT=500 lab/netlab web-api-benchmark SCENARIO");
    const QString scenario = parser.positionalArguments().value(0);
    if (scenario == QLatin1String("endless"))
        return endless();
    if (scenario == QLatin1String("export"))
        return exportResults(parser.value(bytesOption).toLongLong());
    if (scenario == QLatin1String("polling"))
        return polling(parser.value(minutesOption).toInt());
    if (scenario == QLatin1String("live-scan"))
        return liveScan();
    parser.showHelp(2);
}
