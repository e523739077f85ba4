#include "CameraClient.h"
#include "Lab.h"
#include "SimulatorProcess.h"

#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <QTreeView>
#include <QtTest>

#include <memory>

namespace {
constexpr int kCamerasPerNetwork = 100;
constexpr int kRefreshes = 2;
constexpr int kTimeoutMs = 120000;
const QStringList kFilters = {"", "anpr", "Camera #1", "true", "SIM"};
} // namespace

// The Web-API fills hundreds of cameras on its own thread while the view over the filter is
// expanded, filtered and repainted without pause: run under AddressSanitizer, any row that the
// worker changed behind the view's back shows up as a report.
class tst_CameraClientStress : public QObject
{
    Q_OBJECT

private slots:
    void refreshesWhileTheViewIsBusy()
    {
        LAB_REQUIRED();
        SimulatorProcess simulators[2];
        for (int network : {1, 2}) {
            QVERIFY(simulators[network - 1].start(network, {}, {"--fleet", QString::number(kCamerasPerNetwork),
                                                                "--network", QString::number(network)}, 30000));
        }

        CameraClient window;
        window.show();
        auto *view = window.findChild<QTreeView *>(QStringLiteral("tvCameras"));
        auto *model = qobject_cast<CameraFilterModel *>(view->model())->sourceModel();
        for (int network : {1, 2}) {
            for (int i = 0; i < kCamerasPerNetwork; ++i)
                model->addCamera(Lab::cameraIPv4(network, i), {{"S/N", QStringLiteral("C%1-%2").arg(network).arg(i)}}, {});
        }

        int step = 0;
        QTimer busyView;
        connect(&busyView, &QTimer::timeout, [&] {
            // Expanding everything lays out tens of thousands of rows: often, not every time.
            if (step % 4 == 0)
                view->expandAll();
            window.findChild<QLineEdit *>(QStringLiteral("lePropertyFilter"))->setText(kFilters.at(step++ % kFilters.size()));
            view->viewport()->repaint();
        });
        busyView.start(1000);

        // A refresh brings documents of the shape the rows have, which change values in place:
        // the simulators' request logs tell when every camera has been read again.
        const auto reads = [&] {
            return simulators[0].lines(QStringLiteral("http ")).filter(QStringLiteral(" GET /")).size()
                + simulators[1].lines(QStringLiteral("http ")).filter(QStringLiteral(" GET /")).size();
        };
        QSignalSpy filled(model, &QAbstractItemModel::rowsInserted);
        emit window.newCredentials(QStringLiteral("admin"), QStringLiteral("admin"));
        const int categories = 2 * kCamerasPerNetwork * CameraItem::CategoryCount;
        for (int round = 1; round <= kRefreshes; ++round) {
            window.findChild<QPushButton *>(QStringLiteral("pbRefresh"))->click();
            QTRY_VERIFY_WITH_TIMEOUT(reads() >= round * categories, kTimeoutMs);
        }
        QTRY_VERIFY_WITH_TIMEOUT(filled.count() >= categories, kTimeoutMs);

        busyView.stop();
        QVERIFY(step > 0);
    }
};

QTEST_MAIN(tst_CameraClientStress)
#include "tst_CameraClientStress.moc"
