#pragma once

#include "CameraItem.h"

#include <QAbstractListModel>

// A flat list of cameras with a status number per row, for the dialogs that work
// through several cameras. The list itself belongs to the dialog.
class CameraList : public QAbstractListModel
{
    Q_OBJECT

public:
    struct Entry
    {
        int status = 0;
        QSharedPointer<CameraItem> camera;
    };
    using Entries = QList<Entry>;

    static constexpr int StatusRole = 27;

    explicit CameraList(QObject *parent = nullptr);
    ~CameraList() override;

    void setList(Entries *list);
    // The caller guarantees that row is valid.
    QSharedPointer<CameraItem> &camera(int row);
    void setStatus(int row, int status);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    Entries *m_list = nullptr;
};
