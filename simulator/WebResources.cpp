#include "WebResources.h"

#include "SnapshotPainter.h"
#include "ZipWriter.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QRegularExpression>
#include <QUrlQuery>

#include <algorithm>
#include <cmath>

namespace {

const QString kStatus = QStringLiteral("/live/status");
const QString kApps = QStringLiteral("/live/apps");
const QString kSystem = QStringLiteral("/properties/system");
const QString kAnpr = QStringLiteral("/properties/anpr");
const QString kAccess = QStringLiteral("/properties/access");
const QString kAction = QStringLiteral("/properties/action");
const QString kRoi = QStringLiteral("/properties/roi");
const QString kActions = QStringLiteral("/available_actions");
const QString kClassifierInfo = QStringLiteral("/classifier/info");
const QString kClassifierList = QStringLiteral("/classifier/list");
const QString kDigitalIO = QStringLiteral("/digitalio");
const QString kResult = QStringLiteral("/live/result");
const QString kSnapshot = QStringLiteral("/live/snapshot");
const QString kExport = QStringLiteral("/export/results");

const QByteArray kFormType = QByteArrayLiteral("application/x-www-form-urlencoded");
const QByteArray kMultipartType = QByteArrayLiteral("multipart/form-data");
const QByteArray kFileType = QByteArrayLiteral("application/octet-stream");

WebReply methodNotAllowed(const QByteArray &method, const QString &path)
{
    return WebReply::message(QStringLiteral("%1 is not allowed on %2")
                                 .arg(QString::fromLatin1(method), path),
                             405);
}

WebReply attachment(const QByteArray &contentType, const QByteArray &body, const QString &name)
{
    WebReply reply = WebReply::data(contentType, body);
    reply.headers.append({QByteArrayLiteral("Content-Disposition"),
                          "attachment; filename=\"" + name.toUtf8() + '"'});
    return reply;
}

} // namespace

WebResources::WebResources(const CameraConfig &camera)
    : m_camera(camera)
    , m_content(camera)
    , m_seed(WebContent::seed(camera.serial))
{
    m_objects.insert(kStatus, m_content.status());
    m_arrays.insert(kApps, m_content.apps());
    m_objects.insert(kSystem, m_content.systemProperties());
    QJsonObject anpr = m_content.anprProperties();
    for (auto change = camera.anprChanges.begin(); change != camera.anprChanges.end(); ++change)
        anpr.insert(change.key(), change.value());
    m_objects.insert(kAnpr, anpr);
    m_objects.insert(kAction, m_content.actionEventProperties());
    m_objects.insert(kRoi, m_content.roiProperties());
    m_arrays.insert(kActions, m_content.availableActions());
    m_objects.insert(kDigitalIO, m_content.digitalIO());
    m_accessListNames = m_content.accessListNames();
    for (const QString &name : std::as_const(m_accessListNames))
        m_accessLists.insert(name, AccessList{m_content.accessEntries(name), false, QByteArray()});
    const auto classifiers = m_content.classifiers();
    for (const auto &classifier : classifiers)
        m_classifiers.insert(classifier.first, classifier.second);
    m_defaultClassifier = classifiers.constFirst().first;
}

WebReply WebResources::answer(const QByteArray &method, const QString &path,
                              const QByteArray &contentType, const QByteArray &body,
                              const QList<MultipartParser::Part> &parts)
{
    static const QStringList fixed = {kStatus, kApps, kSystem, kAnpr, kAccess, kAction, kRoi,
                                      kActions, kClassifierInfo, kClassifierList, kDigitalIO,
                                      kResult, kSnapshot, kExport};
    if (fixed.contains(path))
        return method == "GET" ? resource(path) : methodNotAllowed(method, path);

    const bool isMultipart = contentType == kMultipartType;
    const QStringList segments = path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    const QString first = segments.value(0);
    if (segments.size() == 2 && (first == QLatin1String("anpr") || first == QLatin1String("system")
                                 || first == QLatin1String("action"))) {
        if (method != "PATCH")
            return methodNotAllowed(method, path);
        return patchProperty(first, segments.at(1), contentType, body);
    }
    if (segments.size() == 2 && first == QLatin1String("access"))
        return accessList(method, segments.at(1), body);
    if (segments.size() == 3 && first == QLatin1String("access")
        && segments.at(2) == QLatin1String("file"))
        return accessListFile(method, segments.at(1), parts, isMultipart);
    if (segments.size() == 3 && first == QLatin1String("classifier")
        && segments.at(1) == QLatin1String("file"))
        return classifierFile(method, segments.at(2), parts, isMultipart);
    if (segments.size() == 2 && first == QLatin1String("camera")) {
        const QString operation = segments.at(1);
        if (operation == QLatin1String("reinit") || operation == QLatin1String("reset")
            || operation == QLatin1String("reboot")) {
            if (method != "POST")
                return methodNotAllowed(method, path);
            return cameraOperation(operation);
        }
    }
    return WebReply::message(QStringLiteral("No resource %1").arg(path), 404);
}

