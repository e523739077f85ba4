#include "SimulatorProcess.h"

#include "Lab.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

SimulatorProcess::SimulatorProcess(QObject *parent)
    : QObject(parent)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // The simulator dies with the test, however the test ends: killed, it would otherwise leave
    // its cameras running. The signal is sent when the thread that started the child ends.
    const pid_t test = getpid();
    m_process.setChildProcessModifier([test] {
        if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != test)
            _exit(127);
    });
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &SimulatorProcess::onReadyRead);
}

SimulatorProcess::~SimulatorProcess()
{
    stop();
}

bool SimulatorProcess::start(int network, const QStringList &cameraTexts,
                             const QStringList &extraArgs, int timeoutMs)
{
    const QString cameraNamespace = Lab::cameraNamespace(network);
    if (cameraNamespace.isEmpty()) {
        qWarning("SimulatorProcess: no camera namespace %d (not inside lab/netlab?)", network);
        return false;
    }
    if (m_process.state() != QProcess::NotRunning) {
        qWarning("SimulatorProcess: already running");
        return false;
    }

    QStringList arguments = {QStringLiteral("--net=") + cameraNamespace, Lab::simulatorPath()};
    if (m_storing)
        arguments << QStringLiteral("--store") << m_storeDir.path();
    for (const QString &text : cameraTexts)
        arguments << QStringLiteral("--camera") << text;
    arguments += extraArgs;
    m_process.start(QStringLiteral("nsenter"), arguments);

    if (waitForLine(QStringLiteral("ready"), timeoutMs).isNull()) {
        qWarning("SimulatorProcess: simulator on network %d did not become ready", network);
        stop();
        return false;
    }
    return true;
}

void SimulatorProcess::setStoringFiles(bool storing)
{
    m_storing = storing;
}

int SimulatorProcess::stop(int timeoutMs)
{
    if (m_process.state() == QProcess::NotRunning)
        return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    m_process.terminate();
    if (!m_process.waitForFinished(timeoutMs)) {
        m_process.kill();
        m_process.waitForFinished(timeoutMs);
        return -1;
    }
    onReadyRead();
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

qint64 SimulatorProcess::processId() const
{
    return m_process.processId();
}

bool SimulatorProcess::switchWebApi()
{
    // nsenter only enters the network namespace, so it runs the simulator in its own process.
    return m_process.state() == QProcess::Running && ::kill(pid_t(processId()), SIGUSR1) == 0;
}

bool SimulatorProcess::endSessions()
{
    return m_process.state() == QProcess::Running && ::kill(pid_t(processId()), SIGUSR2) == 0;
}

QString SimulatorProcess::waitForLine(const QString &prefix, int timeoutMs)
{
    QString line = takeLine(prefix);
    if (!line.isNull() || m_process.state() == QProcess::NotRunning)
        return line;

    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(&m_process, &QProcess::finished, &loop, &QEventLoop::quit);
    connect(&m_process, &QProcess::errorOccurred, &loop, [&loop](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            loop.quit();
    });
    connect(this, &SimulatorProcess::lineReceived, &loop, [&loop, &prefix](const QString &text) {
        if (text.startsWith(prefix))
            loop.quit();
    });
    timer.start(timeoutMs);
    loop.exec();
    return takeLine(prefix);
}

QStringList SimulatorProcess::lines(const QString &prefix) const
{
    QStringList matching;
    for (const QString &line : m_lines) {
        if (line.startsWith(prefix))
            matching += line;
    }
    return matching;
}

QString SimulatorProcess::storeDir() const
{
    return m_storeDir.path();
}

QByteArray SimulatorProcess::storedFile(const QString &serial) const
{
    QFile file(QDir(m_storeDir.path()).filePath(serial + QStringLiteral(".bin")));
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

void SimulatorProcess::onReadyRead()
{
    while (m_process.canReadLine()) {
        const QString line = QString::fromUtf8(m_process.readLine()).chopped(1);
        m_lines += line;
        m_taken += false;
        emit lineReceived(line);
    }
}

QString SimulatorProcess::takeLine(const QString &prefix)
{
    for (qsizetype i = 0; i < m_lines.size(); ++i) {
        if (!m_taken.at(i) && m_lines.at(i).startsWith(prefix)) {
            m_taken[i] = true;
            return m_lines.at(i);
        }
    }
    return QString();
}
