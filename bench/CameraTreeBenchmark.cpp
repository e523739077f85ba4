// Drives the real window the way an installer does, next to simulated cameras in the network
// lab, at several fleet sizes: "Scan", "Expand all", Web-API credentials typed and set, "Expand
// all" again over the filled tree, a filter typed one key at a time, cleared, and typed to match
// nothing, "Refresh all Properties", and availability polling while a tenth of the cameras stop
// answering and come back. It prints how long each step took and the longest time the window's
// event loop was kept from running (a 2 ms heartbeat timer's worst lateness). Run it inside the
// lab with room for the largest fleet on each of its two networks:
//   NETLAB_CAMERA_COUNT=500 lab/netlab build/release/bench/camera-tree-benchmark [--sizes 100,1000] [--rounds 3]
#include "CameraClient.h"
#include "Lab.h"
#include "MessageBox.h"
#include "SimulatorProcess.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QFile>
#include <QEventLoop>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTreeView>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>

#include <unistd.h>

namespace {

constexpr int kHeartbeatMs = 2;
constexpr int kKeyGapMs = 150;
// Two ticks of the availability checker per phase.
constexpr int kPollingMs = 10000;

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
    qint64 worstMs()
    {
        // A stall still going on counts too.
        return std::max(m_worst, m_sinceLast.elapsed() - kHeartbeatMs);
    }

private:
    QTimer m_timer;
    QElapsedTimer m_sinceLast;
    qint64 m_worst = 0;
};

// Notes when the view last finished painting, which includes laying out its rows.
class PaintClock : public QObject
{
public:
    explicit PaintClock(QWidget *viewport)
    {
        m_clock.start();
        viewport->installEventFilter(this);
    }
    qint64 lastPaintEndMs() const { return m_lastPaintEnd; }
    qint64 nowMs() const { return m_clock.elapsed(); }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() != QEvent::Paint || m_inPaint)
            return false;
        m_inPaint = true;
        watched->event(event);
        m_inPaint = false;
        m_lastPaintEnd = m_clock.elapsed();
        return true;
    }

private:
    QElapsedTimer m_clock;
    qint64 m_lastPaintEnd = -1;
    bool m_inPaint = false;
};

// The processor time a process has used so far, all its threads together.
double cpuMs(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    // The fields after the command name, which is in parentheses and may hold spaces.
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    return (fields.value(11).toDouble() + fields.value(12).toDouble()) * 1000.0 / double(sysconf(_SC_CLK_TCK));
}

double simulatorsCpuMs(const std::array<SimulatorProcess, 3> &simulators)
{
    double total = 0;
    for (const SimulatorProcess &simulator : simulators)
        total += cpuMs(simulator.processId());
    return total;
}

bool runEventsUntil(const std::function<bool()> &done, int timeoutMs)
{
    if (done())
        return true;
    QEventLoop loop;
    QTimer check;
    QObject::connect(&check, &QTimer::timeout, &loop, [&] {
        if (done())
            loop.quit();
    });
    check.start(5);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    return done();
}

void runEventsFor(int ms)
{
    runEventsUntil([] { return false; }, ms);
}

// The figures of one round, by name, in milliseconds or counts.
using Figures = std::map<std::string, double>;

class Round
{
public:
    Round(int cameras, bool typeFilter)
        : m_cameras(cameras)
        , m_typeFilter(typeFilter)
    {
    }

