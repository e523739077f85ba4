#include "Item.h"

Item::Item(const QList<QVariant> &data, const QSharedPointer<Item> &parent)
    : m_data(data)
    , m_parent(parent)
{
}

Item::~Item() = default;

QList<QSharedPointer<Item>> &Item::children()
{
    return m_children;
}

// A node without children answers with a null pointer that callers cannot overwrite.
static QSharedPointer<Item> &noChild()
{
    thread_local QSharedPointer<Item> none;
    none.reset();
    return none;
}

QSharedPointer<Item> &Item::firstChild()
{
    return m_children.isEmpty() ? noChild() : m_children.first();
}

QSharedPointer<Item> &Item::lastChild()
{
    return m_children.isEmpty() ? noChild() : m_children.last();
}

QSharedPointer<Item> Item::child(int row) const
{
    if (row < 0 || row >= m_children.size())
        return {};
    return m_children.at(row);
}

void Item::appendChild(const QSharedPointer<Item> &child)
{
    child->m_row = int(m_children.size());
    m_children.append(child);
}

void Item::clearChildren()
{
    const QList<QSharedPointer<Item>> released = std::exchange(m_children, {});
    for (const QSharedPointer<Item> &child : released)
        child->detachFromParent();
}

void Item::detachFromParent()
{
    // The strong upward links would otherwise keep every released node alive in a cycle.
    // The subtree keeps its children, so a camera still held elsewhere keeps its rows.
    m_parent.reset();
    for (const QSharedPointer<Item> &child : std::as_const(m_children))
        child->detachFromParent();
}

int Item::childCount() const
{
    return m_children.size();
}

QSharedPointer<Item> Item::parentItem() const
{
    return m_parent;
}

int Item::columnCount() const
{
    QMutexLocker lock(&m_dataMutex);
    return m_data.size();
}

int Item::row() const
{
    if (!m_parent)
        return 0;
    const QList<QSharedPointer<Item>> &siblings = m_parent->children();
    // Views ask for the row of every row they lay out; a search among a thousand cameras each
    // time made the tree's cost grow with its square.
    if (m_row < siblings.size() && siblings.at(m_row).data() == this)
        return m_row;
    for (int i = 0; i < siblings.size(); ++i) {
        if (siblings.at(i).data() == this)
            return i;
    }
    return 0;
}

Item *Item::parentNode() const
{
    return m_parent.data();
}

Item *Item::childNode(int row) const
{
    return row >= 0 && row < m_children.size() ? m_children.at(row).data() : nullptr;
}

QVariant Item::data(int column) const
{
    QMutexLocker lock(&m_dataMutex);
    if (column < 0 || column >= m_data.size())
        return {};
    return m_data.at(column);
}

void Item::setData(int column, const QVariant &value)
{
    QMutexLocker lock(&m_dataMutex);
    if (column < 0 || column >= m_data.size())
        return;
    m_data[column] = value;
}

QSharedPointer<Item> Item::appendRow(const QSharedPointer<Item> &parent, const QString &label, const QString &value)
{
    auto row = QSharedPointer<Item>::create(QList<QVariant>{label, value}, parent);
    parent->appendChild(row);
    return row;
}
