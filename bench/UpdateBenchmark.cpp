// Updates many simulated cameras at once: one thread per task, every task's init() released by
// one signal. Measures the streaming UpdateTask and,
// in the same run, the whole-token task it replaced. Each batch runs in a child process of
// its own, so that the peak resident memory reported is that batch's alone.
//
//   lab/netlab update-benchmark [--rounds N] [--cameras N] [--size-mib N] [--large-mib N]
//
// The simulator in the lab's first camera namespace verifies every token.

#include "CameraModel.h"
#include "Lab.h"
#include "SimulatorProcess.h"
#include "UpdateTask.h"
#include "UpdateToken.h"
#include "WholeTokenTask.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <array>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

constexpr quint16 kUpdatePort = 4799;
const QString kStreaming = QStringLiteral("streaming");
const QString kWhole = QStringLiteral("whole-token");

struct BatchResult
{
    double seconds = 0;
    qint64 peakKiB = 0;
};

void ensure(bool ok, const QString &what)
{
    if (!ok)
        throw std::runtime_error(what.toStdString());
}

QString serial(int index)
{
    return QStringLiteral("BENCH-%1").arg(index + 1, 2, 10, QLatin1Char('0'));
}

qint64 peakKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    ensure(status.open(QIODevice::ReadOnly | QIODevice::Text), QStringLiteral("cannot read /proc/self/status"));
    for (QByteArray line = status.readLine(); !line.isEmpty(); line = status.readLine()) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

// The child's work: one task and one thread per camera, all started by the timer's one signal.
// Prints "result <milliseconds> <peak KiB>"; any task that does not end with status 0 fails it.
template <typename Task>
int runBatch(const QString &path, int cameras)
{
    CameraModel model;
    QTimer release;
    release.setSingleShot(true);
    QElapsedTimer clock;
    QObject::connect(&release, &QTimer::timeout, &release, [&clock] { clock.start(); });
    QEventLoop loop;
    int ended = 0;
    QStringList failures;
    std::vector<std::unique_ptr<QThread>> threads;
    std::vector<Task *> tasks;
    const QString key = deriveUpdateKey(QStringLiteral("admin"), QStringLiteral("admin"));
    for (int i = 0; i < cameras; ++i) {
        const std::time_t now = std::time(nullptr);
        model.addCamera(Lab::cameraIPv4(1, i), {{QStringLiteral("S/N"), serial(i)}}, *std::localtime(&now));
        const QSharedPointer<CameraItem> camera = model.findCamera(serial(i), Lab::cameraIPv4(1, i));
        threads.push_back(std::make_unique<QThread>());
        auto *task = new Task(camera, path, kUpdatePort, key);
        task->moveToThread(threads.back().get());
        QObject::connect(&release, &QTimer::timeout, task, &Task::init);
        QObject::connect(task, &Task::updateStatus, &loop, [&, camera](int code) {
            if (code != 0)
                failures << camera->addressText() + QStringLiteral(": status %1").arg(code);
            if (++ended == cameras)
                loop.quit();
        });
        QObject::connect(task, &Task::error, &loop, [&](const QString &text) {
            failures << text;
            if (++ended == cameras)
                loop.quit();
        });
        tasks.push_back(task);
        threads.back()->start();
    }
    release.start(0);
    loop.exec();
    const double seconds = double(clock.nsecsElapsed()) / 1e9;
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        tasks[i]->deleteLater();
        threads[i]->quit();
        threads[i]->wait();
    }
    QTextStream out(stdout);
    for (const QString &failure : std::as_const(failures))
        out << "failure " << failure << '\n';
    out << "result " << qint64(seconds * 1000) << ' ' << peakKiB() << '\n';
    return failures.isEmpty() ? 0 : 1;
}

void makeFile(const QString &path, qint64 size)
{
    QFile file(path);
    ensure(file.open(QIODevice::WriteOnly), QStringLiteral("cannot create ") + path);
    std::vector<quint32> block(1 << 18);
    for (qint64 written = 0; written < size;) {
        QRandomGenerator::global()->fillRange(block.data(), block.size());
        const qint64 piece = std::min<qint64>(qint64(block.size() * sizeof(quint32)), size - written);
        ensure(file.write(reinterpret_cast<const char *>(block.data()), piece) == piece,
               QStringLiteral("cannot write ") + path);
        written += piece;
    }
}

// Runs one batch in a child process and checks that the simulator accepted every token.
BatchResult measure(SimulatorProcess &simulator, const QString &variant, const QString &path, int cameras)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--batch"), variant, path, QString::number(cameras)});
    ensure(child.waitForFinished(30 * 60 * 1000), variant + QStringLiteral(" batch did not end"));
    const QString output = QString::fromUtf8(child.readAllStandardOutput());
    ensure(child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0,
           variant + QStringLiteral(" batch failed: ") + output.trimmed());
    const QStringList result = output.trimmed().split(QLatin1Char('\n')).last().split(QLatin1Char(' '));
    ensure(result.size() == 3 && result[0] == QLatin1String("result"), QStringLiteral("no result: ") + output);
    const qint64 size = QFile(path).size();
    for (int i = 0; i < cameras; ++i) {
        const QString line = simulator.waitForLine(QStringLiteral("updated ") + serial(i) + QLatin1Char(' '), 60000);
        ensure(line == QStringLiteral("updated %1 %2").arg(serial(i)).arg(size),
               QStringLiteral("the simulator did not accept the token of ") + serial(i));
    }
    return {result[1].toDouble() / 1000, result[2].toLongLong()};
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double best(const std::vector<double> &values, bool highest)
{
    return highest ? *std::max_element(values.begin(), values.end()) : *std::min_element(values.begin(), values.end());
}

