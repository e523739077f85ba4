// Shows the main window, presses "Scan", waits for the expected number of cameras and saves
// a picture of the screen. Meant to run under Xvfb inside the network lab (scripts/screenshot.sh).
#include "CameraClient.h"

#include <QApplication>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QTreeView>

#include <cstdio>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    Q_INIT_RESOURCE(resources);
    QCoreApplication::setOrganizationName(QStringLiteral("Plexano"));
    QCoreApplication::setApplicationName(QStringLiteral("Activation-Service"));
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        std::fprintf(stderr, "usage: window-screenshot OUTPUT.png CAMERA_COUNT\n");
        return 2;
    }
    const QString output = arguments.at(1);
    const int expectedCameras = arguments.at(2).toInt();

    CameraClient window;
    window.move(0, 0);
    window.show();
    auto *view = window.findChild<QTreeView *>(QStringLiteral("tvCameras"));
    window.findChild<QPushButton *>(QStringLiteral("pbScan"))->click();

    int exitCode = 1;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (view->model()->rowCount() < expectedCameras)
            return;
        poll.stop();
        view->expand(view->model()->index(0, 0));
        view->expand(view->model()->index(4, 0, view->model()->index(0, 0)));
        view->resizeColumnToContents(0);
        // One more turn of the event loop so the expanded rows are painted.
        QTimer::singleShot(500, [&] {
            exitCode = window.screen()->grabWindow(0).save(output) ? 0 : 1;
            QCoreApplication::quit();
        });
    });
    poll.start(200);
    QTimer::singleShot(30000, [&] {
        std::fprintf(stderr, "window-screenshot: found %d of %d cameras\n", view->model()->rowCount(),
                     expectedCameras);
        QCoreApplication::quit();
    });
    QApplication::exec();
    return exitCode;
}
