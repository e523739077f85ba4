#include "JsonSchema.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>

bool JsonSchema::load(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    m_schema = QJsonDocument::fromJson(file.readAll()).object();
    return !m_schema.isEmpty();
}

QString JsonSchema::check(const QJsonValue &value, const QString &definition) const
{
    return check(value, {{QStringLiteral("$ref"), QStringLiteral("#/$defs/") + definition}}, QStringLiteral("$"));
}

bool JsonSchema::hasType(const QJsonValue &value, const QString &type)
{
    if (type == QLatin1String("integer"))
        return value.isDouble() && std::floor(value.toDouble()) == value.toDouble();
    static const QHash<QString, QJsonValue::Type> types{
        {QStringLiteral("object"), QJsonValue::Object}, {QStringLiteral("array"), QJsonValue::Array},
        {QStringLiteral("string"), QJsonValue::String}, {QStringLiteral("number"), QJsonValue::Double},
        {QStringLiteral("boolean"), QJsonValue::Bool},  {QStringLiteral("null"), QJsonValue::Null}};
    return types.value(type, QJsonValue::Undefined) == value.type();
}

QString JsonSchema::check(const QJsonValue &value, const QJsonObject &schema, const QString &place) const
{
    if (schema.contains(QLatin1String("$ref"))) {
        const QString name = schema.value(QLatin1String("$ref")).toString().section(QLatin1Char('/'), -1);
        const QJsonObject target = m_schema.value(QLatin1String("$defs")).toObject().value(name).toObject();
        if (target.isEmpty())
            return QStringLiteral("%1: no definition %2 in the schema").arg(place, name);
        return check(value, target, place);
    }
    if (schema.contains(QLatin1String("type"))) {
        const QJsonValue type = schema.value(QLatin1String("type"));
        const QJsonArray types = type.isArray() ? type.toArray() : QJsonArray{type};
        if (std::none_of(types.begin(), types.end(), [&](const QJsonValue &t) { return hasType(value, t.toString()); }))
            return QStringLiteral("%1: not of type %2").arg(place, QString::fromUtf8(QJsonDocument(types).toJson(QJsonDocument::Compact)));
    }
    if (schema.contains(QLatin1String("enum")) && !schema.value(QLatin1String("enum")).toArray().contains(value))
        return QStringLiteral("%1: not one of the values allowed").arg(place);
    if (value.isArray() && schema.contains(QLatin1String("items"))) {
        const QJsonArray items = value.toArray();
        for (qsizetype i = 0; i < items.size(); ++i) {
            const QString error = check(items.at(i), schema.value(QLatin1String("items")).toObject(),
                                        QStringLiteral("%1[%2]").arg(place).arg(i));
            if (!error.isEmpty())
                return error;
        }
    }
    if (!value.isObject())
        return {};
    const QJsonObject object = value.toObject();
    const QJsonArray required = schema.value(QLatin1String("required")).toArray();
    for (const QJsonValue &key : required) {
        if (!object.contains(key.toString()))
            return QStringLiteral("%1: %2 missing").arg(place, key.toString());
    }
    const QJsonObject properties = schema.value(QLatin1String("properties")).toObject();
    const QJsonValue additional = schema.value(QLatin1String("additionalProperties"));
    for (auto it = object.begin(); it != object.end(); ++it) {
        const QString inner = place + QLatin1Char('.') + it.key();
        QString error;
        if (properties.contains(it.key()))
            error = check(it.value(), properties.value(it.key()).toObject(), inner);
        else if (additional.isBool() && !additional.toBool())
            error = QStringLiteral("%1: not allowed").arg(inner);
        else if (additional.isObject())
            error = check(it.value(), additional.toObject(), inner);
        if (!error.isEmpty())
            return error;
    }
    return {};
}
