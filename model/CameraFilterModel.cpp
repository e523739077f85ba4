#include "CameraFilterModel.h"

#include "CameraModel.h"
#include "RootItem.h"

#include <QElapsedTimer>

#include <algorithm>

CameraFilterModel::CameraFilterModel(CameraModel *source, QObject *parent)
    : QAbstractItemModel(parent)
    , m_source(source)
    , m_columns(source->columnCount())
{
    m_passSlice.setSingleShot(true);
    m_passSlice.setInterval(0);
    connect(&m_passSlice, &QTimer::timeout, this, &CameraFilterModel::matchNextCameras);
    m_changeDelay.setSingleShot(true);
    m_changeDelay.setInterval(kChangeDelayMs);
    connect(&m_changeDelay, &QTimer::timeout, this, &CameraFilterModel::showChangedCameras);
    m_repaint.setSingleShot(true);
    m_repaint.setInterval(0);
    connect(&m_repaint, &QTimer::timeout, this, &CameraFilterModel::repaint);

    connect(source, &QAbstractItemModel::rowsAboutToBeInserted, this, &CameraFilterModel::onRowsAboutToBeInserted);
    connect(source, &QAbstractItemModel::rowsInserted, this, &CameraFilterModel::onRowsInserted);
    connect(source, &QAbstractItemModel::rowsAboutToBeRemoved, this, &CameraFilterModel::onRowsAboutToBeRemoved);
    connect(source, &QAbstractItemModel::rowsRemoved, this, &CameraFilterModel::onRowsRemoved);
    connect(source, &QAbstractItemModel::dataChanged, this, &CameraFilterModel::onDataChanged);
    connect(source, &QAbstractItemModel::modelAboutToBeReset, this, &CameraFilterModel::onModelAboutToBeReset);
    connect(source, &QAbstractItemModel::modelReset, this, &CameraFilterModel::onModelReset);
}

CameraFilterModel::~CameraFilterModel() = default;

CameraModel *CameraFilterModel::sourceModel() const
{
    return m_source;
}

Item *CameraFilterModel::root() const
{
    return m_source->root().data();
}

Item *CameraFilterModel::itemOf(const QModelIndex &index)
{
    return static_cast<Item *>(index.internalPointer());
}

Item *CameraFilterModel::cameraOf(Item *item) const
{
    Item *const top = root();
    while (item && item->parentNode() != top)
        item = item->parentNode();
    return item;
}

int CameraFilterModel::rowOf(Item *item) const
{
    if (!m_filtering)
        return item->row();
    const auto shown = m_shown.constFind(item);
    return shown == m_shown.constEnd() ? -1 : shown->row;
}

QModelIndex CameraFilterModel::indexOf(Item *item, int column) const
{
    if (!item || item == root())
        return {};
    const int row = rowOf(item);
    return row < 0 ? QModelIndex() : createIndex(row, column, item);
}

QModelIndex CameraFilterModel::mapToSource(const QModelIndex &index) const
{
    return index.isValid() ? m_source->indexOf(itemOf(index), index.column()) : QModelIndex();
}

QModelIndex CameraFilterModel::mapFromSource(const QModelIndex &sourceIndex) const
{
    return sourceIndex.isValid() ? indexOf(itemOf(sourceIndex), sourceIndex.column()) : QModelIndex();
}

QString CameraFilterModel::filterPattern() const
{
    return m_pattern.pattern();
}

bool CameraFilterModel::isMatching() const
{
    return m_pass.has_value();
}

void CameraFilterModel::setSliceDuration(int ms)
{
    m_sliceMs = ms;
}

void CameraFilterModel::setFilterPattern(const QString &pattern)
{
    m_pass.reset();
    m_passSlice.stop();
    if (pattern == filterPattern())
        return;
    if (pattern.isEmpty()) {
        showResult(TextPattern(), {});
        return;
    }
    m_pass.emplace(Pass{TextPattern(pattern), {}, 0, {}});
    // The first slice waits for the next turn of the event loop: the key that changed the
    // pattern is answered before any matching starts.
    m_passSlice.start();
}

void CameraFilterModel::restartPass()
{
    const TextPattern pattern = m_pass->pattern;
    m_pass.emplace(Pass{pattern, {}, 0, {}});
    if (!m_passSlice.isActive())
        m_passSlice.start();
}

bool CameraFilterModel::matches(const Item *item, const TextPattern &pattern)
{
    const int columns = item->columnCount();
    for (int column = 0; column < columns; ++column) {
        if (pattern.isFoundIn(item->data(column).toString()))
            return true;
    }
    return false;
}

bool CameraFilterModel::collect(Item *item, const TextPattern &pattern, Nodes &nodes)
{
    QList<Item *> shownChildren;
    const int count = item->childCount();
    for (int row = 0; row < count; ++row) {
        Item *child = item->childNode(row);
        if (collect(child, pattern, nodes))
            shownChildren.append(child);
    }
    const bool ownMatch = matches(item, pattern);
    if (!ownMatch && shownChildren.isEmpty())
        return false;
    for (int row = 0; row < shownChildren.size(); ++row)
        nodes[shownChildren.at(row)].row = row;
    Node &node = nodes[item];
    node.children = std::move(shownChildren);
    node.matches = ownMatch;
    return true;
}

