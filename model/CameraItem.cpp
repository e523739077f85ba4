#include "CameraItem.h"

#include "JsonItem.h"
#include "JsonTree.h"
#include "UpdateStatus.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

struct ResourceCategory
{
    const char *path;
    CameraItem::Category category;
};

constexpr ResourceCategory kResourceCategories[] = {
    {"/properties/system", CameraItem::System},
    {"/properties/anpr", CameraItem::ANPR},
    {"/properties/access", CameraItem::AccessLists},
    {"/properties/action", CameraItem::ActionEvents},
    {"/properties/roi", CameraItem::ROI},
    {"/available_actions", CameraItem::Actions},
    {"/live/status", CameraItem::CameraStatus},
    {"/live/apps", CameraItem::Applications},
    {"/classifier/info", CameraItem::CurrentClassifier},
    {"/classifier/list", CameraItem::AvailableClassifiers},
    {"/digitalio", CameraItem::DigitalIO},
};

// Filled from the Web-API thread and read by the GUI thread, hence the lock.
struct KeySets
{
    QMutex mutex;
    QSet<QString> discovery;
    QSet<QString> system;
    QSet<QString> anpr;
    QSet<QString> accessLists;
};

KeySets &keySets()
{
    static KeySets sets;
    return sets;
}

QSet<QString> lockedCopy(const QSet<QString> &set)
{
    QMutexLocker lock(&keySets().mutex);
    return set;
}

void addKeysOf(const QJsonDocument &document, QSet<QString> &set)
{
    QMutexLocker lock(&keySets().mutex);
    if (document.isObject()) {
        const QStringList keys = document.object().keys();
        for (const QString &key : keys)
            set.insert(key);
    } else if (document.isArray()) {
        const QJsonArray array = document.array();
        for (const QJsonValue &element : array)
            set.insert(element.toString());
    }
}

} // namespace

CameraItem::CameraItem(int number, const QString &serial, const QHostAddress &address, const std::tm &lastConnection,
                       const QSharedPointer<Item> &parent)
    : Item({QStringLiteral("Camera #%0").arg(number), serial}, parent)
    , m_serial(serial)
    , m_address(address)
    , m_lastConnection(lastConnection)
    , m_updateStatus(kNoUpdateStatus)
{
}

CameraItem::~CameraItem() = default;

QString CameraItem::categoryLabel(Category category)
{
    static const char *const labels[CategoryCount] = {
        "System", "ANPR", "Access Lists", "Action Events", "ROI", "Actions",
        "Camera Status", "Applications", "Current classifier", "Available classifiers", "Digital I/O",
    };
    return category >= 0 && category < CategoryCount ? QString::fromLatin1(labels[category]) : QString();
}

CameraItem::Category CameraItem::categoryOfPath(const QString &path)
{
    for (const ResourceCategory &entry : kResourceCategories) {
        if (path == QLatin1String(entry.path))
            return entry.category;
    }
    return CategoryCount;
}

QString CameraItem::resourcePath(Category category)
{
    for (const ResourceCategory &entry : kResourceCategories) {
        if (entry.category == category)
            return QString::fromLatin1(entry.path);
    }
    return QString();
}

QString CameraItem::serial() const
{
    return m_serial;
}

QHostAddress CameraItem::address() const
{
    return m_address;
}

QString CameraItem::addressText() const
{
    bool isIPv4 = false;
    const quint32 ipv4 = m_address.toIPv4Address(&isIPv4);
    return isIPv4 ? QHostAddress(ipv4).toString() : m_address.toString();
}

QUrl CameraItem::url(const QString &path) const
{
    bool isIPv4 = false;
    m_address.toIPv4Address(&isIPv4);
    const QString pattern = isIPv4 ? QStringLiteral("http://%0%1") : QStringLiteral("http://[%0]%1");
    return QUrl(pattern.arg(addressText(), path));
}

bool CameraItem::isUnavailable() const
{
    return m_unavailable;
}

void CameraItem::setUnavailable(bool unavailable)
{
    m_unavailable = unavailable;
}

std::tm CameraItem::lastConnection() const
{
    QMutexLocker lock(&m_stateMutex);
    return m_lastConnection;
}

