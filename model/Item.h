#pragma once

#include <QList>
#include <QMutex>
#include <QSharedPointer>
#include <QVariant>

// A node of the camera tree: one value per column, children in display order.
// Parent and child links are both strong references, so a node keeps its whole
// ancestry alive for whoever still holds it. Releasing a child (clearChildren)
// cuts the upward links of its subtree, which is what lets the memory go.
class Item
{
public:
    Item(const QList<QVariant> &data, const QSharedPointer<Item> &parent);
    virtual ~Item();

    Item(const Item &) = delete;
    Item &operator=(const Item &) = delete;

    virtual QList<QSharedPointer<Item>> &children();
    virtual QSharedPointer<Item> &firstChild();
    virtual QSharedPointer<Item> &lastChild();
    virtual QSharedPointer<Item> child(int row) const;
    virtual void appendChild(const QSharedPointer<Item> &child);
    virtual void clearChildren();
    virtual int childCount() const;
    virtual QSharedPointer<Item> parentItem() const;
    virtual int columnCount() const;
    virtual int row() const;
    virtual QVariant data(int column) const;
    virtual void setData(int column, const QVariant &value);

    // Raw links for the models, which walk tens of thousands of rows on every layout of the
    // view: no reference counting, no copies. Valid while the tree holds the nodes.
    Item *parentNode() const;
    Item *childNode(int row) const;

    // Creates a plain two-column row below parent and appends it there.
    static QSharedPointer<Item> appendRow(const QSharedPointer<Item> &parent, const QString &label,
                                          const QString &value);

private:
    void detachFromParent();

    // Values are written by the update and Web-API threads while views read them.
    mutable QMutex m_dataMutex;
    QList<QVariant> m_data;
    QList<QSharedPointer<Item>> m_children;
    QSharedPointer<Item> m_parent;
    // Where appendChild put this node; row() checks it before it searches.
    int m_row = 0;
};
