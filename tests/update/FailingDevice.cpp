#include "FailingDevice.h"

#include <algorithm>

FailingDevice::FailingDevice(const QByteArray &content, qint64 failAt, QObject *parent)
    : QIODevice(parent)
    , m_content(content)
    , m_failAt(failAt)
{
}

qint64 FailingDevice::size() const
{
    return m_content.size();
}

qint64 FailingDevice::readData(char *data, qint64 maxSize)
{
    if (pos() >= m_failAt)
        return -1;
    const qint64 count = std::min({maxSize, m_failAt - pos(), qint64(m_content.size()) - pos()});
    std::copy_n(m_content.constData() + pos(), count, data);
    return count;
}

qint64 FailingDevice::writeData(const char *data, qint64 size)
{
    Q_UNUSED(data)
    Q_UNUSED(size)
    return -1;
}
