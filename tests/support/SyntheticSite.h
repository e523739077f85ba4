#pragma once

#include "CameraRecord.h"

#include <QList>

// Visits of a site of simulated cameras without a network: every camera's discovery answer and
// category documents as the simulator would serve them. What a camera reports about its running
// state (status, applications) changes from visit to visit, as it does on a real site; its
// settings stay as they are.
class SyntheticSite
{
public:
    static QList<CameraRecord> visit(int cameraCount, int visitNumber);
};
