#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM and SIGINT into a Qt signal. The handler only writes a byte to a socket pair;
// the event loop picks it up, so shutdown runs as ordinary code and leak checkers see a clean
// exit. Only one instance may exist.
class TerminationWatcher : public QObject
{
    Q_OBJECT

public:
    explicit TerminationWatcher(QObject *parent = nullptr);
    ~TerminationWatcher() override;

    bool isWatching() const { return m_notifier != nullptr; }

signals:
    void terminationRequested();

private:
    static void handleSignal(int signalNumber);
    void onActivated();

    static int s_fds[2];
    QSocketNotifier *m_notifier = nullptr;
};
