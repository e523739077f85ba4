#include "JsonTree.h"

#include "Item.h"
#include "JsonItem.h"

#include <QJsonArray>
#include <QJsonObject>

namespace JsonTree {

QString valueText(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::String:
        return value.toString();
    case QJsonValue::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QJsonValue::Null:
        return QStringLiteral("null");
    case QJsonValue::Double:
        return QString::number(value.toDouble(), 'g', 6);
    case QJsonValue::Array: {
        const qsizetype size = value.toArray().size();
        if (size == 1)
            return QStringLiteral("1 element in list");
        return QStringLiteral("%0 elements in list").arg(size);
    }
    case QJsonValue::Object:
    case QJsonValue::Undefined:
        break;
    }
    return {};
}

namespace {

QJsonDocument documentOf(const QJsonValue &value)
{
    return value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
}

bool isContainer(const QJsonValue &value)
{
    return value.isArray() || value.isObject();
}

} // namespace

void buildTree(const QJsonDocument &document, const QSharedPointer<Item> &parent, int depth)
{
    if (document.isNull())
        return;

    if (depth == 0) {
        parent->clearChildren();
        if (auto category = parent.dynamicCast<JsonItem>())
            category->setDocument(document);
    }

    if (document.isObject()) {
        const QJsonObject object = document.object();
        const QStringList keys = object.keys();
        for (const QString &key : keys) {
            const QJsonValue value = object.value(key);
            const QSharedPointer<Item> row = Item::appendRow(parent, key, valueText(value));
            if (isContainer(value))
                buildTree(documentOf(value), row, depth + 1);
        }
    } else {
        const QJsonArray array = document.array();
        for (qsizetype i = 0; i < array.size(); ++i) {
            const QJsonValue element = array.at(i);
            const QString label = QStringLiteral("#%0").arg(i + 1);
            if (isContainer(element))
                buildTree(documentOf(element), Item::appendRow(parent, label, QString()), depth + 1);
            else
                Item::appendRow(parent, label, valueText(element));
        }
    }
}

namespace {

QJsonValue rootOf(const QJsonDocument &document)
{
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
}

// The value text of a row made from value: an array element that holds a container shows none.
QString rowText(const QJsonValue &value, bool isArrayElement)
{
    return isArrayElement && isContainer(value) ? QString() : valueText(value);
}

bool sameShape(const QJsonValue &container, const Item &parent);

bool sameRows(const QJsonValue &value, const Item &row)
{
    return isContainer(value) ? sameShape(value, row) : row.childCount() == 0;
}

bool sameShape(const QJsonValue &container, const Item &parent)
{
    if (container.isObject()) {
        const QJsonObject object = container.toObject();
        if (object.size() != parent.childCount())
            return false;
        int row = 0;
        // The object's iteration order is its sorted key order, the order buildTree uses.
        for (auto it = object.constBegin(); it != object.constEnd(); ++it, ++row) {
            const Item *item = parent.childNode(row);
            if (item->data(0).toString() != it.key() || !sameRows(it.value(), *item))
                return false;
        }
        return true;
    }
    const QJsonArray array = container.toArray();
    if (array.size() != parent.childCount())
        return false;
    for (qsizetype i = 0; i < array.size(); ++i) {
        if (!sameRows(array.at(i), *parent.childNode(int(i))))
            return false;
    }
    return true;
}

void updateRow(Item &row, const QJsonValue &value, bool isArrayElement, QList<Item *> &changed);

void updateRows(const QJsonValue &container, Item &parent, QList<Item *> &changed)
{
    if (container.isObject()) {
        const QJsonObject object = container.toObject();
        int row = 0;
        for (auto it = object.constBegin(); it != object.constEnd(); ++it, ++row)
            updateRow(*parent.childNode(row), it.value(), false, changed);
        return;
    }
    const QJsonArray array = container.toArray();
    for (qsizetype i = 0; i < array.size(); ++i)
        updateRow(*parent.childNode(int(i)), array.at(i), true, changed);
}

void updateRow(Item &row, const QJsonValue &value, bool isArrayElement, QList<Item *> &changed)
{
    const QString text = rowText(value, isArrayElement);
    if (row.data(1).toString() != text) {
        row.setData(1, text);
        changed.append(&row);
    }
    if (isContainer(value))
        updateRows(value, row, changed);
}

} // namespace

bool hasShapeOf(const QJsonDocument &document, const Item &parent)
{
    return !document.isNull() && sameShape(rootOf(document), parent);
}

QList<Item *> updateValues(const QJsonDocument &document, Item &parent)
{
    QList<Item *> changed;
    if (auto *category = dynamic_cast<JsonItem *>(&parent))
        category->setDocument(document);
    updateRows(rootOf(document), parent, changed);
    return changed;
}

int topLevelRowCount(const QJsonDocument &document)
{
    if (document.isObject())
        return int(document.object().size());
    if (document.isArray())
        return int(document.array().size());
    return 0;
}

} // namespace JsonTree