// Walks only the nodes, never the items: it also serves for items that are leaving the tree.
void CameraFilterModel::forget(const Item *item, Nodes &nodes)
{
    const auto node = nodes.constFind(item);
    if (node == nodes.constEnd())
        return;
    const QList<Item *> children = node->children;
    nodes.erase(node);
    for (const Item *child : children)
        forget(child, nodes);
}

// The root's shown children: the cameras that nodes holds, in the tree's order.
void CameraFilterModel::collectCameras(Nodes &nodes) const
{
    Item *const top = root();
    QList<Item *> cameras;
    const int count = top->childCount();
    for (int row = 0; row < count; ++row) {
        Item *camera = top->childNode(row);
        const auto node = nodes.find(camera);
        if (node != nodes.end()) {
            node->row = int(cameras.size());
            cameras.append(camera);
        }
    }
    nodes[top].children = std::move(cameras);
}

void CameraFilterModel::matchNextCameras()
{
    QElapsedTimer slice;
    slice.start();
    Item *const top = root();
    while (m_pass->nextCamera < top->childCount()) {
        collect(top->childNode(m_pass->nextCamera++), m_pass->pattern, m_pass->nodes);
        if (slice.elapsed() >= m_sliceMs) {
            m_passSlice.start();
            return;
        }
    }
    Pass pass = std::move(*m_pass);
    m_pass.reset();
    for (Item *camera : std::as_const(pass.changed))
        collect(camera, pass.pattern, pass.nodes);
    collectCameras(pass.nodes);
    showResult(pass.pattern, std::move(pass.nodes));
}

void CameraFilterModel::showResult(const TextPattern &pattern, Nodes nodes)
{
    changeShownRows([&] {
        m_pattern = pattern;
        m_filtering = !pattern.isEmpty();
        m_shown = std::move(nodes);
        m_changedCameras.clear();
        m_changeDelay.stop();
    });
    emit filterApplied();
}

void CameraFilterModel::showChangedCameras()
{
    if (!m_filtering || m_changedCameras.isEmpty())
        return;
    changeShownRows([this] {
        for (Item *camera : std::as_const(m_changedCameras)) {
            forget(camera, m_shown);
            collect(camera, m_pattern, m_shown);
        }
        m_changedCameras.clear();
        collectCameras(m_shown);
    });
}

// One layout change around change: every index that the views keep goes to its item's new row,
// or becomes invalid when the item is no longer shown.
void CameraFilterModel::changeShownRows(const std::function<void()> &change)
{
    emit layoutAboutToBeChanged();
    const QModelIndexList before = persistentIndexList();
    change();
    QModelIndexList after;
    after.reserve(before.size());
    for (const QModelIndex &index : before)
        after.append(indexOf(itemOf(index), index.column()));
    changePersistentIndexList(before, after);
    emit layoutChanged();
}

// mayChangeWhatShows: whether the rows shown under the current pattern may differ now; a
// pattern being matched sees every change of a camera it has passed.
void CameraFilterModel::cameraChanged(Item *camera, bool mayChangeWhatShows)
{
    if (m_pass && camera->row() < m_pass->nextCamera && !m_pass->changed.contains(camera)) {
        forget(camera, m_pass->nodes);
        m_pass->changed.insert(camera);
    }
    if (m_filtering && mayChangeWhatShows) {
        m_changedCameras.insert(camera);
        if (!m_changeDelay.isActive())
            m_changeDelay.start();
    }
}

void CameraFilterModel::repaintLater(const QList<int> &roles)
{
    for (int role : roles) {
        if (!m_repaintRoles.contains(role))
            m_repaintRoles.append(role);
    }
    if (!m_repaint.isActive())
        m_repaint.start();
}

// One announcement for all the values that changed in a moment, made on the first row: a view
// repaints all it shows for a change of several cells, while it looks up every row it is told of
// among all the rows it lays out, and a refresh changes thousands of values.
void CameraFilterModel::repaint()
{
    const QList<int> roles = std::exchange(m_repaintRoles, {});
    if (rowCount() > 0)
        emit dataChanged(index(0, 0), index(0, m_columns - 1), roles);
}

void CameraFilterModel::onRowsAboutToBeInserted(const QModelIndex &parent, int first, int last)
{
    if (!m_filtering)
        beginInsertRows(mapFromSource(parent), first, last);
}

void CameraFilterModel::onRowsInserted(const QModelIndex &parent, int first, int last)
{
    if (!m_filtering)
        endInsertRows();
    Item *const parentItem = parent.isValid() ? itemOf(parent) : root();
    if (parentItem != root()) {
        cameraChanged(cameraOf(parentItem), true);
        return;
    }
    for (int row = first; row <= last; ++row)
        cameraChanged(parentItem->childNode(row), true);
}