WebReply WebResources::resource(const QString &path)
{
    if (path == kSnapshot)
        return snapshot();
    if (path == kExport)
        return exportResults();
    if (path == kResult)
        return WebReply::json(QJsonDocument(m_content.liveResult(++m_readings)));

    auto rendered = m_rendered.find(path);
    if (rendered == m_rendered.end())
        rendered = m_rendered.insert(path, document(path).toJson(QJsonDocument::Compact));
    return WebReply::json(*rendered);
}

QJsonDocument WebResources::document(const QString &path) const
{
    if (path == kAccess)
        return QJsonDocument(QJsonArray::fromStringList(m_accessListNames));
    if (path == kClassifierInfo)
        return QJsonDocument(classifierInfo());
    if (path == kClassifierList)
        return QJsonDocument(classifierList());
    if (m_arrays.contains(path))
        return QJsonDocument(m_arrays.value(path));
    return QJsonDocument(m_objects.value(path));
}

WebReply WebResources::patchProperty(const QString &document, const QString &key,
                                     const QByteArray &contentType, const QByteArray &body)
{
    if (contentType != kFormType)
        return WebReply::message(QStringLiteral("A property change is sent as a form"), 415);
    const QUrlQuery query(QString::fromUtf8(body));
    if (!query.hasQueryItem(key))
        return WebReply::message(QStringLiteral("The form does not set '%1'").arg(key), 400);
    const QString value = query.queryItemValue(key, QUrl::FullyDecoded);

    // System and ANPR keys may be changed through either path; a new key joins the named one.
    const QString named = QStringLiteral("/properties/") + document;
    QString target = named;
    if (!m_objects.value(named).contains(key)) {
        const QString other = named == kAnpr ? kSystem : named == kSystem ? kAnpr : QString();
        if (!other.isEmpty() && m_objects.value(other).contains(key))
            target = other;
    }
    QJsonObject &properties = m_objects[target];
    const QJsonValue changed = converted(properties.value(key), value);
    properties.insert(key, changed);
    m_rendered.remove(target);
    return WebReply::json(QJsonDocument(QJsonObject{
        {QStringLiteral("msg"), QStringLiteral("Changed property '%1'").arg(key)},
        {QStringLiteral("key"), key},
        {QStringLiteral("value"), changed},
    }));
}

QJsonValue WebResources::converted(const QJsonValue &current, const QString &text)
{
    // The form carries text; the camera keeps the type the property had.
    if (current.isDouble()) {
        bool ok = false;
        const double number = text.toDouble(&ok);
        if (ok)
            return number;
    } else if (current.isBool()) {
        if (text == QLatin1String("true") || text == QLatin1String("false"))
            return text == QLatin1String("true");
    } else if (current.isObject() || current.isArray()) {
        const QJsonDocument parsed = QJsonDocument::fromJson(text.toUtf8());
        if (parsed.isObject())
            return parsed.object();
        if (parsed.isArray())
            return parsed.array();
    }
    return text;
}

