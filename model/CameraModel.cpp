#include "CameraModel.h"

#include "JsonItem.h"
#include "JsonTree.h"
#include "UpdateStatus.h"

#include <QBrush>

CameraModel::CameraModel(QObject *parent)
    : QAbstractItemModel(parent)
    , m_root(QSharedPointer<RootItem>::create(QList<QVariant>{QStringLiteral("Camera Property"), QStringLiteral("Value")}))
{
}

CameraModel::~CameraModel()
{
    m_root->clearChildren();
}

QSharedPointer<RootItem> CameraModel::root() const
{
    return m_root;
}

QList<QSharedPointer<CameraItem>> CameraModel::cameras() const
{
    QMutexLocker lock(&m_mutex);
    QList<QSharedPointer<CameraItem>> result;
    const QList<QSharedPointer<Item>> children = m_root->children();
    for (const QSharedPointer<Item> &child : children) {
        if (auto camera = child.dynamicCast<CameraItem>())
            result.append(camera);
    }
    return result;
}

QSharedPointer<CameraItem> CameraModel::findCamera(const QString &serial, const QHostAddress &address) const
{
    QMutexLocker lock(&m_mutex);
    return findCameraLocked(serial, address);
}

QSharedPointer<CameraItem> CameraModel::findCameraLocked(const QString &serial, const QHostAddress &address) const
{
    const QList<CameraItem *> candidates = m_camerasBySerial.value(serial);
    for (CameraItem *camera : candidates) {
        if (camera->address().isEqual(address, QHostAddress::TolerantConversion))
            return m_root->child(camera->row()).staticCast<CameraItem>();
    }
    return {};
}

QSharedPointer<CameraItem> CameraModel::cameraAt(const QModelIndex &index) const
{
    if (!index.isValid() || index.model() != this || index.parent().isValid())
        return {};
    return m_root->child(index.row()).dynamicCast<CameraItem>();
}

void CameraModel::clear()
{
    QMutexLocker lock(&m_mutex);
    beginResetModel();
    m_root->clearChildren();
    m_paintedUnavailable.clear();
    m_camerasBySerial.clear();
    endResetModel();
}

void CameraModel::addCamera(const QHostAddress &address, const QMap<QString, QString> &properties,
                            const std::tm &last_connection)
{
    QMutexLocker lock(&m_mutex);
    const QString serial = properties.value(QStringLiteral("S/N"), QStringLiteral("Serial not found"));

    if (const QSharedPointer<CameraItem> known = findCameraLocked(serial, address)) {
        known->setLastConnection(last_connection);
        const QModelIndex changed = indexOf(known->lastConnectionRow().data(), 1);
        emit dataChanged(changed, changed, {Qt::DisplayRole});
        return;
    }

    // Announced where it goes, at the end: views keep their selection and expanded rows on
    // the cameras they belong to.
    const int row = m_root->childCount();
    beginInsertRows(QModelIndex(), row, row);
    const QSharedPointer<CameraItem> camera = createCamera(address, properties, last_connection);
    m_root->appendChild(camera);
    m_camerasBySerial[serial].append(camera.data());
    endInsertRows();
    emit newCamera(camera);
}

QSharedPointer<CameraItem> CameraModel::createCamera(const QHostAddress &address,
                                                     const QMap<QString, QString> &properties,
                                                     const std::tm &lastConnection)
{
    const QString serial = properties.value(QStringLiteral("S/N"), QStringLiteral("Serial not found"));
    const int number = m_root->childCount() + 1;
    auto camera = QSharedPointer<CameraItem>::create(number, serial, address, lastConnection, m_root);

    bool isIPv4 = false;
    address.toIPv4Address(&isIPv4);
    const QString addressText = camera->addressText();
    camera->setIpv4Row(Item::appendRow(camera, QStringLiteral("IPv4 Address"), isIPv4 ? addressText : QString()));
    camera->setIpv6Row(Item::appendRow(camera, QStringLiteral("IPv6 Address"), isIPv4 ? QString() : addressText));
    camera->setUpdateStatusRow(Item::appendRow(camera, QStringLiteral("Update Status"), updateStatusText(kNoUpdateStatus)));
    camera->setLastConnectionRow(Item::appendRow(camera, QStringLiteral("Last Connection"), QString()));
    camera->setLastConnection(lastConnection);

    const QSharedPointer<Item> version = Item::appendRow(camera, QStringLiteral("Version"), QString());
    for (auto it = properties.cbegin(); it != properties.cend(); ++it)
        Item::appendRow(version, it.key(), it.value());
    camera->setVersionRow(version);

    for (int category = 0; category < CameraItem::CategoryCount; ++category) {
        const auto which = CameraItem::Category(category);
        auto node = QSharedPointer<JsonItem>::create(QList<QVariant>{CameraItem::categoryLabel(which), QString()},
                                                     camera);
        camera->appendChild(node);
        camera->setCategoryRow(which, node);
    }

    CameraItem::addDiscoveryKeys(properties.keys());
    return camera;
}

