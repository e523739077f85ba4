#pragma once

#include "SiteChange.h"

#include <QAbstractTableModel>

// The changes of a report, one row each: kind, serial, property, before, after.
class SiteChangeModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    using QAbstractTableModel::QAbstractTableModel;

    void setChanges(const QList<SiteChange> &changes);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    QList<SiteChange> m_changes;
};
