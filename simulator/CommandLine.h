#pragma once

#include "SimulatorOptions.h"

#include <QCoreApplication>
#include <QString>

// The simulator's command line. "--help" prints the whole syntax, including the camera text
// that CameraTextParser reads.
class CommandLine
{
public:
    // Exits the process for --help and for unknown options, as QCommandLineParser does.
    static bool parse(const QCoreApplication &app, SimulatorOptions *options, QString *error);

private:
    // --change and --remove, applied to the cameras made by --camera and --fleet.
    static bool applyChanges(const QStringList &changes, const QStringList &removals, QList<CameraConfig> *cameras,
                             QString *error);
    static bool parsePort(const QString &text, quint16 *port);
};