    bool run(std::array<SimulatorProcess, 3> &simulators, Figures &figures)
    {
        CameraClient window;
        window.show();
        m_view = window.findChild<QTreeView *>(QStringLiteral("tvCameras"));
        m_filter = qobject_cast<CameraFilterModel *>(m_view->model());
        CameraModel *model = m_filter->sourceModel();
        PaintClock paints(m_view->viewport());
        m_paints = &paints;
        StallMeter stalls;
        QElapsedTimer clock;

        int probes = 0;
        int foundInFirstRound = 0;
        QObject::connect(&window, &CameraClient::startScan, [&] {
            if (++probes == 2)
                foundInFirstRound = model->rowCount();
        });
        stalls.restart();
        clock.start();
        button(window, "pbScan")->click();
        const bool allFound = runEventsUntil([&] { return model->rowCount() >= m_cameras; }, 12000);
        figures["scan: all found ms"] = double(clock.elapsed());
        figures["scan: found in first round"] = foundInFirstRound > 0 ? foundInFirstRound : model->rowCount();
        figures["scan: longest stall ms"] = double(stalls.worstMs());
        if (!allFound) {
            std::fprintf(stderr, "only %d of %d cameras found\n", model->rowCount(), m_cameras);
            return false;
        }

        figures["expand all (cameras) ms"] = timed([&] { button(window, "pbExpand")->click(); });

        int filled = 0;
        QObject::connect(model, &QAbstractItemModel::rowsInserted, [&](const QModelIndex &parent) {
            if (parent.parent().isValid() && !parent.parent().parent().isValid())
                ++filled;
        });
        window.findChild<QLineEdit *>(QStringLiteral("leWebUser"))->setText(QStringLiteral("admin"));
        window.findChild<QLineEdit *>(QStringLiteral("leWebPassword"))->setText(QStringLiteral("admin"));
        MessageBox::setNextAnswer(QMessageBox::Ok);
        const double clientCpu = cpuMs(QCoreApplication::applicationPid());
        const double simulatorCpu = simulatorsCpuMs(simulators);
        stalls.restart();
        clock.restart();
        button(window, "pbSetWebCredentials")->click();
        const int categories = m_cameras * CameraItem::CategoryCount;
        const bool allFilled = runEventsUntil([&] { return filled >= categories; }, 60000);
        figures["fill: all categories ms"] = double(clock.elapsed());
        figures["fill: longest stall ms"] = double(stalls.worstMs());
        figures["fill: processor time, window ms"] = cpuMs(QCoreApplication::applicationPid()) - clientCpu;
        figures["fill: processor time, simulators ms"] = simulatorsCpuMs(simulators) - simulatorCpu;
        if (!allFilled) {
            std::fprintf(stderr, "only %d of %d categories filled\n", filled, categories);
            return false;
        }

        figures["expand all (filled) ms"] = timed([&] { button(window, "pbExpand")->click(); });
        figures["rows shown"] = double(shownRows());
        QElapsedTimer layout;
        layout.start();
        m_view->doItemsLayout();
        figures["one layout of the view ms"] = double(layout.elapsed());

        if (m_typeFilter) {
            auto *field = window.findChild<QLineEdit *>(QStringLiteral("lePropertyFilter"));
            typeFilter(field, "anpr", figures, "filter \"anpr\"");
            typeFilter(field, QString(), figures, "clear filter");
            typeFilter(field, "zzz", figures, "filter \"zzz\"");
            typeFilter(field, QString(), figures, "clear again");
        }

        stalls.restart();
        button(window, "pbRefresh")->click();
        runEventsFor(8000);
        figures["refresh: longest stall ms"] = double(stalls.worstMs());

        stalls.restart();
        runEventsFor(kPollingMs);
        figures["polling: longest stall ms"] = double(stalls.worstMs());
        simulators[0].switchWebApi();
        stalls.restart();
        runEventsFor(kPollingMs);
        figures["polling, a tenth gone: longest stall ms"] = double(stalls.worstMs());
        simulators[0].switchWebApi();
        stalls.restart();
        runEventsFor(kPollingMs);
        figures["polling, back: longest stall ms"] = double(stalls.worstMs());
        return true;
    }

private:
    static QPushButton *button(CameraClient &window, const char *name)
    {
        return window.findChild<QPushButton *>(QLatin1String(name));
    }

    // Runs action and the events it leaves until the view has painted its result.
    double timed(const std::function<void()> &action)
    {
        QElapsedTimer clock;
        clock.start();
        const qint64 start = m_paints->nowMs();
        action();
        m_view->viewport()->update();
        runEventsUntil([&] { return m_paints->lastPaintEndMs() > start; }, 60000);
        return double(clock.elapsed());
    }

    int shownRows(const QModelIndex &parent = {}) const
    {
        int rows = 0;
        for (int row = 0; row < m_filter->rowCount(parent); ++row) {
            const QModelIndex index = m_filter->index(row, 0, parent);
            rows += 1 + (m_view->isExpanded(index) ? shownRows(index) : 0);
        }
        return rows;
    }

