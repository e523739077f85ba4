#pragma once

#include "CameraAPI.h"
#include "CameraItem.h"

#include <QList>
#include <QSharedPointer>
#include <QString>

// The read of the Web-API that fills each category of a camera, and the short names by which
// scripts choose categories. A login fans out into the reads of the chosen categories.
class CategoryReads
{
public:
    using Read = void (CameraAPI::*)(QSharedPointer<CameraItem>);

    static Read readOf(CameraItem::Category category);
    // "system", "anpr", "access-lists", ...: the label in lower case, words joined by "-".
    static QString nameOf(CameraItem::Category category);
    // CategoryCount for a name that is none of them.
    static CameraItem::Category categoryNamed(const QString &name);
    static QList<CameraItem::Category> all();

    // Starts the reads of the categories on every login of the client.
    static void readOnLogin(CameraAPI *api, const QList<CameraItem::Category> &categories);
};