void report(QTextStream &out, const QString &variant, const std::vector<BatchResult> &results, double totalMiB)
{
    std::vector<double> seconds;
    std::vector<double> rates;
    std::vector<double> peaks;
    for (const BatchResult &result : results) {
        seconds.push_back(result.seconds);
        rates.push_back(totalMiB / result.seconds);
        peaks.push_back(double(result.peakKiB) / 1024);
    }
    out << qSetFieldWidth(12) << Qt::left << variant << qSetFieldWidth(0) << " wall time best " << best(seconds, false)
        << " s, median " << median(seconds) << " s; throughput best " << best(rates, true) << " MiB/s, median "
        << median(rates) << " MiB/s; peak resident memory best " << best(peaks, false) << " MiB, median "
        << median(peaks) << " MiB, worst " << best(peaks, true) << " MiB\n";
}

int orchestrate(const QCommandLineParser &parser)
{
    QTextStream out(stdout);
    out << Qt::fixed << qSetRealNumberPrecision(1);
    if (!Lab::isInside()) {
        out << "run it inside the network lab: lab/netlab " << QCoreApplication::applicationFilePath() << '\n';
        return 2;
    }
    const int rounds = parser.value(QStringLiteral("rounds")).toInt();
    const int cameras = parser.value(QStringLiteral("cameras")).toInt();
    const qint64 size = parser.value(QStringLiteral("size-mib")).toLongLong() << 20;
    const qint64 largeSize = parser.value(QStringLiteral("large-mib")).toLongLong() << 20;
    ensure(rounds > 0 && cameras > 0 && cameras <= Lab::cameraCount() && size > 0,
           QStringLiteral("bad --rounds, --cameras or --size-mib"));

    QStringList cameraTexts;
    for (int i = 0; i < cameras; ++i)
        cameraTexts << Lab::cameraText(1, i, serial(i));
    SimulatorProcess simulator;
    simulator.setStoringFiles(false);
    // Long enough for the whole-token task, which sends nothing until its token is complete.
    ensure(simulator.start(1, cameraTexts, {QStringLiteral("--read-timeout-ms"), QStringLiteral("600000")}),
           QStringLiteral("the simulator did not start"));

    QTemporaryDir directory;
    ensure(directory.isValid(), QStringLiteral("cannot create a temporary directory"));
    const QString path = directory.filePath(QStringLiteral("update.bin"));
    makeFile(path, size);
    const double totalMiB = double(size) * cameras / double(1 << 20);
    out << cameras << " cameras, " << (size >> 20) << " MiB each, " << rounds
        << " rounds of one streaming and one whole-token batch\n";
    std::vector<BatchResult> streaming;
    std::vector<BatchResult> whole;
    for (int round = 1; round <= rounds; ++round) {
        for (const QString &variant : {kStreaming, kWhole}) {
            const BatchResult result = measure(simulator, variant, path, cameras);
            (variant == kStreaming ? streaming : whole).push_back(result);
            out << "round " << round << ' ' << variant << ": " << result.seconds << " s, "
                << totalMiB / result.seconds << " MiB/s, peak " << double(result.peakKiB) / 1024 << " MiB\n";
            out.flush();
        }
    }
    report(out, kStreaming, streaming, totalMiB);
    report(out, kWhole, whole, totalMiB);

    if (largeSize > 0) {
        QFile::remove(path);
        makeFile(path, largeSize);
        out << "one camera, " << (largeSize >> 20) << " MiB\n";
        for (const QString &variant : {kStreaming, kWhole}) {
            try {
                const BatchResult result = measure(simulator, variant, path, 1);
                out << variant << ": " << result.seconds << " s, " << double(largeSize >> 20) / result.seconds
                    << " MiB/s, peak " << double(result.peakKiB) / 1024 << " MiB\n";
            } catch (const std::exception &failure) {
                out << variant << ": " << failure.what() << '\n';
            }
            out.flush();
        }
    }
    return 0;
}

}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({
        {QStringLiteral("rounds"), QStringLiteral("Batches of each kind."), QStringLiteral("n"), QStringLiteral("3")},
        {QStringLiteral("cameras"), QStringLiteral("Cameras per batch."), QStringLiteral("n"), QStringLiteral("20")},
        {QStringLiteral("size-mib"), QStringLiteral("Update file size."), QStringLiteral("MiB"), QStringLiteral("100")},
        {QStringLiteral("large-mib"), QStringLiteral("Size of the file for one camera afterwards, 0 for none."),
         QStringLiteral("MiB"), QStringLiteral("2048")},
        {QStringLiteral("batch"), QStringLiteral("Internal: run one batch of this kind."), QStringLiteral("kind")},
    });
    parser.addHelpOption();
    parser.process(app);
    try {
        if (!parser.isSet(QStringLiteral("batch")))
            return orchestrate(parser);
        const QStringList arguments = parser.positionalArguments();
        ensure(arguments.size() == 2, QStringLiteral("--batch KIND FILE CAMERAS"));
        if (parser.value(QStringLiteral("batch")) == kStreaming)
            return runBatch<UpdateTask>(arguments[0], arguments[1].toInt());
        return runBatch<WholeTokenTask>(arguments[0], arguments[1].toInt());
    } catch (const std::exception &failure) {
        QTextStream(stderr) << "benchmark failed: " << failure.what() << '\n';
        return 1;
    }
}
