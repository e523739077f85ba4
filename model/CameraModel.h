#pragma once

#include "CameraItem.h"
#include "RootItem.h"

#include <QAbstractItemModel>
#include <QHostAddress>
#include <QHash>
#include <QMap>
#include <QRecursiveMutex>
#include <QSet>

#include <ctime>

// The tree behind the camera view: every discovery answer is merged in here,
// and new cameras are announced so the Web-API client can log in to them.
class CameraModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    explicit CameraModel(QObject *parent = nullptr);
    ~CameraModel() override;

    QSharedPointer<RootItem> root() const;
    // A snapshot of the cameras in tree order; safe to call from any thread.
    QList<QSharedPointer<CameraItem>> cameras() const;
    QSharedPointer<CameraItem> findCamera(const QString &serial, const QHostAddress &address) const;
    // The camera whose own row this is; null for property rows and invalid indexes.
    QSharedPointer<CameraItem> cameraAt(const QModelIndex &index) const;
    void clear();

    QModelIndex index(int row, int column, const QModelIndex &parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex &index) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    // A camera or a device posing as one may report values of any length, and laying out a
    // megabyte of text stalls the view each time it paints the row: the display role shows
    // this many characters and an ellipsis. FullTextRole has the whole value, for copying.
    static constexpr qsizetype kMaxDisplayLength = 300;
    static constexpr int FullTextRole = Qt::UserRole;

    // What data() and flags() answer for an item, for models that show the same items.
    static QVariant itemData(const Item *item, int column, int role);
    static Qt::ItemFlags itemFlags(const Item *item);
    // The index of an item of this tree; invalid for the root.
    QModelIndex indexOf(Item *item, int column = 0) const;

public slots:
    void addCamera(const QHostAddress &address, const QMap<QString, QString> &properties, const std::tm &last_connection);
    // Replaces the rows of the category that the resource at path fills, announcing
    // the change to the views. Must run on the model's thread.
    void attachResource(const QSharedPointer<CameraItem> &camera, const QString &path, const QJsonDocument &document);
    // Tells the views that the camera's update status row has a new text.
    void refreshUpdateStatus(const QSharedPointer<CameraItem> &camera);
    // Tells the views that the camera's row may have changed its colour.
    void refreshAvailability(const QSharedPointer<CameraItem> &camera);

signals:
    void newCamera(QSharedPointer<CameraItem> camera);

private:
    QSharedPointer<CameraItem> findCameraLocked(const QString &serial, const QHostAddress &address) const;
    QSharedPointer<CameraItem> createCamera(const QHostAddress &address, const QMap<QString, QString> &properties,
                                            const std::tm &lastConnection);
    static Item *itemOf(const QModelIndex &index);

    // Recursive so that a receiver of newCamera connected directly may read the camera list.
    mutable QRecursiveMutex m_mutex;
    QSharedPointer<RootItem> m_root;
    // The cameras whose row the views were last told to paint red. The availability checker
    // reports every camera on every tick; only a change is worth a repaint.
    QSet<const CameraItem *> m_paintedUnavailable;
    // Every answer of a scan is looked up: a thousand cameras answer twenty probes each.
    QHash<QString, QList<CameraItem *>> m_camerasBySerial;
};
