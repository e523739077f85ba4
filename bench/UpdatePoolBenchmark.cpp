// Updates many simulated cameras from the real window ("Update All", the bounded pool) and,
// for comparison, all at once as the window did before: one thread per camera, each task's key
// derived on the GUI thread as it is made, every task released by one signal. Each run is a
// child process of its own, so that its peak resident memory (VmHWM) is its own; its threads
// and open file descriptors are sampled every 10 ms. The lab's two simulators verify every token.
//
//   NETLAB_CAMERA_COUNT=245 lab/netlab update-pool-benchmark [--counts 20,200,2000]
//       [--compare 20,200] [--size-kib 1024] [--transfers 16]
//
// The lab has 490 camera addresses; beyond that, the window's cameras share addresses (camera
// j is at lab address j modulo 490 under a serial of its own), and each simulated camera takes
// several update connections at once.

#include "CameraClient.h"
#include "CameraModel.h"
#include "FileDialog.h"
#include "Lab.h"
#include "MessageBox.h"
#include "SimulatorProcess.h"
#include "UpdateLauncher.h"
#include "UpdateTask.h"
#include "UpdateToken.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QRandomGenerator>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <QTimer>
#include <QTreeView>

#include <dirent.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

constexpr quint16 kUpdatePort = 4799;
constexpr int kHeartbeatMs = 5;
constexpr int kRunTimeoutMs = 30 * 60 * 1000;
const QString kPool = QStringLiteral("pool");
const QString kAllAtOnce = QStringLiteral("all-at-once");

void ensure(bool ok, const QString &what)
{
    if (!ok)
        throw std::runtime_error(what.toStdString());
}

