#include "FailingDevice.h"

#include <algorithm>

FailingDevice::FailingDevice(qint64 size, qint64 failAt)
    : m_size(size)
    , m_failAt(failAt)
{
}

qint64 FailingDevice::size() const
{
    return m_size;
}

qint64 FailingDevice::readData(char *data, qint64 maxSize)
{
    if (pos() >= m_failAt)
        return -1;
    const qint64 count = std::min(maxSize, m_failAt - pos());
    std::fill_n(data, count, 'f');
    return count;
}

qint64 FailingDevice::writeData(const char *, qint64)
{
    return -1;
}
