// Stands in for the program in tst_SiteStore's crash loop: stores visits of many cameras into
// the site database given as first argument, one after the other, announcing each one
// ("begin N" before it, "stored N" after it), until it is killed.
#include "SiteStore.h"
#include "SyntheticSite.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc != 3)
        return 2;
    const int cameraCount = QByteArray(argv[2]).toInt();
    const QList<CameraRecord> visits[] = {SyntheticSite::visit(cameraCount, 0), SyntheticSite::visit(cameraCount, 1)};
    SiteStore store;
    if (!store.open(QString::fromLocal8Bit(argv[1]))) {
        std::fprintf(stderr, "%s\n", qPrintable(store.errorString()));
        return 1;
    }
    for (int n = 0;; ++n) {
        std::printf("begin %d\n", n);
        std::fflush(stdout);
        if (store.storeVisit(QStringLiteral("crash"), QDateTime::currentDateTime(), visits[n % 2]).id == 0) {
            std::fprintf(stderr, "%s\n", qPrintable(store.errorString()));
            return 1;
        }
        std::printf("stored %d\n", n);
        std::fflush(stdout);
    }
}
