#pragma once

#include <QAbstractItemModel>
#include <QHash>
#include <QList>
#include <QSet>
#include <QTimer>

#include "TextPattern.h"

#include <functional>
#include <optional>

class CameraModel;
class Item;

// The camera view's filter: shows the rows of the camera tree whose label or value matches a
// case-insensitive regular expression, each with all of its ancestors; without a pattern it
// shows the tree as it is. A thousand expanded cameras are some hundred thousand rows, so:
// - a new pattern is matched camera by camera in slices of a few milliseconds while the views
//   go on showing the old result, then handed to them in one layout change, which keeps their
//   expanded rows, selection and current row on the same items;
// - under a pattern, rows that arrive or change are matched again with their camera and shown
//   in one layout change per moment; rows that leave the tree leave the views at once;
// - value changes reach the views as one announcement per moment, however many rows changed.
// Its indexes point at the camera tree's own items, so mapping to the tree costs nothing.
class CameraFilterModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    static constexpr int kSliceMs = 8;
    // How long changes under a pattern are gathered before the views are told.
    static constexpr int kChangeDelayMs = 50;

    explicit CameraFilterModel(CameraModel *source, QObject *parent = nullptr);
    ~CameraFilterModel() override;

    CameraModel *sourceModel() const;
    QModelIndex mapToSource(const QModelIndex &index) const;
    QModelIndex mapFromSource(const QModelIndex &sourceIndex) const;

    // An empty pattern shows everything at once; any other takes effect when every camera has
    // been matched, announced by filterApplied. An invalid expression matches nothing.
    void setFilterPattern(const QString &pattern);
    // The pattern whose result the views show.
    QString filterPattern() const;
    bool isMatching() const;
    // How long one slice of matching may take; 0 matches one camera per slice.
    void setSliceDuration(int ms);

    QModelIndex index(int row, int column, const QModelIndex &parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex &index) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

signals:
    void filterApplied();

private:
    // A shown row under a pattern.
    struct Node
    {
        QList<Item *> children; // the shown children, in the tree's order
        int row = 0;            // among the parent's shown children
        bool matches = false;   // its own texts match, not only a descendant's
    };
    using Nodes = QHash<const Item *, Node>;

    // The matching of a new pattern, camera after camera.
    struct Pass
    {
        TextPattern pattern;
        Nodes nodes;
        int nextCamera = 0;
        // Cameras matched already that changed since, to be matched again before the end.
        QSet<Item *> changed;
    };

    Item *root() const;
    static Item *itemOf(const QModelIndex &index);
    Item *cameraOf(Item *item) const;
    int rowOf(Item *item) const;
    QModelIndex indexOf(Item *item, int column) const;

    static bool matches(const Item *item, const TextPattern &pattern);
    static bool collect(Item *item, const TextPattern &pattern, Nodes &nodes);
    static void forget(const Item *item, Nodes &nodes);
    void collectCameras(Nodes &nodes) const;

    void restartPass();
    void matchNextCameras();
    void showResult(const TextPattern &pattern, Nodes nodes);
    void showChangedCameras();
    void changeShownRows(const std::function<void()> &change);
    void cameraChanged(Item *camera, bool mayChangeWhatShows);
    void repaintLater(const QList<int> &roles);
    void repaint();
    void removeShownRows(Item *parentItem, int first, int last);

    void onRowsAboutToBeInserted(const QModelIndex &parent, int first, int last);
    void onRowsInserted(const QModelIndex &parent, int first, int last);
    void onRowsAboutToBeRemoved(const QModelIndex &parent, int first, int last);
    void onRowsRemoved();
    void onDataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight, const QList<int> &roles);
    void onModelAboutToBeReset();
    void onModelReset();

    CameraModel *m_source;
    // Every row has the columns of the tree's header.
    const int m_columns;
    TextPattern m_pattern;
    bool m_filtering = false;
    Nodes m_shown;
    std::optional<Pass> m_pass;
    QTimer m_passSlice;
    int m_sliceMs = kSliceMs;
    // Cameras whose rows changed under the pattern since the views were last told.
    QSet<Item *> m_changedCameras;
    QTimer m_changeDelay;
    QList<int> m_repaintRoles;
    QTimer m_repaint;
    bool m_removingPassedRows = false;
};
