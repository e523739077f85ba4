#include "AccessEntryModel.h"

AccessEntryModel::AccessEntryModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

AccessEntryModel::~AccessEntryModel() = default;

int AccessEntryModel::rowCount(const QModelIndex &) const
{
    return 0;
}

int AccessEntryModel::columnCount(const QModelIndex &) const
{
    return 0;
}

QVariant AccessEntryModel::data(const QModelIndex &, int) const
{
    return {};
}
