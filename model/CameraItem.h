#pragma once

#include "Item.h"

#include <QDateTime>
#include <QHostAddress>
#include <QJsonDocument>
#include <QMutex>
#include <QSet>
#include <QUrl>

#include <array>
#include <atomic>
#include <ctime>

class JsonItem;

// One camera in the tree, and the handle by which the rest of the program names it.
// It keeps pointers to its fixed rows so values change in place without searching.
class CameraItem : public Item
{
public:
    // The category nodes below a camera, in tree order.
    enum Category {
        System,
        ANPR,
        AccessLists,
        ActionEvents,
        ROI,
        Actions,
        CameraStatus,
        Applications,
        CurrentClassifier,
        AvailableClassifiers,
        DigitalIO,
        CategoryCount
    };

    CameraItem(int number, const QString &serial, const QHostAddress &address, const std::tm &lastConnection,
               const QSharedPointer<Item> &parent);
    ~CameraItem() override;

    static QString categoryLabel(Category category);
    // The category that the Web-API resource at this path fills, or CategoryCount for none.
    static Category categoryOfPath(const QString &path);
    // The Web-API resource that fills the category.
    static QString resourcePath(Category category);

    QString serial() const;
    QHostAddress address() const;
    // Dotted text for IPv4 and IPv4-mapped addresses, the IPv6 text otherwise.
    QString addressText() const;
    QUrl url(const QString &path) const;

    bool isUnavailable() const;
    void setUnavailable(bool unavailable);

    std::tm lastConnection() const;
    void setLastConnection(const std::tm &lastConnection);

    int updateStatus() const;
    QDateTime updateTime() const;
    void setUpdateStatus(int code);

    QSharedPointer<Item> ipv4Row() const;
    QSharedPointer<Item> ipv6Row() const;
    QSharedPointer<Item> updateStatusRow() const;
    QSharedPointer<Item> lastConnectionRow() const;
    QSharedPointer<Item> versionRow() const;
    QSharedPointer<JsonItem> categoryRow(Category category) const;
    void setIpv4Row(const QSharedPointer<Item> &row);
    void setIpv6Row(const QSharedPointer<Item> &row);
    void setUpdateStatusRow(const QSharedPointer<Item> &row);
    void setLastConnectionRow(const QSharedPointer<Item> &row);
    void setVersionRow(const QSharedPointer<Item> &row);
    void setCategoryRow(Category category, const QSharedPointer<JsonItem> &row);

    // Keys seen so far across all cameras; they outlive any one camera list.
    static QSet<QString> discoveryKeys();
    static QSet<QString> systemKeys();
    static QSet<QString> anprKeys();
    static QSet<QString> accessListNames();
    static void addDiscoveryKeys(const QList<QString> &keys);
    static const QSet<QString> &configKeys();
    static const QSet<QString> &accessEntryKeys();

private:
    // Views read the rows while they are replaced, so only the model may rebuild them, on its
    // own thread and inside its row-change announcements.
    friend class CameraModel;
    // Rebuilds the category that the resource at path fills; false when the path fills none.
    bool setResource(const QString &path, const QJsonDocument &document);
    // For a document of the shape the category has (JsonTree::hasShapeOf): keeps the rows,
    // writes the values, and returns the rows whose value changed.
    QList<Item *> refreshResource(Category category, const QJsonDocument &document);
    void rememberKeys(Category category, const QJsonDocument &document);

    // Guards the last connection and the update status, written and read on different threads.
    mutable QMutex m_stateMutex;
    std::atomic<bool> m_unavailable{false};
    QString m_serial;
    QHostAddress m_address;
    QSharedPointer<Item> m_ipv4Row;
    QSharedPointer<Item> m_ipv6Row;
    QSharedPointer<Item> m_lastConnectionRow;
    QSharedPointer<Item> m_updateStatusRow;
    QSharedPointer<Item> m_versionRow;
    std::array<QSharedPointer<JsonItem>, CategoryCount> m_categoryRows;
    std::tm m_lastConnection;
    int m_updateStatus;
    QDateTime m_updateTime;
};
