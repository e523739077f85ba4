#pragma once

#include "CameraItem.h"

#include <QList>
#include <QSharedPointer>

class QIODevice;

// Writes cameras as comma-separated text: one column per key that any camera has
// reported, so cameras with different firmware still line up under one header.
// Fields are neither quoted nor escaped; a value with a comma shifts the columns after it.
class CameraListExport
{
public:
    static void write(QIODevice &out, const QList<QSharedPointer<CameraItem>> &cameras);
};
