#pragma once

#include <QDateTime>
#include <QString>

// One stored visit of a site; an id of 0 means no visit.
struct VisitInfo
{
    qint64 id = 0;
    QString site;
    QDateTime time;
    int cameraCount = 0;
};
