#pragma once

#include <QHash>
#include <QString>

#include <deque>
#include <functional>

// Lets each camera have only a few requests on the way at once; the others wait their turn in
// the order they were made. Left alone, the network layer opens up to six connections to each
// camera: a thousand cameras would hold thousands of sockets, each watched on every turn of the
// network thread, beyond an ordinary user's limit of open files. Two at a time keep a long
// download from holding up a camera's other requests.
class RequestQueue
{
public:
    static constexpr int kPerHost = 2;
    using Send = std::function<void()>;

    // Sends at once when the host has room, otherwise when an earlier request to it has finished.
    void send(const QString &host, Send send);
    // Call once for every request sent when its reply has finished, whatever its outcome.
    void finished(const QString &host);

private:
    struct Host
    {
        int onTheWay = 0;
        std::deque<Send> waiting;
    };
    QHash<QString, Host> m_hosts;
};
