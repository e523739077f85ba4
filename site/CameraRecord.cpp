#include "CameraRecord.h"

#include "JsonItem.h"

CameraRecord CameraRecord::of(const CameraItem &camera)
{
    CameraRecord record;
    record.serial = camera.serial();
    record.address = camera.addressText();
    if (const QSharedPointer<Item> version = camera.versionRow()) {
        for (const QSharedPointer<Item> &row : version->children())
            record.discovery.insert(row->data(0).toString(), row->data(1).toString());
    }
    for (int category = 0; category < CameraItem::CategoryCount; ++category) {
        if (const QSharedPointer<JsonItem> row = camera.categoryRow(static_cast<CameraItem::Category>(category)))
            record.documents[category] = row->document();
    }
    return record;
}
