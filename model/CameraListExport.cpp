#include "CameraListExport.h"

#include "JsonItem.h"

#include <QIODevice>
#include <QMap>
#include <QStringList>
#include <QTextStream>

namespace {

// The header and every row walk these lists, so values stay under their keys.
QStringList columnsOf(const QSet<QString> &keys)
{
    QStringList columns = keys.values();
    columns.sort();
    return columns;
}

QString valueOf(const QSharedPointer<Item> &row)
{
    return row ? row->data(1).toString() : QString();
}

void writeValues(QTextStream &stream, const QSharedPointer<Item> &node, const QStringList &columns)
{
    QMap<QString, QString> values;
    if (node) {
        const QList<QSharedPointer<Item>> rows = node->children();
        for (const QSharedPointer<Item> &row : rows)
            values.insert(row->data(0).toString(), row->data(1).toString());
    }
    for (const QString &column : columns)
        stream << values.value(column) << ',';
}

} // namespace

void CameraListExport::write(QIODevice &out, const QList<QSharedPointer<CameraItem>> &cameras)
{
    const QStringList discovery = columnsOf(CameraItem::discoveryKeys());
    const QStringList system = columnsOf(CameraItem::systemKeys() - CameraItem::configKeys());
    const QStringList anpr = columnsOf(CameraItem::anprKeys() - CameraItem::accessEntryKeys());

    QTextStream stream(&out);
    stream << "IPv4 Address,IPv6 Address,";
    for (const QStringList *group : {&discovery, &system, &anpr}) {
        for (const QString &key : *group)
            stream << key << ',';
    }
    stream << "Last Connection" << Qt::endl;

    for (const QSharedPointer<CameraItem> &camera : cameras) {
        stream << valueOf(camera->ipv4Row()) << ',' << valueOf(camera->ipv6Row()) << ',';
        writeValues(stream, camera->versionRow(), discovery);
        writeValues(stream, camera->categoryRow(CameraItem::System), system);
        writeValues(stream, camera->categoryRow(CameraItem::ANPR), anpr);
        stream << valueOf(camera->lastConnectionRow()) << Qt::endl;
    }
}
