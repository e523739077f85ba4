#include "ExpansionKeeper.h"

#include "CameraFilterModel.h"

#include <QTreeView>

ExpansionKeeper::ExpansionKeeper(QTreeView *view, CameraFilterModel *filter, QObject *parent)
    : QObject(parent)
    , m_view(view)
    , m_filter(filter)
{
    connect(view, &QTreeView::expanded, this, [this](const QModelIndex &index) {
        if (!m_restoring)
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
    QModelIndexList hidden;
    for (auto entry = m_expanded.begin(); entry != m_expanded.end();) {
        if (!entry->isValid()) {
            entry = m_expanded.erase(entry);
            continue;
        }
        const QModelIndex shown = m_filter->mapFromSource(*entry);
        if (shown.isValid() && !m_view->isExpanded(shown))
            hidden.append(shown);
        ++entry;
    }
    // Expanding reports back to this object, so not while it walks its own entries; and what it
    // expands again it knows already.
    m_restoring = true;
    for (const QModelIndex &index : std::as_const(hidden))
        m_view->expand(index);
    m_restoring = false;
}