    // Types text one key at a time as a person does (or clears the field with one key), and notes
    // the longest stall while typing and how long after the last key the result was on screen.
    void typeFilter(QLineEdit *field, const QString &text, Figures &figures, const std::string &name)
    {
        field->setFocus();
        StallMeter stalls;
        qint64 longestKey = 0;
        stalls.restart();
        QElapsedTimer key;
        if (text.isEmpty()) {
            field->selectAll();
            key.start();
            QTest::keyClick(field, Qt::Key_Backspace);
            longestKey = key.elapsed();
        }
        for (const QChar character : text) {
            runEventsFor(kKeyGapMs);
            key.start();
            QTest::keyClick(field, character.toLatin1());
            longestKey = std::max(longestKey, key.elapsed());
        }
        const qint64 lastKey = m_paints->nowMs();
        runEventsUntil([&] { return m_filter->filterPattern() == text; }, 60000);
        const qint64 restored = m_paints->nowMs();
        m_view->viewport()->update();
        runEventsUntil([&] { return m_paints->lastPaintEndMs() > restored; }, 60000);
        figures[name + ": on screen after last key ms"] = double(m_paints->lastPaintEndMs() - lastKey);
        runEventsFor(300);
        figures[name + ": longest key ms"] = double(longestKey);
        figures[name + ": longest stall ms"] = double(stalls.worstMs());
        figures[name + ": rows shown"] = double(shownRows());
    }

    int m_cameras;
    bool m_typeFilter;
    QTreeView *m_view = nullptr;
    CameraFilterModel *m_filter = nullptr;
    PaintClock *m_paints = nullptr;
};

bool startFleet(std::array<SimulatorProcess, 3> &simulators, int cameras)
{
    const int perNetwork = cameras / 2;
    const int tenth = cameras / 10;
    // A tenth of the cameras on a simulator of their own, so that they can stop answering alone.
    return simulators[0].start(1, {}, {"--fleet", QString::number(tenth), "--network", "1"}, 120000)
        && simulators[1].start(1, {}, {"--fleet", QString::number(perNetwork - tenth), "--network", "1",
                                       "--fleet-start", QString::number(tenth)}, 120000)
        && simulators[2].start(2, {}, {"--fleet", QString::number(perNetwork), "--network", "2"}, 120000);
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values.at(values.size() / 2);
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QTemporaryDir settings;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(settings.path()));
    QApplication app(argc, argv);

    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption sizesOption("sizes", "Fleet sizes, comma-separated.", "list", "100,250,500,1000");
    const QCommandLineOption roundsOption("rounds", "Rounds per size.", "n", "3");
    const QCommandLineOption noFilterOption("no-filter", "Leave out typing the filter.");
    parser.addOptions({sizesOption, roundsOption, noFilterOption});
    parser.process(app);

    if (!Lab::isInside()) {
        std::fprintf(stderr, "run me inside the network lab: NETLAB_CAMERA_COUNT=500 lab/netlab %s\n", argv[0]);
        return 2;
    }
    const int rounds = parser.value(roundsOption).toInt();
    for (const QString &sizeText : parser.value(sizesOption).split(QLatin1Char(','))) {
        const int cameras = sizeText.toInt();
        if (cameras / 2 > Lab::cameraCount() || cameras < 20) {
            std::fprintf(stderr, "%d cameras need NETLAB_CAMERA_COUNT of at least %d (and 20 at least)\n", cameras,
                         cameras / 2);
            return 2;
        }
        std::array<SimulatorProcess, 3> simulators;
        if (!startFleet(simulators, cameras))
            return 1;

        std::map<std::string, std::vector<double>> series;
        for (int round = 1; round <= rounds; ++round) {
            Figures figures;
            if (!Round(cameras, !parser.isSet(noFilterOption)).run(simulators, figures))
                return 1;
            for (const auto &[name, value] : figures)
                series[name].push_back(value);
        }
        std::printf("\n%d cameras, %d rounds: best / median / worst\n", cameras, rounds);
        for (const auto &[name, values] : series) {
            const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
            std::printf("  %-48s %9.0f %9.0f %9.0f\n", name.c_str(), *lowest, median(values), *highest);
        }
        for (const std::string name : {"fill: all categories ms", "filter \"anpr\": on screen after last key ms"}) {
            if (series.count(name))
                std::printf("  %-48s %9.3f per camera (median)\n", name.c_str(), median(series[name]) / cameras);
        }
        std::fflush(stdout);
    }
    return 0;
}
