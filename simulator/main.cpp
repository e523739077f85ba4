#include "CommandLine.h"
#include "EventLog.h"
#include "SignalWatcher.h"
#include "Simulator.h"

#include <QCoreApplication>

#include <QNetworkProxy>

#include <cstdio>
#include <sys/resource.h>

namespace {

// A full fleet holds several listeners per camera and every client connection on top; the usual
// soft limit of 1024 descriptors is not enough, the hard limit is.
void raiseDescriptorLimit()
{
    struct rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("camera-simulator"));

    SimulatorOptions options;
    QString error;
    if (!CommandLine::parse(app, &options, &error)) {
        std::fprintf(stderr, "camera-simulator: %s\n", qPrintable(error));
        return 2;
    }

    SignalWatcher watcher;
    if (!watcher.isWatching()) {
        std::fprintf(stderr, "camera-simulator: cannot watch for signals\n");
        return 1;
    }
    QObject::connect(&watcher, &SignalWatcher::terminationRequested, &app,
                     &QCoreApplication::quit);

    raiseDescriptorLimit();
    // The cameras serve only inside the lab, where no proxy can stand in between; asking the
    // desktop's proxy settings for each of a fleet's thousands of sockets slows the start-up.
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    Simulator simulator(options);
    QObject::connect(&watcher, &SignalWatcher::webSilenceToggleRequested, &simulator,
                     &Simulator::toggleWebSilence);
    if (!simulator.start(&error)) {
        std::fprintf(stderr, "camera-simulator: %s\n", qPrintable(error));
        return 1;
    }
    EventLog::write(QStringLiteral("ready"));
    return app.exec();
}
