// Linked into every test and into the benchmarks of many cameras: each raises its open files
// limit at start, as the program does in main, so that they drive hundreds of cameras from a
// session whose soft limit is 1,024.
#include "OpenFilesLimit.h"

#include <QtGlobal>

namespace {

void raiseOpenFilesLimit()
{
    OpenFilesLimit::raise();
}

} // namespace

Q_CONSTRUCTOR_FUNCTION(raiseOpenFilesLimit)
