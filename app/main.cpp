#include "CameraClient.h"
#include "OpenFilesLimit.h"
#include "ProgramNames.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    // Every camera holds connections open; a desktop session's soft limit carries only a few
    // hundred cameras, the hard limit thousands.
    OpenFilesLimit::raise();
    QApplication application(argc, argv);
    Q_INIT_RESOURCE(resources);
    ProgramNames::apply();

    CameraClient window;
    window.show();
    return QApplication::exec();
}
