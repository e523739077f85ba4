#include "SiteDifference.h"

#include <QHash>
#include <QHostAddress>
#include <QJsonArray>
#include <QJsonObject>
#include <QSet>

#include <algorithm>
#include <tuple>

namespace {

const QString kNoSerial = QStringLiteral("Serial not found");
const QString kFirmwareKey = QStringLiteral("Firmware");
const QString kSerialKey = QStringLiteral("S/N");

QString identity(const CameraRecord &camera)
{
    if (camera.serial.isEmpty() || camera.serial == kNoSerial)
        return QLatin1Char('@') + camera.address;
    return camera.serial;
}

QString scalarText(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QJsonValue::Double:
        return QString::number(value.toDouble(), 'g', 15);
    case QJsonValue::String:
        return value.toString();
    case QJsonValue::Array:
        return QString::fromUtf8(QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact));
    case QJsonValue::Null:
        return QStringLiteral("null");
    default:
        return QString();
    }
}

// Nested objects become dotted names ("config.network.mtu"), so each setting is one line of
// the report; arrays stay one value, as a camera takes them as one.
void flatten(const QJsonObject &object, const QString &prefix, QMap<QString, QString> &into)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        const QString name = prefix.isEmpty() ? it.key() : prefix + QLatin1Char('.') + it.key();
        if (it.value().isObject())
            flatten(it.value().toObject(), name, into);
        else
            into.insert(name, scalarText(it.value()));
    }
}

QMap<QString, QString> flattened(const QJsonDocument &document)
{
    QMap<QString, QString> values;
    flatten(document.object(), QString(), values);
    return values;
}

// The names a list document holds: strings, or objects named by their "name".
QString namesOf(const QJsonDocument &document)
{
    QStringList names;
    const QJsonArray array = document.array();
    for (const QJsonValue &value : array)
        names << (value.isObject() ? value.toObject().value(QStringLiteral("name")).toString() : value.toString());
    if (document.isObject())
        names = document.object().keys();
    names.sort();
    return names.join(QStringLiteral(", "));
}

bool isAddress(const QString &text)
{
    return !text.isEmpty() && !QHostAddress(text).isNull();
}

class PairComparison
{
public:
    PairComparison(const CameraRecord &before, const CameraRecord &after, QList<SiteChange> &changes)
        : m_before(before)
        , m_after(after)
        , m_moved(before.address != after.address)
        , m_changes(changes)
    {
    }

    void run()
    {
        if (m_moved)
            add(SiteChange::Kind::Moved, QString(), m_before.address, m_after.address);
        compareDiscovery();
        compareProperties(CameraItem::System, SiteChange::Kind::System, QString());
        compareProperties(CameraItem::ANPR, SiteChange::Kind::ANPR, QString());
        compareProperties(CameraItem::CurrentClassifier, SiteChange::Kind::Classifier,
                          QStringLiteral("Current classifier: "));
        compareNames(CameraItem::AccessLists, SiteChange::Kind::AccessLists, QStringLiteral("Access lists"));
        compareNames(CameraItem::AvailableClassifiers, SiteChange::Kind::Classifier,
                     QStringLiteral("Available classifiers"));
    }

private:
    void add(SiteChange::Kind kind, const QString &subject, const QString &before, const QString &after)
    {
        m_changes.append({kind, m_after.serial, subject, before, after});
    }

    void compareDiscovery()
    {
        QSet<QString> keys(m_before.discovery.keyBegin(), m_before.discovery.keyEnd());
        keys.unite(QSet<QString>(m_after.discovery.keyBegin(), m_after.discovery.keyEnd()));
        keys.remove(kSerialKey);
        for (const QString &key : std::as_const(keys)) {
            const QString before = m_before.discovery.value(key);
            const QString after = m_after.discovery.value(key);
            if (before != after)
                add(key == kFirmwareKey ? SiteChange::Kind::Firmware : SiteChange::Kind::Discovery, key, before, after);
        }
    }

    bool bothRead(CameraItem::Category category) const
    {
        return !m_before.documents.at(category).isNull() && !m_after.documents.at(category).isNull();
    }

    void compareProperties(CameraItem::Category category, SiteChange::Kind kind, const QString &prefix)
    {
        if (!bothRead(category))
            return;
        const QMap<QString, QString> before = flattened(m_before.documents.at(category));
        const QMap<QString, QString> after = flattened(m_after.documents.at(category));
        QSet<QString> keys(before.keyBegin(), before.keyEnd());
        keys.unite(QSet<QString>(after.keyBegin(), after.keyEnd()));
        for (const QString &key : std::as_const(keys)) {
            const QString old = before.value(key);
            const QString now = after.value(key);
            if (old == now && before.contains(key) == after.contains(key))
                continue;
            // A camera that moved reports its new addresses in its settings too; that is the
            // move itself, already in the report once.
            if (m_moved && isAddress(old) && isAddress(now))
                continue;
            add(kind, prefix + key, old, now);
        }
    }

    void compareNames(CameraItem::Category category, SiteChange::Kind kind, const QString &subject)
    {
        if (!bothRead(category))
            return;
        const QString before = namesOf(m_before.documents.at(category));
        const QString after = namesOf(m_after.documents.at(category));
        if (before != after)
            add(kind, subject, before, after);
    }

    const CameraRecord &m_before;
    const CameraRecord &m_after;
    const bool m_moved;
    QList<SiteChange> &m_changes;
};

} // namespace

QList<SiteChange> SiteDifference::compare(const QList<CameraRecord> &before, const QList<CameraRecord> &after)
{
    QHash<QString, QList<const CameraRecord *>> earlier;
    for (const CameraRecord &camera : before)
        earlier[identity(camera)].append(&camera);

    QList<SiteChange> changes;
    QList<const CameraRecord *> unmatched;
    for (const CameraRecord &camera : after) {
        QList<const CameraRecord *> &candidates = earlier[identity(camera)];
        auto same = std::find_if(candidates.begin(), candidates.end(),
                                 [&](const CameraRecord *old) { return old->address == camera.address; });
        if (same == candidates.end()) {
            unmatched.append(&camera);
            continue;
        }
        PairComparison(**same, camera, changes).run();
        candidates.erase(same);
    }
    // Only after every camera that stayed has found itself may the rest pair up as moves, or a
    // serial shared by two cameras would see both moved.
    for (const CameraRecord *camera : std::as_const(unmatched)) {
        QList<const CameraRecord *> &candidates = earlier[identity(*camera)];
        if (candidates.isEmpty() || camera->serial.isEmpty() || camera->serial == kNoSerial) {
            changes.append({SiteChange::Kind::New, camera->serial, QString(), QString(), camera->address});
            continue;
        }
        PairComparison(*candidates.takeFirst(), *camera, changes).run();
    }
    for (const QList<const CameraRecord *> &left : std::as_const(earlier)) {
        for (const CameraRecord *camera : left)
            changes.append({SiteChange::Kind::Missing, camera->serial, QString(), camera->address, QString()});
    }

    std::sort(changes.begin(), changes.end(), [](const SiteChange &a, const SiteChange &b) {
        return std::tie(a.kind, a.serial, a.subject, a.before) < std::tie(b.kind, b.serial, b.subject, b.before);
    });
    return changes;
}
