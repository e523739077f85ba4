#include "FilterRefresher.h"

#include <QSortFilterProxyModel>

FilterRefresher::FilterRefresher(QSortFilterProxyModel *proxy, QAbstractItemModel *model, QObject *parent)
    : QObject(parent)
    , m_proxy(proxy)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(kIntervalMs);
    connect(&m_timer, &QTimer::timeout, this, &FilterRefresher::refresh);
    connect(model, &QAbstractItemModel::rowsInserted, this, [this](const QModelIndex &parent) {
        if (!parent.isValid())
            m_camerasArrived = true;
    });
    connect(model, &QAbstractItemModel::modelReset, this, [this] { m_camerasArrived = false; });
}

void FilterRefresher::request()
{
    if (!m_timer.isActive())
        m_timer.start();
}

void FilterRefresher::refresh()
{
    // Without a filter every row shows anyway, whatever the filter's bookkeeping says.
    if (!m_camerasArrived || m_proxy->filterRegularExpression().pattern().isEmpty())
        return;
    m_camerasArrived = false;
    m_proxy->invalidate();
}
