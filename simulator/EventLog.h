#pragma once

#include <QString>

// One line on stdout per event, flushed at once: tests read these lines to learn what the
// camera saw and did without sleeping.
class EventLog
{
public:
    static void write(const QString &line);
};
