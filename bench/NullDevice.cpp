#include "NullDevice.h"

NullDevice::NullDevice(QObject *parent)
    : QIODevice(parent)
{
}

bool NullDevice::isSequential() const
{
    return true;
}

qint64 NullDevice::readData(char *data, qint64 maxSize)
{
    Q_UNUSED(data)
    Q_UNUSED(maxSize)
    return -1;
}

qint64 NullDevice::writeData(const char *data, qint64 size)
{
    Q_UNUSED(data)
    return size;
}