// A value of /proc/self/status in its own unit (kB for memory).
qint64 statusValue(const char *name)
{
    QFile status(QStringLiteral("/proc/self/status"));
    ensure(status.open(QIODevice::ReadOnly | QIODevice::Text), QStringLiteral("cannot read /proc/self/status"));
    const QByteArray prefix = QByteArray(name) + ':';
    for (QByteArray line = status.readLine(); !line.isEmpty(); line = status.readLine()) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

int openDescriptors()
{
    DIR *directory = opendir("/proc/self/fd");
    if (directory == nullptr)
        return -1;
    int count = 0;
    while (const dirent *entry = readdir(directory)) {
        if (entry->d_name[0] != '.')
            ++count;
    }
    closedir(directory);
    // The directory's own descriptor.
    return count - 1;
}

// The most threads and open descriptors the process had at once, sampled on a thread of its
// own so that a blocked event loop does not hide them.
class ResourceSampler
{
public:
    ResourceSampler()
        : m_thread([this] {
            while (!m_stop) {
                m_threads = std::max(m_threads.load(), int(statusValue("Threads")));
                m_descriptors = std::max(m_descriptors.load(), openDescriptors());
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
        })
    {
    }
    ~ResourceSampler()
    {
        m_stop = true;
        m_thread.join();
    }
    int threads() const { return m_threads; }
    int descriptors() const { return m_descriptors; }

private:
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_threads{0};
    std::atomic<int> m_descriptors{0};
    std::thread m_thread;
};

// How late a steady timer fires at the worst: the longest time the event loop was kept busy.
class StallMeter : public QObject
{
public:
    StallMeter()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(kHeartbeatMs);
        connect(&m_timer, &QTimer::timeout, this,
                [this] { m_worst = std::max(m_worst, m_sinceLast.restart() - kHeartbeatMs); });
        m_sinceLast.start();
        m_timer.start();
    }
    qint64 worstMs() const { return m_worst; }

private:
    QTimer m_timer;
    QElapsedTimer m_sinceLast;
    qint64 m_worst = 0;
};

struct RunResult
{
    qint64 wallMs = 0;
    qint64 blockedMs = 0;
    qint64 stallMs = 0;
    qint64 peakKiB = 0;
    int threads = 0;
    int descriptors = 0;
    int failures = 0;
};

QTextStream &operator<<(QTextStream &out, const RunResult &result)
{
    return out << "result " << result.wallMs << ' ' << result.blockedMs << ' ' << result.stallMs << ' '
               << result.peakKiB << ' ' << result.threads << ' ' << result.descriptors << ' ' << result.failures;
}

// Camera j of a run: lab address j modulo the lab's addresses, a serial of its own.
void addCameras(CameraModel &model, int cameras)
{
    const int perNetwork = Lab::cameraCount();
    for (int j = 0; j < cameras; ++j) {
        const int address = j % (2 * perNetwork);
        model.addCamera(Lab::cameraIPv4(address / perNetwork + 1, address % perNetwork),
                        {{QStringLiteral("S/N"), QStringLiteral("POOL-%1").arg(j)}}, {});
    }
}

// "Update All" in the real window, the transfer limit taken from its setting.
RunResult runPool(const QString &path, int cameras, int transfers, int statusTimeout)
{
    QSettings settings;
    settings.setValue(QStringLiteral("cameraclient.update.paralleltransfers"), transfers);
    settings.setValue(QStringLiteral("cameraclient.update.statustimeout"), statusTimeout);
    settings.sync();
    CameraClient window(nullptr, CameraClient::Network::Offline);
    window.show();
    CameraModel *model =
        qobject_cast<CameraFilterModel *>(window.findChild<QTreeView *>(QStringLiteral("tvCameras"))->model())->sourceModel();
    addCameras(*model, cameras);
    window.findChild<QLineEdit *>(QStringLiteral("leUser"))->setText(QStringLiteral("admin"));
    window.findChild<QLineEdit *>(QStringLiteral("lePassword"))->setText(QStringLiteral("admin"));
    MessageBox::setNextAnswer(QMessageBox::Ok);
    window.findChild<QPushButton *>(QStringLiteral("pbSetAdminCredentials"))->click();
    MessageBox::reset();
    // Every failure would open a box; each is answered and counted.
    for (int i = 0; i < cameras; ++i)
        MessageBox::setNextAnswer(QMessageBox::Ok);
    FileDialog::setNextFileName(path);
    auto *progress = window.findChild<QDialog *>(QStringLiteral("StatusDialog"));
    // The window's first layout and paint are not part of the update.
    QEventLoop settle;
    QTimer::singleShot(500, &settle, &QEventLoop::quit);
    settle.exec();
    QEventLoop loop;
    QObject::connect(progress, &QDialog::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(kRunTimeoutMs, &loop, &QEventLoop::quit);

    ResourceSampler sampler;
    StallMeter stalls;
    QElapsedTimer clock;
    clock.start();
    window.findChild<QPushButton *>(QStringLiteral("pbUpdateAll"))->click();
    RunResult result;
    result.blockedMs = clock.elapsed();
    loop.exec();
    result.wallMs = clock.elapsed();
    result.stallMs = stalls.worstMs();
    result.threads = sampler.threads();
    result.descriptors = sampler.descriptors();
    for (const QSharedPointer<CameraItem> &camera : model->cameras())
        result.failures += camera->updateStatus() == 0 ? 0 : 1;
    QTextStream errors(stderr);
    for (const MessageBox::Box &box : MessageBox::takeAnswered())
        errors << box.text << '\n';
    result.peakKiB = statusValue("VmHWM");
    return result;
}

// As the window started updates before the pool: every task and its thread made at once, the
// key derived for each on the GUI thread, all released by one signal.
RunResult runAllAtOnce(const QString &path, int cameras)
{
    CameraModel model;
    addCameras(model, cameras);
    QTimer release;
    release.setSingleShot(true);
    QEventLoop loop;
    int ended = 0;
    RunResult result;
    std::vector<std::unique_ptr<QThread>> threads;
    std::vector<UpdateTask *> tasks;

    ResourceSampler sampler;
    StallMeter stalls;
    QElapsedTimer clock;
    clock.start();
    for (const QSharedPointer<CameraItem> &camera : model.cameras()) {
        threads.push_back(std::make_unique<QThread>());
        auto *task = new UpdateTask(camera, path, kUpdatePort,
                                    deriveUpdateKey(QStringLiteral("admin"), QStringLiteral("admin")));
        task->moveToThread(threads.back().get());
        QObject::connect(&release, &QTimer::timeout, task, &UpdateTask::init);
        QObject::connect(task, &UpdateTask::updateStatus, &loop, [&](int code) {
            result.failures += code == 0 ? 0 : 1;
            if (++ended == cameras)
                loop.quit();
        });
        QObject::connect(task, &UpdateTask::error, &loop, [&] {
            ++result.failures;
            if (++ended == cameras)
                loop.quit();
        });
        tasks.push_back(task);
        threads.back()->start();
    }
    release.start(0);
    result.blockedMs = clock.elapsed();
    QTimer::singleShot(kRunTimeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    result.wallMs = clock.elapsed();
    result.stallMs = stalls.worstMs();
    result.threads = sampler.threads();
    result.descriptors = sampler.descriptors();
    result.failures += cameras - ended;
    result.peakKiB = statusValue("VmHWM");
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        tasks[i]->deleteLater();
        threads[i]->quit();
        threads[i]->wait();
    }
    return result;
}

void makeFile(const QString &path, qint64 size)
{
    QFile file(path);
    ensure(file.open(QIODevice::WriteOnly), QStringLiteral("cannot create ") + path);
    QByteArray data(size, '\0');
    QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(data.data()), size / 4);
    ensure(file.write(data) == size, QStringLiteral("cannot write ") + path);
}

qsizetype acceptedTokens(SimulatorProcess (&simulators)[2])
{
    return simulators[0].lines(QStringLiteral("updated ")).size() + simulators[1].lines(QStringLiteral("updated ")).size();
}

// Runs one variant in a child process with settings of its own, and checks that the simulators
// accepted one token per camera.
RunResult measure(SimulatorProcess (&simulators)[2], const QString &variant, const QString &path, int cameras,
                  const QStringList &poolOptions)
{
    const qsizetype acceptedBefore = acceptedTokens(simulators);
    QTemporaryDir settings;
    ensure(settings.isValid(), QStringLiteral("cannot create a settings folder"));
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), settings.path());
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(),
                QStringList{QStringLiteral("--batch"), variant} + poolOptions + QStringList{path, QString::number(cameras)});
    // The simulators' output is read while the child runs; a blocking wait would leave it in
    // their pipes until they stall on writing.
    QEventLoop running;
    QObject::connect(&child, &QProcess::finished, &running, &QEventLoop::quit);
    QTimer::singleShot(kRunTimeoutMs + 60000, &running, &QEventLoop::quit);
    running.exec();
    ensure(child.state() == QProcess::NotRunning, variant + QStringLiteral(" run did not end"));
    const QString output = QString::fromUtf8(child.readAllStandardOutput()).trimmed();
    const QStringList fields = output.split(QLatin1Char('\n')).last().split(QLatin1Char(' '));
    ensure(child.exitStatus() == QProcess::NormalExit && fields.size() == 8 && fields[0] == QLatin1String("result"),
           variant + QStringLiteral(" run failed: ") + output);
    RunResult result{fields[1].toLongLong(), fields[2].toLongLong(), fields[3].toLongLong(), fields[4].toLongLong(),
                     fields[5].toInt(),      fields[6].toInt(),      fields[7].toInt()};
    if (result.failures == 0) {
        // The simulators' last lines may still be on their way.
        QEventLoop loop;
        QTimer check;
        QObject::connect(&check, &QTimer::timeout, &loop, [&] {
            if (acceptedTokens(simulators) - acceptedBefore >= cameras)
                loop.quit();
        });
        check.start(10);
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        loop.exec();
        ensure(acceptedTokens(simulators) - acceptedBefore == cameras,
               QStringLiteral("the simulators did not accept every token"));
    }
    return result;
}