void CameraModel::attachResource(const QSharedPointer<CameraItem> &camera, const QString &path,
                                 const QJsonDocument &document)
{
    const CameraItem::Category category = CameraItem::categoryOfPath(path);
    const bool inTree = camera->parentItem() == m_root;
    if (category == CameraItem::CategoryCount || document.isNull() || !inTree) {
        camera->setResource(path, document);
        return;
    }

    const QSharedPointer<JsonItem> node = camera->categoryRow(category);
    if (JsonTree::hasShapeOf(document, *node)) {
        const QList<Item *> changed = camera->refreshResource(category, document);
        for (Item *row : changed) {
            const QModelIndex value = indexOf(row, 1);
            emit dataChanged(value, value, {Qt::DisplayRole});
        }
        return;
    }

    const QModelIndex nodeIndex = indexOf(node.data());
    if (node->childCount() > 0) {
        beginRemoveRows(nodeIndex, 0, node->childCount() - 1);
        node->clearChildren();
        endRemoveRows();
    }
    const int newRows = JsonTree::topLevelRowCount(document);
    if (newRows > 0)
        beginInsertRows(nodeIndex, 0, newRows - 1);
    camera->setResource(path, document);
    if (newRows > 0)
        endInsertRows();
}

void CameraModel::refreshUpdateStatus(const QSharedPointer<CameraItem> &camera)
{
    const QSharedPointer<Item> row = camera->updateStatusRow();
    if (!row || camera->parentItem() != m_root)
        return;
    emit dataChanged(createIndex(row->row(), 0, row.data()), createIndex(row->row(), 1, row.data()),
                     {Qt::DisplayRole});
}

void CameraModel::refreshAvailability(const QSharedPointer<CameraItem> &camera)
{
    if (camera->parentItem() != m_root)
        return;
    const bool unavailable = camera->isUnavailable();
    if (unavailable == m_paintedUnavailable.contains(camera.data()))
        return;
    if (unavailable)
        m_paintedUnavailable.insert(camera.data());
    else
        m_paintedUnavailable.remove(camera.data());
    emit dataChanged(indexOf(camera.data(), 0), indexOf(camera.data(), 1), {Qt::BackgroundRole});
}

Item *CameraModel::itemOf(const QModelIndex &index)
{
    return static_cast<Item *>(index.internalPointer());
}

QModelIndex CameraModel::indexOf(Item *item, int column) const
{
    if (!item || item == m_root.data())
        return {};
    return createIndex(item->row(), column, item);
}

QModelIndex CameraModel::index(int row, int column, const QModelIndex &parent) const
{
    if (!hasIndex(row, column, parent))
        return {};
    Item *parentItem = parent.isValid() ? itemOf(parent) : m_root.data();
    if (!parentItem)
        return {};
    Item *child = parentItem->childNode(row);
    return child ? createIndex(row, column, child) : QModelIndex();
}

QModelIndex CameraModel::parent(const QModelIndex &index) const
{
    Item *item = index.isValid() ? itemOf(index) : nullptr;
    if (!item)
        return {};
    Item *parentItem = item->parentNode();
    if (!parentItem || parentItem == m_root.data())
        return {};
    return createIndex(parentItem->row(), 0, parentItem);
}

int CameraModel::rowCount(const QModelIndex &parent) const
{
    if (parent.column() > 0)
        return 0;
    const Item *item = parent.isValid() && itemOf(parent) ? itemOf(parent) : m_root.data();
    return item ? item->childCount() : 0;
}

int CameraModel::columnCount(const QModelIndex &parent) const
{
    const Item *item = parent.isValid() && itemOf(parent) ? itemOf(parent) : m_root.data();
    return item->columnCount();
}

QVariant CameraModel::data(const QModelIndex &index, int role) const
{
    return itemData(index.isValid() ? itemOf(index) : nullptr, index.column(), role);
}

QVariant CameraModel::itemData(const Item *item, int column, int role)
{
    if (!item)
        return {};
    if (role == FullTextRole)
        return item->data(column);
    if (role == Qt::DisplayRole) {
        const QVariant value = item->data(column);
        if (value.typeId() == QMetaType::QString && value.toString().size() > kMaxDisplayLength)
            return QString(value.toString().left(kMaxDisplayLength) + QChar(0x2026));
        return value;
    }
    if (role == Qt::BackgroundRole) {
        const auto *camera = dynamic_cast<const CameraItem *>(item);
        if (camera && camera->isUnavailable())
            return QBrush(Qt::red);
    }
    return {};
}

QVariant CameraModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole)
        return m_root->data(section);
    return {};
}

Qt::ItemFlags CameraModel::flags(const QModelIndex &index) const
{
    return index.isValid() ? itemFlags(itemOf(index)) : Qt::NoItemFlags;
}

Qt::ItemFlags CameraModel::itemFlags(const Item *item)
{
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    // A row without rows of its own is never expanded: "Expand all" passes it by, and a category
    // whose rows arrive later shows them collapsed. Rows that arrive below an expanded row make
    // the view lay out the whole tree again, and a thousand cameras fill eleven categories each.
    if (item && item->childCount() == 0)
        flags |= Qt::ItemNeverHasChildren;
    return flags;
}
