#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM and SIGINT, SIGUSR1 and SIGUSR2, into Qt signals. The handler only writes the signal's
// number to a socket pair; the event loop picks it up, so shutdown runs as ordinary code and
// leak checkers see a clean exit. Only one instance may exist.
class SignalWatcher : public QObject
{
    Q_OBJECT

public:
    explicit SignalWatcher(QObject *parent = nullptr);
    ~SignalWatcher() override;

    bool isWatching() const { return m_notifier != nullptr; }

signals:
    void terminationRequested();
    // SIGUSR1: tests switch the Web-API of every camera off and on again with it.
    void webSilenceToggleRequested();
    // SIGUSR2: tests end every Web-API session with it, as a camera's restart would.
    void sessionsEndRequested();

private:
    static void handleSignal(int signalNumber);
    void onActivated();

    static int s_fds[2];
    QSocketNotifier *m_notifier = nullptr;
};
