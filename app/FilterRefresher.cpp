#include "FilterRefresher.h"

#include <QSortFilterProxyModel>

FilterRefresher::FilterRefresher(QSortFilterProxyModel *proxy, QObject *parent)
    : QObject(parent)
    , m_proxy(proxy)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(kDefaultIntervalMs);
    connect(&m_timer, &QTimer::timeout, m_proxy, &QSortFilterProxyModel::invalidate);
}

void FilterRefresher::request()
{
    if (!m_timer.isActive())
        m_timer.start();
}
