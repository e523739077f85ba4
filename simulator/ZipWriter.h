#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

// A zip archive built in memory, every entry stored without compression: enough for a camera
// to hand out its result files, and readable by any unzip tool.
class ZipWriter
{
public:
    void addFile(const QString &name, const QByteArray &data, const QDateTime &modified);
    // The archive with its central directory; entries added later are not in it.
    QByteArray archive() const;

    static quint32 crc32(const QByteArray &data);

private:
    struct Entry
    {
        QByteArray name;
        quint32 crc = 0;
        quint32 size = 0;
        quint32 offset = 0;
        quint16 dosTime = 0;
        quint16 dosDate = 0;
    };

    QByteArray m_data;
    QList<Entry> m_entries;
};
