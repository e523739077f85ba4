#include "UpdateStatus.h"

QString updateStatusText(int code)
{
    switch (code) {
    case 0:
        return QStringLiteral("Updated");
    case -1:
    case -200:
    case -203:
    case -204:
    case 32512:
        return QStringLiteral("Invalid update file");
    case -201:
        return QStringLiteral("Invalid user/password");
    case -202:
        return QStringLiteral("Update file damaged/truncated");
    case -205:
        return QStringLiteral("Unknown Error");
    case kNoUpdateStatus:
        return QStringLiteral("Unknown");
    default:
        return QStringLiteral("Unknown Error: %0").arg(code);
    }
}
