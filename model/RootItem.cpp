#include "RootItem.h"

RootItem::RootItem(const QList<QVariant> &headers)
    : Item(headers, {})
{
}

RootItem::~RootItem() = default;
