#include "SignalWatcher.h"

#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

int SignalWatcher::s_fds[2] = {-1, -1};

SignalWatcher::SignalWatcher(QObject *parent)
    : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, s_fds) != 0)
        return;
    m_notifier = new QSocketNotifier(s_fds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &SignalWatcher::onActivated);

    struct sigaction action = {};
    action.sa_handler = &SignalWatcher::handleSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGUSR1, &action, nullptr);
    sigaction(SIGUSR2, &action, nullptr);
}

SignalWatcher::~SignalWatcher()
{
    if (!m_notifier)
        return;
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGUSR1, SIG_DFL);
    std::signal(SIGUSR2, SIG_DFL);
    delete m_notifier;
    ::close(s_fds[0]);
    ::close(s_fds[1]);
    s_fds[0] = s_fds[1] = -1;
}

void SignalWatcher::handleSignal(int signalNumber)
{
    const char byte = static_cast<char>(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(s_fds[0], &byte, 1);
}

void SignalWatcher::onActivated()
{
    char byte = 0;
    if (::read(s_fds[1], &byte, 1) != 1)
        return;
    if (byte == SIGUSR1)
        emit webSilenceToggleRequested();
    else if (byte == SIGUSR2)
        emit sessionsEndRequested();
    else
        emit terminationRequested();
}