WebReply WebResources::accessList(const QByteArray &method, const QString &list,
                                  const QByteArray &body)
{
    if (!m_accessLists.contains(list))
        return WebReply::message(QStringLiteral("No access list '%1'").arg(list), 404);
    if (method != "GET" && method != "POST" && method != "DELETE")
        return methodNotAllowed(method, QStringLiteral("/access/") + list);

    QJsonObject request;
    if (!body.trimmed().isEmpty()) {
        QJsonParseError error;
        const QJsonDocument parsed = QJsonDocument::fromJson(body, &error);
        if (error.error != QJsonParseError::NoError || !parsed.isObject())
            return WebReply::message(QStringLiteral("The body must be a JSON object"), 400);
        request = parsed.object();
    }
    AccessList &access = m_accessLists[list];
    const QString pattern = request.value(QStringLiteral("pattern")).toString();

    if (method == "GET") {
        QJsonArray found;
        for (const QJsonValue &entry : std::as_const(access.entries)) {
            if (matches(entry, pattern))
                found.append(entry);
        }
        return WebReply::json(QJsonDocument(found));
    }

    if (method == "POST") {
        const QString plate = request.value(QStringLiteral("plate")).toString();
        if (plate.isEmpty())
            return WebReply::message(QStringLiteral("An entry needs a plate"), 400);
        access.entries.append(request);
        access.uploaded = false;
        return WebReply::message(QStringLiteral("Added %1 to access list %2").arg(plate, list));
    }

    const QJsonValue index = request.value(QStringLiteral("index"));
    if (index.isUndefined() && pattern.isEmpty())
        return WebReply::message(QStringLiteral("Give the index or the pattern of the entries to "
                                                "delete"),
                                 400);
    QList<qsizetype> matching;
    for (qsizetype i = 0; i < access.entries.size(); ++i) {
        if (matches(access.entries.at(i), pattern))
            matching.append(i);
    }
    const QString among = pattern.isEmpty()
                              ? QString()
                              : QStringLiteral(" matching '%1'").arg(pattern);
    QString message;
    if (!index.isUndefined()) {
        const double number = index.toDouble(-1);
        if (!index.isDouble() || number != std::floor(number))
            return WebReply::message(QStringLiteral("The index must be a whole number"), 400);
        if (number < 0 || number >= double(matching.size()))
            return WebReply::message(QStringLiteral("No entry with index %1%2")
                                         .arg(QString::number(number), among),
                                     404);
        const qsizetype position = matching.at(static_cast<qsizetype>(number));
        message = QStringLiteral("Deleted entry %1 (%2)")
                      .arg(QString::number(position),
                           access.entries.at(position)[QStringLiteral("plate")].toString());
        access.entries.removeAt(position);
    } else {
        if (matching.isEmpty())
            return WebReply::message(QStringLiteral("No entry%1").arg(among), 404);
        for (auto position = matching.crbegin(); position != matching.crend(); ++position)
            access.entries.removeAt(*position);
        message = QStringLiteral("Deleted %1 entries%2").arg(matching.size()).arg(among);
    }
    access.uploaded = false;
    return WebReply::message(message);
}

bool WebResources::matches(const QJsonValue &entry, const QString &pattern)
{
    if (pattern.isEmpty())
        return true;
    const QString plate = entry[QStringLiteral("plate")].toString();
    const QRegularExpression expression(pattern);
    if (expression.isValid())
        return expression.match(plate).hasMatch();
    return plate.contains(pattern);
}

WebReply WebResources::accessListFile(const QByteArray &method, const QString &list,
                                      const QList<MultipartParser::Part> &parts, bool isMultipart)
{
    if (!m_accessLists.contains(list))
        return WebReply::message(QStringLiteral("No access list '%1'").arg(list), 404);
    AccessList &access = m_accessLists[list];

    if (method == "GET")
        return attachment(kFileType, access.uploaded ? access.uploadedFile
                                                     : accessFile(access.entries),
                          list);
    if (method != "PUT")
        return methodNotAllowed(method, QStringLiteral("/access/%1/file").arg(list));
    if (!isMultipart)
        return WebReply::message(QStringLiteral("An access list is uploaded as multipart form "
                                                "data"),
                                 415);
    const MultipartParser::Part *file = findPart(parts, "list");
    if (!file)
        return WebReply::message(QStringLiteral("The upload has no part named 'list'"), 400);
    access.entries = entriesFromFile(file->body);
    access.uploaded = true;
    access.uploadedFile = file->body;
    return WebReply::message(QStringLiteral("Access list %1 replaced: %2 entries")
                                 .arg(list)
                                 .arg(access.entries.size()));
}

QByteArray WebResources::accessFile(const QJsonArray &entries)
{
    return QJsonDocument(entries).toJson(QJsonDocument::Indented);
}

QJsonArray WebResources::entriesFromFile(const QByteArray &file)
{
    // The camera's own download format is a JSON array; a plain list has one plate per line.
    const QJsonDocument parsed = QJsonDocument::fromJson(file);
    if (parsed.isArray())
        return parsed.array();
    QJsonArray entries;
    for (const QByteArray &line : file.split('\n')) {
        const QString plate = QString::fromUtf8(line.trimmed());
        if (!plate.isEmpty())
            entries.append(QJsonObject{{QStringLiteral("plate"), plate},
                                       {QStringLiteral("always"), true}});
    }
    return entries;
}

