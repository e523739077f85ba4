// Stands in for a lab test in tst_LabCleanup: run inside lab/netlab, it starts a simulator
// through the tests' support library and makes a temporary folder, prints
// "ready <simulator's store folder> <temporary folder> <temporary path>" and waits to be killed.
#include "Lab.h"
#include "SimulatorProcess.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    SimulatorProcess simulator;
    if (!simulator.start(1, {Lab::cameraText(1, 0, QStringLiteral("ORPHAN"))}))
        return 1;
    QTemporaryDir folder;
    if (!folder.isValid())
        return 1;
    std::printf("ready %s %s %s\n", qPrintable(simulator.storeDir()), qPrintable(folder.path()),
                qPrintable(QDir::tempPath()));
    std::fflush(stdout);
    return QCoreApplication::exec();
}