void CameraFilterModel::onRowsAboutToBeRemoved(const QModelIndex &parent, int first, int last)
{
    Item *const parentItem = parent.isValid() ? itemOf(parent) : root();
    if (parentItem == root()) {
        // The tree never loses single cameras; should it, the pattern starts over.
        for (int row = first; row <= last; ++row)
            m_changedCameras.remove(parentItem->childNode(row));
        if (m_pass)
            restartPass();
    } else {
        cameraChanged(cameraOf(parentItem), true);
    }

    if (!m_filtering) {
        beginRemoveRows(mapFromSource(parent), first, last);
        m_removingPassedRows = true;
        return;
    }
    removeShownRows(parentItem, first, last);
}

// The shown children among the leaving rows are one run of the parent's shown children.
void CameraFilterModel::removeShownRows(Item *parentItem, int first, int last)
{
    const auto parentNode = m_shown.constFind(parentItem);
    if (parentNode == m_shown.constEnd())
        return;
    const QList<Item *> &children = parentNode->children;
    const auto begin = std::lower_bound(children.cbegin(), children.cend(), first,
                                        [](const Item *child, int row) { return child->row() < row; });
    const auto end = std::upper_bound(begin, children.cend(), last,
                                      [](int row, const Item *child) { return row < child->row(); });
    if (begin == end)
        return;
    const int firstShown = int(begin - children.cbegin());
    const int lastShown = int(end - children.cbegin()) - 1;

    beginRemoveRows(indexOf(parentItem, 0), firstShown, lastShown);
    QList<Item *> remaining = m_shown.value(parentItem).children;
    for (int row = firstShown; row <= lastShown; ++row)
        forget(remaining.at(row), m_shown);
    remaining.remove(firstShown, lastShown - firstShown + 1);
    for (int row = firstShown; row < remaining.size(); ++row)
        m_shown[remaining.at(row)].row = row;
    m_shown[parentItem].children = std::move(remaining);
    endRemoveRows();
}

void CameraFilterModel::onRowsRemoved()
{
    if (std::exchange(m_removingPassedRows, false))
        endRemoveRows();
}

void CameraFilterModel::onDataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                                      const QList<int> &roles)
{
    if (!topLeft.isValid())
        return;
    const bool textChanged = roles.isEmpty() || roles.contains(Qt::DisplayRole);
    if (textChanged) {
        Item *const parentItem = topLeft.parent().isValid() ? itemOf(topLeft.parent()) : root();
        for (int row = topLeft.row(); row <= bottomRight.row(); ++row) {
            Item *item = parentItem->childNode(row);
            if (!item)
                continue;
            const auto shown = m_shown.constFind(item);
            const bool matchedBefore = shown != m_shown.constEnd() && shown->matches;
            cameraChanged(cameraOf(item), m_filtering && matches(item, m_pattern) != matchedBefore);
        }
    }
    repaintLater(roles);
}

void CameraFilterModel::onModelAboutToBeReset()
{
    beginResetModel();
}

void CameraFilterModel::onModelReset()
{
    m_shown.clear();
    m_changedCameras.clear();
    m_changeDelay.stop();
    if (m_filtering)
        m_shown.insert(root(), Node());
    if (m_pass)
        restartPass();
    endResetModel();
}

QModelIndex CameraFilterModel::index(int row, int column, const QModelIndex &parent) const
{
    if (row < 0 || column < 0 || column >= m_columns || parent.column() > 0)
        return {};
    Item *const parentItem = parent.isValid() ? itemOf(parent) : root();
    Item *child = nullptr;
    if (m_filtering) {
        const auto node = m_shown.constFind(parentItem);
        if (node != m_shown.constEnd() && row < node->children.size())
            child = node->children.at(row);
    } else {
        child = parentItem->childNode(row);
    }
    return child ? createIndex(row, column, child) : QModelIndex();
}

QModelIndex CameraFilterModel::parent(const QModelIndex &index) const
{
    Item *const item = index.isValid() ? itemOf(index) : nullptr;
    return item ? indexOf(item->parentNode(), 0) : QModelIndex();
}

int CameraFilterModel::rowCount(const QModelIndex &parent) const
{
    if (parent.column() > 0)
        return 0;
    Item *const item = parent.isValid() ? itemOf(parent) : root();
    if (!m_filtering)
        return item->childCount();
    const auto node = m_shown.constFind(item);
    return node == m_shown.constEnd() ? 0 : int(node->children.size());
}

int CameraFilterModel::columnCount(const QModelIndex &) const
{
    return m_columns;
}

QVariant CameraFilterModel::data(const QModelIndex &index, int role) const
{
    return index.isValid() ? CameraModel::itemData(itemOf(index), index.column(), role) : QVariant();
}

QVariant CameraFilterModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    return m_source->headerData(section, orientation, role);
}

Qt::ItemFlags CameraFilterModel::flags(const QModelIndex &index) const
{
    return index.isValid() ? CameraModel::itemFlags(itemOf(index)) : Qt::NoItemFlags;
}
