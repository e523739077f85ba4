#pragma once

#include <QAbstractTableModel>

// The table model meant for the entries of one access list. It holds no entries yet:
// the list editor does not load them from the cameras.
class AccessEntryModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit AccessEntryModel(QObject *parent = nullptr);
    ~AccessEntryModel() override;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
};
