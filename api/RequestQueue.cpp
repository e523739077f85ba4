#include "RequestQueue.h"

void RequestQueue::send(const QString &host, Send send)
{
    Host &entry = m_hosts[host];
    if (entry.onTheWay >= kPerHost) {
        entry.waiting.push_back(std::move(send));
        return;
    }
    ++entry.onTheWay;
    send();
}

void RequestQueue::finished(const QString &host)
{
    const auto entry = m_hosts.find(host);
    if (entry == m_hosts.end())
        return;
    if (entry->waiting.empty()) {
        if (--entry->onTheWay == 0)
            m_hosts.erase(entry);
        return;
    }
    // The finished request's place goes to the next one.
    const Send next = std::move(entry->waiting.front());
    entry->waiting.pop_front();
    next();
}
