#include "SiteChangeModel.h"

namespace {

enum Column { Kind, Serial, Subject, Before, After, ColumnCount };

} // namespace

void SiteChangeModel::setChanges(const QList<SiteChange> &changes)
{
    beginResetModel();
    m_changes = changes;
    endResetModel();
}

int SiteChangeModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_changes.size());
}

int SiteChangeModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant SiteChangeModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || role != Qt::DisplayRole || index.row() >= m_changes.size())
        return QVariant();
    const SiteChange &change = m_changes.at(index.row());
    switch (index.column()) {
    case Kind:
        return SiteChange::title(change.kind);
    case Serial:
        return change.serial;
    case Subject:
        return change.subject;
    case Before:
        return change.before;
    case After:
        return change.after;
    default:
        return QVariant();
    }
}

QVariant SiteChangeModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static const char *const titles[ColumnCount] = {"Change", "Serial", "Property", "Before", "After"};
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= ColumnCount)
        return QVariant();
    return QString::fromLatin1(titles[section]);
}