int orchestrate(const QCommandLineParser &parser)
{
    QTextStream out(stdout);
    out << Qt::fixed << qSetRealNumberPrecision(1);
    if (!Lab::isInside()) {
        out << "run it inside the network lab: NETLAB_CAMERA_COUNT=245 lab/netlab "
            << QCoreApplication::applicationFilePath() << '\n';
        return 2;
    }
    const auto numbers = [&](const QString &option) {
        QList<int> values;
        for (const QString &text : parser.value(option).split(QLatin1Char(','), Qt::SkipEmptyParts))
            values.append(text.toInt());
        return values;
    };
    const QList<int> counts = numbers(QStringLiteral("counts"));
    const QList<int> compared = numbers(QStringLiteral("compare"));
    const int transfers = parser.value(QStringLiteral("transfers")).toInt();
    const int statusTimeout = parser.value(QStringLiteral("status-timeout")).toInt();
    const qint64 size = parser.value(QStringLiteral("size-kib")).toLongLong() << 10;
    ensure(size > 0 && transfers > 0 && statusTimeout > 0, QStringLiteral("bad --size-kib, --transfers or --status-timeout"));
    const QStringList poolOptions = {QStringLiteral("--transfers"), QString::number(transfers),
                                     QStringLiteral("--status-timeout"), QString::number(statusTimeout)};

    SimulatorProcess simulators[2];
    for (int network : {1, 2}) {
        simulators[network - 1].setStoringFiles(false);
        // Cameras kept waiting by the all-at-once start must not give up on their tokens.
        ensure(simulators[network - 1].start(network, {},
                                             {QStringLiteral("--fleet"), QString::number(Lab::cameraCount()),
                                              QStringLiteral("--network"), QString::number(network),
                                              QStringLiteral("--read-timeout-ms"), QStringLiteral("600000")},
                                             60000),
               QStringLiteral("the simulator did not start"));
    }
    QTemporaryDir directory;
    ensure(directory.isValid(), QStringLiteral("cannot create a temporary directory"));
    const QString path = directory.filePath(QStringLiteral("update.bin"));
    makeFile(path, size);
    out << "update file " << (size >> 10) << " KiB, " << 2 * Lab::cameraCount() << " lab addresses, pool of "
        << transfers << " transfers\n";
    for (int cameras : counts) {
        QStringList variants = {kPool};
        if (compared.contains(cameras))
            variants << kAllAtOnce;
        for (const QString &variant : std::as_const(variants)) {
            const RunResult result = measure(simulators, variant, path, cameras, variant == kPool ? poolOptions : QStringList());
            out << qSetFieldWidth(12) << Qt::left << variant << qSetFieldWidth(0) << cameras << " cameras: wall "
                << double(result.wallMs) / 1000 << " s, window blocked " << result.blockedMs << " ms, longest stall "
                << result.stallMs << " ms, peak RSS " << double(result.peakKiB) / 1024 << " MiB, threads "
                << result.threads << ", open fds " << result.descriptors << ", failed " << result.failures << '\n';
            out.flush();
        }
    }
    return 0;
}

}

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Plexano"));
    QCoreApplication::setApplicationName(QStringLiteral("Activation-Service"));
    QCommandLineParser parser;
    parser.addOptions({
        {QStringLiteral("counts"), QStringLiteral("Cameras per run of the pool."), QStringLiteral("n,..."),
         QStringLiteral("20,200,2000")},
        {QStringLiteral("compare"), QStringLiteral("Counts also run all at once."), QStringLiteral("n,..."),
         QStringLiteral("20,200")},
        {QStringLiteral("size-kib"), QStringLiteral("Update file size."), QStringLiteral("KiB"), QStringLiteral("1024")},
        {QStringLiteral("transfers"), QStringLiteral("Transfers at once in the pool."), QStringLiteral("n"),
         QString::number(UpdateLauncher::kDefaultTransferLimit)},
        {QStringLiteral("status-timeout"), QStringLiteral("Seconds the pool waits for a camera's status."),
         QStringLiteral("s"), QString::number(UpdateTask::kDefaultStatusTimeout.count())},
        {QStringLiteral("batch"), QStringLiteral("Internal: run one variant."), QStringLiteral("variant")},
    });
    parser.addHelpOption();
    parser.process(app);
    try {
        if (!parser.isSet(QStringLiteral("batch")))
            return orchestrate(parser);
        const QStringList arguments = parser.positionalArguments();
        ensure(arguments.size() == 2, QStringLiteral("--batch VARIANT FILE CAMERAS"));
        const int cameras = arguments[1].toInt();
        const RunResult result = parser.value(QStringLiteral("batch")) == kPool
            ? runPool(arguments[0], cameras, parser.value(QStringLiteral("transfers")).toInt(),
                      parser.value(QStringLiteral("status-timeout")).toInt())
            : runAllAtOnce(arguments[0], cameras);
        QTextStream out(stdout);
        out << result << '\n';
        return 0;
    } catch (const std::exception &failure) {
        QTextStream(stderr) << "benchmark failed: " << failure.what() << '\n';
        return 1;
    }
}
