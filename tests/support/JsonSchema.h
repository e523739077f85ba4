#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

// Checks JSON values against a schema, for the part of JSON Schema that the repository's
// schemas use: type, enum, properties, required, additionalProperties, items and "$ref" to
// "#/$defs/<name>".
class JsonSchema
{
public:
    // False when the file cannot be read or is no JSON object.
    bool load(const QString &fileName);
    // The first violation found, with its place in the value ("$.cameras.A100.ok: ..."), or an
    // empty text.
    QString check(const QJsonValue &value, const QString &definition) const;

private:
    QString check(const QJsonValue &value, const QJsonObject &schema, const QString &place) const;
    static bool hasType(const QJsonValue &value, const QString &type);

    QJsonObject m_schema;
};
