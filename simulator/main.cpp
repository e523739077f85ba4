#include "CommandLine.h"
#include "EventLog.h"
#include "OpenFilesLimit.h"
#include "SignalWatcher.h"
#include "Simulator.h"

#include <QCoreApplication>

#include <QNetworkProxy>

#include <cstdio>

namespace {

// Each camera holds a probe listener, an answerer, an update listener and a Web-API listener
// per address family; client connections and the process's own files come on top.
constexpr quint64 kDescriptorsPerCamera = 8;
constexpr quint64 kSpareDescriptors = 256;

// The hard limit may carry a full fleet where the usual soft limit of 1024 does not. When even
// that is too low, sockets will fail to open, and the user learns why before that.
void checkDescriptorLimit(qsizetype cameraCount)
{
    const quint64 needed = quint64(cameraCount) * kDescriptorsPerCamera + kSpareDescriptors;
    const quint64 limit = OpenFilesLimit::raise();
    if (limit != 0 && limit < needed) {
        std::fprintf(stderr,
                     "camera-simulator: %lld cameras need about %llu open files, but this process "
                     "may open only %llu; raise the hard limit (ulimit -Hn) or start fewer "
                     "cameras\n",
                     static_cast<long long>(cameraCount), static_cast<unsigned long long>(needed),
                     static_cast<unsigned long long>(limit));
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

    checkDescriptorLimit(options.cameras.size());
    // The cameras serve only inside the lab, where no proxy can stand in between; asking the
    // desktop's proxy settings for each of a fleet's thousands of sockets slows the start-up.
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    Simulator simulator(options);
    QObject::connect(&watcher, &SignalWatcher::webSilenceToggleRequested, &simulator,
                     &Simulator::toggleWebSilence);
    QObject::connect(&watcher, &SignalWatcher::sessionsEndRequested, &simulator, &Simulator::endSessions);
    if (!simulator.start(&error)) {
        std::fprintf(stderr, "camera-simulator: %s\n", qPrintable(error));
        return 1;
    }
    EventLog::write(QStringLiteral("ready"));
    return app.exec();
}
