#pragma once

#include <QString>

// How many files, network connections included, this process may hold open at once. A desktop
// session starts programs with a soft limit of 1,024, fewer than the connections of a few
// hundred cameras take, while the hard limit, up to which a process may raise its own soft
// limit, is far higher (Debian's is 524,288). The program, the simulator and the tests raise it
// at start through here.
class OpenFilesLimit
{
public:
    // Raises the soft limit to the hard limit and returns the soft limit in force afterwards.
    // When the limit cannot be read or raised, says why on stderr; 0 when it cannot be read.
    static quint64 raise();
    // The soft limit in force; 0 when it cannot be read.
    static quint64 current();
    // What the user reads once the limit is reached: which limit, its value and how to raise it.
    static QString reachedMessage();
};
