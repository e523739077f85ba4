#pragma once

#include "CameraItem.h"

#include <QJsonDocument>
#include <QMap>
#include <QString>

#include <array>

// What a visit keeps of one camera: who it is, where it answered, what it said on discovery and
// the category documents as last read (a null document for a category that was not read).
struct CameraRecord
{
    QString serial;
    QString address;
    QMap<QString, QString> discovery;
    std::array<QJsonDocument, CameraItem::CategoryCount> documents;

    // What the camera's rows hold now; the window and the command-line tool keep visits alike.
    static CameraRecord of(const CameraItem &camera);
};
