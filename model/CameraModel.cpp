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
    const QList<QSharedPointer<Item>> children = m_root->children();
    for (const QSharedPointer<Item> &child : children) {
        auto camera = child.dynamicCast<CameraItem>();
        if (camera && camera->serial() == serial
            && camera->address().isEqual(address, QHostAddress::TolerantConversion)) {
            return camera;
        }
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
    endResetModel();
}

void CameraModel::addCamera(const QHostAddress &address, const QMap<QString, QString> &properties,
                            const std::tm &last_connection)
{
    QMutexLocker lock(&m_mutex);
    const QString serial = properties.value(QStringLiteral("S/N"), QStringLiteral("Serial not found"));

    if (const QSharedPointer<CameraItem> known = findCameraLocked(serial, address)) {
        known->setLastConnection(last_connection);
        // Only names the row to repaint: column 1 of the camera's row with no item behind it.
        const QModelIndex changed = createIndex(known->row(), 1, nullptr);
        emit dataChanged(changed, changed, {Qt::DisplayRole, 27, Qt::DecorationRole});
        return;
    }

    // Announced as row 0 although the camera is appended at the end: this pairing is
    // the model's established behaviour and is kept as it is.
    beginInsertRows(QModelIndex(), 0, 0);
    const QSharedPointer<CameraItem> camera = createCamera(address, properties, last_connection);
    m_root->appendChild(camera);
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
    const QModelIndex nodeIndex = createIndex(node->row(), 0, node.data());
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
    const int row = camera->row();
    emit dataChanged(createIndex(row, 0, camera.data()), createIndex(row, 1, camera.data()), {Qt::BackgroundRole});
}

Item *CameraModel::itemOf(const QModelIndex &index)
{
    return static_cast<Item *>(index.internalPointer());
}

QModelIndex CameraModel::index(int row, int column, const QModelIndex &parent) const
{
    if (!hasIndex(row, column, parent))
        return {};
    Item *parentItem = parent.isValid() ? itemOf(parent) : m_root.data();
    if (!parentItem)
        return {};
    const QSharedPointer<Item> child = parentItem->child(row);
    return child ? createIndex(row, column, child.data()) : QModelIndex();
}

QModelIndex CameraModel::parent(const QModelIndex &index) const
{
    Item *item = index.isValid() ? itemOf(index) : nullptr;
    if (!item)
        return {};
    const QSharedPointer<Item> parentItem = item->parentItem();
    if (!parentItem || parentItem == m_root)
        return {};
    return createIndex(parentItem->row(), 0, parentItem.data());
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
    const Item *item = index.isValid() ? itemOf(index) : nullptr;
    if (!item)
        return {};
    if (role == Qt::DisplayRole)
        return item->data(index.column());
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
