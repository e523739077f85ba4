#pragma once

#include <QObject>
#include <QTimer>

class QSortFilterProxyModel;

// Re-filters the camera view at most once per interval. Hundreds of cameras answer within
// moments of each other, and re-filtering the whole tree for every answer would freeze the
// window; requests that arrive while one is due are folded into it.
class FilterRefresher : public QObject
{
    Q_OBJECT

public:
    static constexpr int kDefaultIntervalMs = 100;

    explicit FilterRefresher(QSortFilterProxyModel *proxy, QObject *parent = nullptr);

public slots:
    void request();

private:
    QSortFilterProxyModel *m_proxy;
    QTimer m_timer;
};
