#pragma once

#include "Item.h"

#include <QJsonDocument>

// A category node below a camera. Besides its rows it keeps the whole document
// that was last attached, so the raw JSON of the category stays available.
class JsonItem : public Item
{
public:
    JsonItem(const QList<QVariant> &data, const QSharedPointer<Item> &parent);
    ~JsonItem() override;

    QJsonDocument document() const;
    void setDocument(const QJsonDocument &document);

private:
    QJsonDocument m_document;
};
