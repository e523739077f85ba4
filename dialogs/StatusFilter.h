#pragma once

#include <QSortFilterProxyModel>

// Shows the rows of a camera list whose row status equals one number, so one list
// model can feed both the "available" and the "selected" view of a dialog.
class StatusFilter : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    explicit StatusFilter(int status, QObject *parent = nullptr);
    ~StatusFilter() override;

protected:
    bool filterAcceptsRow(int source_row, const QModelIndex &source_parent) const override;

private:
    int m_status;
};
