#pragma once

#include <QObject>
#include <QTimer>

class QAbstractItemModel;
class QSortFilterProxyModel;

// Keeps the camera view's filter current without freezing the window. The filter follows
// rows that are replaced, added or changed below a camera by itself; what it cannot follow is
// a new camera, which the model announces at the top although it appends it at the end. So a
// request re-filters the whole tree only when cameras arrived since the last time and a filter
// is set, and all requests within one interval fold into one: hundreds of cameras answer
// within moments.
class FilterRefresher : public QObject
{
    Q_OBJECT

public:
    static constexpr int kIntervalMs = 100;

    FilterRefresher(QSortFilterProxyModel *proxy, QAbstractItemModel *model, QObject *parent = nullptr);

public slots:
    void request();

private:
    void refresh();

    QSortFilterProxyModel *m_proxy;
    QTimer m_timer;
    bool m_camerasArrived = false;
};