const MultipartParser::Part *WebResources::findPart(const QList<MultipartParser::Part> &parts,
                                                    const QByteArray &name)
{
    const auto part = std::find_if(parts.cbegin(), parts.cend(),
                                   [&name](const MultipartParser::Part &p) { return p.name == name; });
    return part == parts.cend() ? nullptr : &*part;
}

WebReply WebResources::classifierFile(const QByteArray &method, const QString &name,
                                      const QList<MultipartParser::Part> &parts, bool isMultipart)
{
    const QString path = QStringLiteral("/classifier/file/") + name;
    if (method == "GET") {
        if (!m_classifiers.contains(name))
            return WebReply::message(QStringLiteral("No classifier '%1'").arg(name), 404);
        return attachment(kFileType, m_classifiers.value(name), name);
    }
    if (method == "PATCH") {
        if (!m_classifiers.contains(name))
            return WebReply::message(QStringLiteral("No classifier '%1'").arg(name), 404);
        m_defaultClassifier = name;
        m_rendered.remove(kClassifierInfo);
        m_rendered.remove(kClassifierList);
        return WebReply::message(QStringLiteral("Classifier '%1' is now the default").arg(name));
    }
    if (method != "POST")
        return methodNotAllowed(method, path);
    if (!isMultipart)
        return WebReply::message(QStringLiteral("A classifier is uploaded as multipart form data"),
                                 415);
    const MultipartParser::Part *file = findPart(parts, "classifier");
    if (!file)
        return WebReply::message(QStringLiteral("The upload has no part named 'classifier'"), 400);
    const MultipartParser::Part *overwrite = findPart(parts, "overwrite");
    if (m_classifiers.contains(name) && !(overwrite && overwrite->body.trimmed() == "true"))
        return WebReply::message(QStringLiteral("Classifier '%1' exists already").arg(name), 409);
    m_classifiers.insert(name, file->body);
    m_rendered.remove(kClassifierInfo);
    m_rendered.remove(kClassifierList);
    return WebReply::message(QStringLiteral("Classifier '%1' stored (%2 bytes)")
                                 .arg(name)
                                 .arg(file->body.size()));
}

QJsonObject WebResources::classifierInfo() const
{
    const QByteArray content = m_classifiers.value(m_defaultClassifier);
    return QJsonObject{
        {QStringLiteral("name"), m_defaultClassifier},
        {QStringLiteral("size"), content.size()},
        {QStringLiteral("sha256"),
         QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex())},
        {QStringLiteral("threshold"), 0.1},
        {QStringLiteral("loaded"), true},
    };
}

QJsonArray WebResources::classifierList() const
{
    QJsonArray list;
    for (auto classifier = m_classifiers.cbegin(); classifier != m_classifiers.cend(); ++classifier) {
        list.append(QJsonObject{{QStringLiteral("name"), classifier.key()},
                                {QStringLiteral("size"), classifier.value().size()},
                                {QStringLiteral("default"), classifier.key() == m_defaultClassifier}});
    }
    return list;
}

WebReply WebResources::cameraOperation(const QString &operation)
{
    if (operation == QLatin1String("reinit"))
        return WebReply::message(QStringLiteral("Reinitialisation completed"));
    if (operation == QLatin1String("reset"))
        return WebReply::message(QStringLiteral("Reset started"));
    return WebReply::message(QStringLiteral("Reboot started"));
}

WebReply WebResources::snapshot()
{
    return WebReply::data(QByteArrayLiteral("image/png"), SnapshotPainter::png(m_seed, m_frames++));
}

WebReply WebResources::exportResults()
{
    ZipWriter zip;
    const QDateTime now = QDateTime::currentDateTime();
    for (int daysAgo = 2; daysAgo >= 0; --daysAgo) {
        const QDate day = now.date().addDays(-daysAgo);
        zip.addFile(QStringLiteral("results/%1_%2.csv").arg(m_camera.serial, day.toString(Qt::ISODate)),
                    m_content.resultFile(day), now);
    }
    return attachment(QByteArrayLiteral("application/zip"), zip.archive(),
                      QStringLiteral("results.zip"));
}
