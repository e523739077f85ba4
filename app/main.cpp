#include "CameraClient.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    Q_INIT_RESOURCE(resources);
    QCoreApplication::setOrganizationName(QStringLiteral("Plexano"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("plexano.com"));
    QCoreApplication::setApplicationName(QStringLiteral("Activation-Service"));

    CameraClient window;
    window.show();
    return QApplication::exec();
}
