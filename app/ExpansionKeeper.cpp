#include "ExpansionKeeper.h"

#include "CameraFilterModel.h"

#include <QTreeView>

ExpansionKeeper::ExpansionKeeper(QTreeView *view, CameraFilterModel *filter, QObject *parent)
    : QObject(parent)
    , m_view(view)
    , m_filter(filter)
{
    connect(view, &QTreeView::expanded, this, [this](const QModelIndex &index) {
        m_expanded.insert(index.internalPointer(), QPersistentModelIndex(m_filter->mapToSource(index)));
    });
    connect(view, &QTreeView::collapsed, this,
            [this](const QModelIndex &index) { m_expanded.remove(index.internalPointer()); });
    connect(filter, &CameraFilterModel::filterApplied, this, &ExpansionKeeper::restore);
    connect(filter, &QAbstractItemModel::modelReset, this, &ExpansionKeeper::forgetAll);
}

void ExpansionKeeper::forgetAll()
{
    m_expanded.clear();
}

void ExpansionKeeper::restore()
{
    QModelIndexList shown;
    shown.reserve(m_expanded.size());
    for (auto entry = m_expanded.begin(); entry != m_expanded.end();) {
        if (!entry->isValid()) {
            entry = m_expanded.erase(entry);
            continue;
        }
        if (const QModelIndex index = m_filter->mapFromSource(*entry); index.isValid())
            shown.append(index);
        ++entry;
    }
    // The view only notes them now: it lays out the new pattern's rows on its next turn. It
    // would report each back to this object, which knows them already.
    const QSignalBlocker quiet(m_view);
    for (const QModelIndex &index : std::as_const(shown))
        m_view->expand(index);
}
