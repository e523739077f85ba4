#pragma once

#include <QHash>
#include <QObject>
#include <QPersistentModelIndex>

class CameraFilterModel;
class QTreeView;

// Remembers which rows of the camera tree the user has expanded, by the tree's own rows rather
// than the filter's: a row that a pattern hides and a later one shows again comes back expanded.
class ExpansionKeeper : public QObject
{
    Q_OBJECT

public:
    ExpansionKeeper(QTreeView *view, CameraFilterModel *filter, QObject *parent = nullptr);

public slots:
    void forgetAll();

private:
    void restore();

    QTreeView *m_view;
    CameraFilterModel *m_filter;
    // By item, so that expanding a row twice keeps one entry; an entry whose row left the tree
    // turns invalid and is dropped at the next restore.
    QHash<const void *, QPersistentModelIndex> m_expanded;
};
