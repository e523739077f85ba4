#include "OpenFilesLimit.h"

#include <QtGlobal>

#include <cerrno>
#include <cstring>
#include <limits>
#include <sys/resource.h>

namespace {

quint64 toNumber(rlim_t value)
{
    return value == RLIM_INFINITY ? std::numeric_limits<quint64>::max() : quint64(value);
}

} // namespace

quint64 OpenFilesLimit::raise()
{
    struct rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        qWarning("%s: cannot read the open files limit: %s", program_invocation_short_name, std::strerror(errno));
        return 0;
    }
    if (limit.rlim_cur == limit.rlim_max)
        return toNumber(limit.rlim_cur);
    const rlim_t soft = limit.rlim_cur;
    limit.rlim_cur = limit.rlim_max;
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        qWarning("%s: cannot raise the open files limit from %llu to %llu: %s", program_invocation_short_name,
                 static_cast<unsigned long long>(soft), static_cast<unsigned long long>(limit.rlim_max),
                 std::strerror(errno));
        return toNumber(soft);
    }
    return toNumber(limit.rlim_cur);
}

quint64 OpenFilesLimit::current()
{
    struct rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 0;
    return toNumber(limit.rlim_cur);
}

QString OpenFilesLimit::reachedMessage()
{
    return QStringLiteral(
               "The program may keep at most %1 files and network connections open at once (its open "
               "files limit, \"ulimit -n\"), and it has reached that limit: some cameras could not be "
               "reached. It raises that limit to the hard limit (\"ulimit -Hn\") when it starts, so "
               "raise the hard limit, for example with the line \"* hard nofile 65536\" in "
               "/etc/security/limits.conf or DefaultLimitNOFILE=65536 in /etc/systemd/system.conf and "
               "/etc/systemd/user.conf, then log in again and restart the program.")
        .arg(current());
}
