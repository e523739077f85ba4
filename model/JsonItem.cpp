#include "JsonItem.h"

JsonItem::JsonItem(const QList<QVariant> &data, const QSharedPointer<Item> &parent)
    : Item(data, parent)
{
}

JsonItem::~JsonItem() = default;

QJsonDocument JsonItem::document() const
{
    return m_document;
}

void JsonItem::setDocument(const QJsonDocument &document)
{
    m_document = document;
}
