#include "StatusFilter.h"

#include "CameraList.h"

StatusFilter::StatusFilter(int status, QObject *parent)
    : QSortFilterProxyModel(parent)
    , m_status(status)
{
}

StatusFilter::~StatusFilter() = default;

bool StatusFilter::filterAcceptsRow(int source_row, const QModelIndex &source_parent) const
{
    // A missing index reads as status 0, the status of an available camera.
    const QModelIndex index = sourceModel()->index(source_row, 0, source_parent);
    return index.data(CameraList::StatusRole).toInt() == m_status;
}
