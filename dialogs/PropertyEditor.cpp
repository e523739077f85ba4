#include "PropertyEditor.h"

PropertyEditor::PropertyEditor(QObject *parent)
    : QAbstractTableModel(parent)
    , m_headers{QStringLiteral("Property"), QStringLiteral("Value")}
{
}

PropertyEditor::~PropertyEditor() = default;

int PropertyEditor::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int PropertyEditor::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_headers.size());
}

QVariant PropertyEditor::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size() || role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
    case 0:
        return m_rows.at(index.row()).first;
    case 1:
        return m_rows.at(index.row()).second;
    default:
        return {};
    }
}

bool PropertyEditor::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || index.row() >= m_rows.size() || data(index, role) == value)
        return false;
    // Whatever the column, a write changes the value; the name stays.
    m_rows[index.row()].second = value.toString();
    emit dataChanged(index, index);
    return true;
}

QVariant PropertyEditor::headerData(int section, Qt::Orientation orientation, int role) const
{
    // The vertical header shows the labels beside the first rows too, whatever the role;
    // that is how the editor has always looked.
    if (section < 0 || section >= m_headers.size() || (role != Qt::DisplayRole && orientation != Qt::Vertical))
        return {};
    return m_headers.at(section);
}

Qt::ItemFlags PropertyEditor::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemNeverHasChildren;
    if (index.column() == 1)
        flags |= Qt::ItemIsEditable;
    return flags;
}

void PropertyEditor::addProperties(const QStringList &names)
{
    beginResetModel();
    for (const QString &name : names)
        m_rows.append({name, QString()});
    endResetModel();
}

QMap<QString, QString> PropertyEditor::changedProperties() const
{
    QMap<QString, QString> changed;
    for (const auto &[name, value] : m_rows) {
        if (!value.isEmpty())
            changed.insert(name, value);
    }
    return changed;
}

void PropertyEditor::clear()
{
    beginResetModel();
    for (auto &row : m_rows)
        row.second.clear();
    endResetModel();
}