void CameraItem::setLastConnection(const std::tm &lastConnection)
{
    char text[20] = {};
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &lastConnection);
    {
        QMutexLocker lock(&m_stateMutex);
        m_lastConnection = lastConnection;
    }
    if (m_lastConnectionRow)
        m_lastConnectionRow->setData(1, QString::fromLatin1(text));
}

int CameraItem::updateStatus() const
{
    QMutexLocker lock(&m_stateMutex);
    return m_updateStatus;
}

QDateTime CameraItem::updateTime() const
{
    QMutexLocker lock(&m_stateMutex);
    return m_updateTime;
}

void CameraItem::setUpdateStatus(int code)
{
    const QDateTime now = QDateTime::currentDateTime();
    {
        QMutexLocker lock(&m_stateMutex);
        m_updateStatus = code;
        m_updateTime = now;
    }
    if (m_updateStatusRow) {
        m_updateStatusRow->setData(
            1, QStringLiteral("%0 (at %1)").arg(updateStatusText(code), now.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))));
    }
}

QSharedPointer<Item> CameraItem::ipv4Row() const
{
    return m_ipv4Row;
}

QSharedPointer<Item> CameraItem::ipv6Row() const
{
    return m_ipv6Row;
}

QSharedPointer<Item> CameraItem::updateStatusRow() const
{
    return m_updateStatusRow;
}

QSharedPointer<Item> CameraItem::lastConnectionRow() const
{
    return m_lastConnectionRow;
}

QSharedPointer<Item> CameraItem::versionRow() const
{
    return m_versionRow;
}

QSharedPointer<JsonItem> CameraItem::categoryRow(Category category) const
{
    return m_categoryRows.at(category);
}

void CameraItem::setIpv4Row(const QSharedPointer<Item> &row)
{
    m_ipv4Row = row;
}

void CameraItem::setIpv6Row(const QSharedPointer<Item> &row)
{
    m_ipv6Row = row;
}

void CameraItem::setUpdateStatusRow(const QSharedPointer<Item> &row)
{
    m_updateStatusRow = row;
}

void CameraItem::setLastConnectionRow(const QSharedPointer<Item> &row)
{
    m_lastConnectionRow = row;
}

void CameraItem::setVersionRow(const QSharedPointer<Item> &row)
{
    m_versionRow = row;
}

void CameraItem::setCategoryRow(Category category, const QSharedPointer<JsonItem> &row)
{
    m_categoryRows.at(category) = row;
}

bool CameraItem::setResource(const QString &path, const QJsonDocument &document)
{
    const Category category = categoryOfPath(path);
    if (category == CategoryCount || !m_categoryRows.at(category))
        return false;

    JsonTree::buildTree(document, m_categoryRows.at(category));
    rememberKeys(category, document);
    return true;
}

QList<Item *> CameraItem::refreshResource(Category category, const QJsonDocument &document)
{
    const QList<Item *> changed = JsonTree::updateValues(document, *m_categoryRows.at(category));
    rememberKeys(category, document);
    return changed;
}

void CameraItem::rememberKeys(Category category, const QJsonDocument &document)
{
    switch (category) {
    case System:
        addKeysOf(document, keySets().system);
        break;
    case ANPR:
        addKeysOf(document, keySets().anpr);
        break;
    case AccessLists:
        addKeysOf(document, keySets().accessLists);
        break;
    default:
        break;
    }
}

QSet<QString> CameraItem::discoveryKeys()
{
    return lockedCopy(keySets().discovery);
}

QSet<QString> CameraItem::systemKeys()
{
    return lockedCopy(keySets().system);
}

QSet<QString> CameraItem::anprKeys()
{
    return lockedCopy(keySets().anpr);
}

QSet<QString> CameraItem::accessListNames()
{
    return lockedCopy(keySets().accessLists);
}

void CameraItem::addDiscoveryKeys(const QList<QString> &keys)
{
    QMutexLocker lock(&keySets().mutex);
    for (const QString &key : keys)
        keySets().discovery.insert(key);
}

const QSet<QString> &CameraItem::configKeys()
{
    static const QSet<QString> keys{QStringLiteral("config")};
    return keys;
}

const QSet<QString> &CameraItem::accessEntryKeys()
{
    static const QSet<QString> keys{QStringLiteral("blackentries"), QStringLiteral("ignoreentries"),
                                    QStringLiteral("whiteentries"), QStringLiteral("versioninfo"),
                                    QStringLiteral("camlog")};
    return keys;
}
