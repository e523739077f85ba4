#pragma once

#include "Item.h"

// The invisible root of the camera tree; its column data are the header texts.
class RootItem : public Item
{
public:
    explicit RootItem(const QList<QVariant> &headers);
    ~RootItem() override;
};
