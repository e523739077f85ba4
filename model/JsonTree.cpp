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

int topLevelRowCount(const QJsonDocument &document)
{
    if (document.isObject())
        return int(document.object().size());
    if (document.isArray())
        return int(document.array().size());
    return 0;
}

} // namespace JsonTree
