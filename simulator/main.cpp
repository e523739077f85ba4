#include "CommandLine.h"
#include "EventLog.h"
#include "SignalWatcher.h"
#include "Simulator.h"

#include <QCoreApplication>

#include <QNetworkProxy>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/resource.h>

namespace {

// Each camera holds a probe listener, an answerer, an update listener and a Web-API listener
// per address family; client connections and the process's own files come on top.
constexpr rlim_t kDescriptorsPerCamera = 8;
constexpr rlim_t kSpareDescriptors = 256;

// The usual soft limit of 1024 descriptors does not carry a full fleet; the hard limit may.
// When even that is too low, sockets will fail to open, and the user learns why before that.
void raiseDescriptorLimit(qsizetype cameraCount)
{
    const rlim_t needed = rlim_t(cameraCount) * kDescriptorsPerCamera + kSpareDescriptors;
    struct rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        std::fprintf(stderr, "camera-simulator: cannot read the open files limit: %s\n",
                     std::strerror(errno));
        return;
    }
    if (limit.rlim_cur < limit.rlim_max) {
        const rlim_t soft = limit.rlim_cur;
        limit.rlim_cur = limit.rlim_max;
        if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
            std::fprintf(stderr, "camera-simulator: cannot raise the open files limit to %llu: "
                                 "%s\n",
                         static_cast<unsigned long long>(limit.rlim_max), std::strerror(errno));
            limit.rlim_cur = soft;
        }
    }
    if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < needed) {
        std::fprintf(stderr,
                     "camera-simulator: %lld cameras need about %llu open files, but this process "
                     "may open only %llu; raise the hard limit (ulimit -Hn) or start fewer "
                     "cameras\n",
                     static_cast<long long>(cameraCount), static_cast<unsigned long long>(needed),
                     static_cast<unsigned long long>(limit.rlim_cur));
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

    raiseDescriptorLimit(options.cameras.size());
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
