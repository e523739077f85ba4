#include "CommandLine.h"
#include "EventLog.h"
#include "Simulator.h"
#include "TerminationWatcher.h"

#include <QCoreApplication>

#include <cstdio>

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

    TerminationWatcher watcher;
    if (!watcher.isWatching()) {
        std::fprintf(stderr, "camera-simulator: cannot watch for termination signals\n");
        return 1;
    }
    QObject::connect(&watcher, &TerminationWatcher::terminationRequested, &app,
                     &QCoreApplication::quit);

    Simulator simulator(options);
    if (!simulator.start(&error)) {
        std::fprintf(stderr, "camera-simulator: %s\n", qPrintable(error));
        return 1;
    }
    EventLog::write(QStringLiteral("ready"));
    return app.exec();
}
