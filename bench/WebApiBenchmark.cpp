// Fills the camera tree of the real window from simulated cameras and measures how long that
// takes and how long the window's event loop is ever kept from running, while the tree is
// expanded and, optionally, filtered. Run inside the network lab:
//   NETLAB_CAMERA_COUNT=245 lab/netlab build-release/bench/web-api-benchmark [filter text]
#include "CameraClient.h"
#include "Lab.h"
#include "SimulatorProcess.h"

#include <QApplication>
#include <QEventLoop>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QTimer>
#include <QTreeView>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int kHeartbeatMs = 5;
constexpr int kPollingSeconds = 30;

// How late a steady timer fires at the worst: the longest time the event loop was busy.
class StallMeter : public QObject
{
public:
    StallMeter()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(kHeartbeatMs);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            m_worst = std::max(m_worst, m_sinceLast.restart() - kHeartbeatMs);
        });
    }
    void restart()
    {
        m_worst = 0;
        m_sinceLast.start();
        m_timer.start();
    }
    qint64 worstMs() const { return m_worst; }

private:
    QTimer m_timer;
    QElapsedTimer m_sinceLast;
    qint64 m_worst = 0;
};

void runEventsUntil(const std::function<bool()> &done, int timeoutMs)
{
    QEventLoop loop;
    QTimer check;
    QObject::connect(&check, &QTimer::timeout, &loop, [&] {
        if (done())
            loop.quit();
    });
    check.start(1);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    const QString filter = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString();
    if (!Lab::isInside()) {
        std::fprintf(stderr, "run me inside the network lab: NETLAB_CAMERA_COUNT=245 lab/netlab %s\n", argv[0]);
        return 2;
    }
    const int perNetwork = Lab::cameraCount();

    SimulatorProcess simulators[2];
    for (int network : {1, 2}) {
        if (!simulators[network - 1].start(network, {}, {"--fleet", QString::number(perNetwork), "--network",
                                                         QString::number(network)}, 60000)) {
            return 1;
        }
    }

    CameraClient window;
    window.show();
    auto *view = window.findChild<QTreeView *>(QStringLiteral("tvCameras"));
    auto *proxy = qobject_cast<QSortFilterProxyModel *>(view->model());
    auto *model = qobject_cast<CameraModel *>(proxy->sourceModel());
    for (int network : {1, 2}) {
        for (int i = 0; i < perNetwork; ++i)
            model->addCamera(Lab::cameraIPv4(network, i), {{"S/N", QStringLiteral("B%1-%2").arg(network).arg(i)}}, {});
    }
    window.findChild<QLineEdit *>(QStringLiteral("lePropertyFilter"))->setText(filter);
    view->expandAll();

    const int cameras = 2 * perNetwork;
    int filled = 0;
    QObject::connect(model, &QAbstractItemModel::rowsInserted, [&](const QModelIndex &parent) {
        if (parent.isValid())
            ++filled;
    });

    StallMeter stalls;
    QElapsedTimer populate;
    stalls.restart();
    populate.start();
    emit window.newCredentials(QStringLiteral("admin"), QStringLiteral("admin"));
    window.findChild<QPushButton *>(QStringLiteral("pbRefresh"))->click();
    runEventsUntil([&] { return filled >= cameras * CameraItem::CategoryCount; }, 120000);
    const qint64 populateMs = populate.elapsed();
    const qint64 populateStall = stalls.worstMs();

    view->expandAll();
    stalls.restart();
    runEventsUntil([] { return false; }, kPollingSeconds * 1000);

    std::printf("cameras %d, filter \"%s\": populated %s in %lld ms, longest stall %lld ms; "
                "next %d s of polling: longest stall %lld ms\n",
                cameras, qPrintable(filter), filled >= cameras * CameraItem::CategoryCount ? "fully" : "NOT fully",
                static_cast<long long>(populateMs), static_cast<long long>(populateStall), kPollingSeconds,
                static_cast<long long>(stalls.worstMs()));
    return filled >= cameras * CameraItem::CategoryCount ? 0 : 1;
}
