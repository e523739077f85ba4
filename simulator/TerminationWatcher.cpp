#include "TerminationWatcher.h"

#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

int TerminationWatcher::s_fds[2] = {-1, -1};

TerminationWatcher::TerminationWatcher(QObject *parent)
    : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, s_fds) != 0)
        return;
    m_notifier = new QSocketNotifier(s_fds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TerminationWatcher::onActivated);

    struct sigaction action = {};
    action.sa_handler = &TerminationWatcher::handleSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

TerminationWatcher::~TerminationWatcher()
{
    if (!m_notifier)
        return;
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    delete m_notifier;
    ::close(s_fds[0]);
    ::close(s_fds[1]);
    s_fds[0] = s_fds[1] = -1;
}

void TerminationWatcher::handleSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(s_fds[0], &byte, 1);
}

void TerminationWatcher::onActivated()
{
    char byte = 0;
    [[maybe_unused]] const ssize_t bytesRead = ::read(s_fds[1], &byte, 1);
    emit terminationRequested();
}
