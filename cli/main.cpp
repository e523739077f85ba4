#include "OpenFilesLimit.h"
#include "ProgramNames.h"
#include "Tool.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    // Every camera holds connections open, as in the window.
    OpenFilesLimit::raise();
    QCoreApplication application(argc, argv);
    // The window's names, so that --site finds the window's site memory.
    ProgramNames::apply();

    Tool tool;
    QObject::connect(&tool, &Tool::finished, &application, &QCoreApplication::exit, Qt::QueuedConnection);
    int exitCode = 0;
    if (!tool.start(QCoreApplication::arguments(), exitCode))
        return exitCode;
    return QCoreApplication::exec();
}
