#include "ZipWriter.h"

#include <QtEndian>

#include <array>

namespace {

constexpr quint32 kLocalHeader = 0x04034b50;
constexpr quint32 kCentralHeader = 0x02014b50;
constexpr quint32 kEndOfDirectory = 0x06054b50;
constexpr quint16 kVersion = 10;      // stored entries need nothing newer
constexpr quint16 kUtf8Names = 0x0800;

void append16(QByteArray *out, quint16 value)
{
    char bytes[2];
    qToLittleEndian(value, bytes);
    out->append(bytes, 2);
}

void append32(QByteArray *out, quint32 value)
{
    char bytes[4];
    qToLittleEndian(value, bytes);
    out->append(bytes, 4);
}

} // namespace

void ZipWriter::addFile(const QString &name, const QByteArray &data, const QDateTime &modified)
{
    Entry entry;
    entry.name = name.toUtf8();
    entry.crc = crc32(data);
    entry.size = static_cast<quint32>(data.size());
    entry.offset = static_cast<quint32>(m_data.size());
    const QDate date = modified.date();
    const QTime time = modified.time();
    entry.dosTime = static_cast<quint16>(time.hour() << 11 | time.minute() << 5 | time.second() / 2);
    entry.dosDate = static_cast<quint16>((qMax(date.year(), 1980) - 1980) << 9 | date.month() << 5
                                         | date.day());

    append32(&m_data, kLocalHeader);
    append16(&m_data, kVersion);
    append16(&m_data, kUtf8Names);
    append16(&m_data, 0); // stored
    append16(&m_data, entry.dosTime);
    append16(&m_data, entry.dosDate);
    append32(&m_data, entry.crc);
    append32(&m_data, entry.size);
    append32(&m_data, entry.size);
    append16(&m_data, static_cast<quint16>(entry.name.size()));
    append16(&m_data, 0);
    m_data += entry.name;
    m_data += data;
    m_entries.append(entry);
}

QByteArray ZipWriter::archive() const
{
    QByteArray directory;
    for (const Entry &entry : m_entries) {
        append32(&directory, kCentralHeader);
        append16(&directory, kVersion);
        append16(&directory, kVersion);
        append16(&directory, kUtf8Names);
        append16(&directory, 0);
        append16(&directory, entry.dosTime);
        append16(&directory, entry.dosDate);
        append32(&directory, entry.crc);
        append32(&directory, entry.size);
        append32(&directory, entry.size);
        append16(&directory, static_cast<quint16>(entry.name.size()));
        append16(&directory, 0); // extra field
        append16(&directory, 0); // comment
        append16(&directory, 0); // disk
        append16(&directory, 0); // internal attributes
        append32(&directory, 0); // external attributes
        append32(&directory, entry.offset);
        directory += entry.name;
    }

    QByteArray end;
    append32(&end, kEndOfDirectory);
    append16(&end, 0);
    append16(&end, 0);
    append16(&end, static_cast<quint16>(m_entries.size()));
    append16(&end, static_cast<quint16>(m_entries.size()));
    append32(&end, static_cast<quint32>(directory.size()));
    append32(&end, static_cast<quint32>(m_data.size()));
    append16(&end, 0);
    return m_data + directory + end;
}

quint32 ZipWriter::crc32(const QByteArray &data)
{
    static const std::array<quint32, 256> table = [] {
        std::array<quint32, 256> values{};
        for (quint32 n = 0; n < 256; ++n) {
            quint32 c = n;
            for (int k = 0; k < 8; ++k)
                c = c & 1 ? 0xedb88320U ^ (c >> 1) : c >> 1;
            values[n] = c;
        }
        return values;
    }();
    quint32 crc = 0xffffffffU;
    for (const char byte : data)
        crc = table[(crc ^ static_cast<quint8>(byte)) & 0xff] ^ (crc >> 8);
    return crc ^ 0xffffffffU;
}
