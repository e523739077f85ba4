#pragma once

#include "CameraConfig.h"

#include <QList>

// A varied crowd of cameras for demonstrations: differing serials, models and firmware
// versions, about a third answering by multicast, one without a serial line and one with CR-LF
// line ends, so every branch of a client's discovery shows up in one scan.
// Camera k of the fleet takes lab address index start+k on the given network and is called
// "SIM<network>-<index, four digits>"; its admin password is "admin", and its Web-API takes the
// user "admin" with the password "admin".
class FleetGenerator
{
public:
    static QList<CameraConfig> generate(int count, int network, int start);
};
