#pragma once

#include <QByteArray>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A camera-simulator running in one of the lab's camera namespaces. Collects the simulator's
// stdout lines (formats in "camera-simulator --help"); its stderr goes to the test's stderr.
// Accepted update files land in storeDir(). Two instances, one per network, may run at once.
// The simulator is killed when the thread that started it ends, the test process included.
class SimulatorProcess : public QObject
{
    Q_OBJECT

public:
    explicit SimulatorProcess(QObject *parent = nullptr);
    // Stops a running simulator (SIGTERM, bounded wait, then SIGKILL) and checks nothing.
    ~SimulatorProcess() override;

    // Starts the simulator in camera namespace `network`, one --camera per camera text, and waits
    // until it reports "ready". False when it cannot start, exits or is not ready in time.
    bool start(int network, const QStringList &cameraTexts, const QStringList &extraArgs = {},
               int timeoutMs = 10000);
    // Whether the next start() has the simulator keep accepted files in storeDir() (the default).
    void setStoringFiles(bool storing);
    // Terminates the simulator and returns its exit code, or -1 when it had to be killed or
    // did not exit normally.
    int stop(int timeoutMs = 5000);

    qint64 processId() const;
    // Switches the Web-API of every camera of this simulator off, or on again (SIGUSR1).
    bool switchWebApi();
    // Ends every Web-API session of every camera of this simulator (SIGUSR2).
    bool endSessions();

    // Waits for the earliest line starting with prefix that no earlier call has returned, and
    // returns it; a null string when none arrives within the time-out.
    QString waitForLine(const QString &prefix, int timeoutMs = 5000);
    // Every line received so far, or those starting with prefix.
    QStringList lines(const QString &prefix = QString()) const;

    QString storeDir() const;
    // The last accepted update file of the camera with this serial; null when there is none.
    QByteArray storedFile(const QString &serial) const;

signals:
    void lineReceived(const QString &line);

private:
    void onReadyRead();
    QString takeLine(const QString &prefix);

    QProcess m_process;
    QTemporaryDir m_storeDir;
    QStringList m_lines;
    QList<bool> m_taken;
    bool m_storing = true;
};
