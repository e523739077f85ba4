#pragma once

#include "CameraRecord.h"
#include "SiteChange.h"

#include <QList>

// The rules by which two visits of a site differ. A camera is the same camera in both visits
// when its serial is the same, wherever it answered; a camera without a serial can only be known
// by its address. A category read in only one of the visits is not compared: a camera that did
// not answer its Web-API has not lost its properties.
class SiteDifference
{
public:
    static QList<SiteChange> compare(const QList<CameraRecord> &before, const QList<CameraRecord> &after);
};
