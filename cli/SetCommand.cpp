#include "SetCommand.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

SetCommand::SetCommand(QObject *parent)
    : WebCommand(parent)
    , m_system(QStringLiteral("system"), QStringLiteral("Set a system property; repeatable."), QStringLiteral("key=value"))
    , m_anpr(QStringLiteral("anpr"), QStringLiteral("Set an ANPR property; repeatable."), QStringLiteral("key=value"))
    , m_propertiesFile(QStringLiteral("properties"),
                       QStringLiteral("Set the properties of a JSON file: {\"system\": {...}, \"anpr\": {...}}."),
                       QStringLiteral("FILE"))
    , m_reboot(QStringLiteral("reboot"), QStringLiteral("Reboot the cameras."))
    , m_reset(QStringLiteral("reset"), QStringLiteral("Reset the cameras."))
    , m_reinit(QStringLiteral("reinit"), QStringLiteral("Reinitialise the cameras."))
    , m_defaultClassifier(QStringLiteral("default-classifier"), QStringLiteral("Make this classifier the default."),
                          QStringLiteral("name"))
    , m_uploadAccessList(QStringLiteral("upload-access-list"), QStringLiteral("Upload FILE as access list LIST."),
                         QStringLiteral("LIST=FILE"))
    , m_downloadAccessList(QStringLiteral("download-access-list"),
                           QStringLiteral("Download access list LIST into the --directory."), QStringLiteral("LIST"))
    , m_uploadClassifier(QStringLiteral("upload-classifier"), QStringLiteral("Upload FILE as classifier NAME."),
                         QStringLiteral("NAME=FILE"))
    , m_downloadClassifier(QStringLiteral("download-classifier"),
                           QStringLiteral("Download classifier NAME into the --directory."), QStringLiteral("NAME"))
    , m_directory(QStringLiteral("directory"), QStringLiteral("Folder for downloads (default the current one)."),
                  QStringLiteral("DIR"), QStringLiteral("."))
{
}

QString SetCommand::name() const
{
    return QStringLiteral("set");
}

QString SetCommand::summary() const
{
    return QStringLiteral("Change properties, reboot, reset, reinitialise, send or fetch lists and classifiers.");
}

void SetCommand::addCommandOptions(QCommandLineParser &parser)
{
    parser.addOptions({m_system, m_anpr, m_propertiesFile, m_reboot, m_reset, m_reinit, m_defaultClassifier,
                       m_uploadAccessList, m_downloadAccessList, m_uploadClassifier, m_downloadClassifier,
                       m_directory});
}

QString SetCommand::readPairs(const QStringList &pairs, QMap<QString, QString> &properties) const
{
    for (const QString &pair : pairs) {
        const qsizetype equals = pair.indexOf(QLatin1Char('='));
        if (equals <= 0)
            return QStringLiteral("bad property '%1': key=value expected").arg(pair);
        properties.insert(pair.left(equals), pair.mid(equals + 1));
    }
    return {};
}

QString SetCommand::readPropertiesFile(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read %1: %2").arg(fileName, file.errorString());
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (!document.isObject())
        return QStringLiteral("%1 is not a JSON object: %2").arg(fileName, parseError.errorString());
    const QJsonObject groups = document.object();
    for (auto group = groups.begin(); group != groups.end(); ++group) {
        const bool system = group.key() == QLatin1String("system");
        if ((!system && group.key() != QLatin1String("anpr")) || !group.value().isObject())
            return QStringLiteral("%1: only \"system\" and \"anpr\" objects are taken, not \"%2\"").arg(fileName, group.key());
        const QJsonObject values = group.value().toObject();
        for (auto value = values.begin(); value != values.end(); ++value)
            (system ? m_systemProperties : m_anprProperties).insert(value.key(), value.value().toVariant().toString());
    }
    return {};
}

QString SetCommand::readUpload(const QString &text, QPair<QString, QString> &upload) const
{
    const qsizetype equals = text.indexOf(QLatin1Char('='));
    if (equals <= 0)
        return QStringLiteral("bad upload '%1': NAME=FILE expected").arg(text);
    upload = {text.left(equals), text.mid(equals + 1)};
    QFile file(upload.second);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read %1: %2").arg(upload.second, file.errorString());
    return {};
}

QString SetCommand::prepareCommand(const QCommandLineParser &parser)
{
    QString error = readPairs(parser.values(m_system), m_systemProperties);
    if (error.isEmpty())
        error = readPairs(parser.values(m_anpr), m_anprProperties);
    if (error.isEmpty() && parser.isSet(m_propertiesFile))
        error = readPropertiesFile(parser.value(m_propertiesFile));
    if (!error.isEmpty())
        return error;
    const QString directory = QDir(parser.value(m_directory)).absolutePath();
    const QFileInfo folder(directory);
    const bool downloads = parser.isSet(m_downloadAccessList) || parser.isSet(m_downloadClassifier);
    if (downloads && (!folder.isDir() || !folder.isWritable()))
        return QStringLiteral("cannot write into %1").arg(directory);

    const QMap<QString, QString> system = m_systemProperties;
    const QMap<QString, QString> anpr = m_anprProperties;
    // One line for each property: the client sends each on its own.
    for (auto it = system.cbegin(); it != system.cend(); ++it)
        m_operations.append([key = it.key(), value = it.value()](CameraAPI &api, const QSharedPointer<CameraItem> &camera) {
            api.setSystemProperties(camera, {{key, value}});
        });
    for (auto it = anpr.cbegin(); it != anpr.cend(); ++it)
        m_operations.append([key = it.key(), value = it.value()](CameraAPI &api, const QSharedPointer<CameraItem> &camera) {
            api.setANPRProperties(camera, {{key, value}});
        });
    if (parser.isSet(m_reinit))
        m_operations.append([](CameraAPI &api, const QSharedPointer<CameraItem> &camera) { api.reinit(camera); });
    if (parser.isSet(m_defaultClassifier))
        m_operations.append([name = parser.value(m_defaultClassifier)](CameraAPI &api, const QSharedPointer<CameraItem> &camera) {
            api.defaultToClassifier(camera, name);
        });
    for (const QString &text : parser.values(m_uploadAccessList)) {
        QPair<QString, QString> upload;
        if (error = readUpload(text, upload); !error.isEmpty())
            return error;
        m_operations.append([upload](CameraAPI &api, const QSharedPointer<CameraItem> &camera) {
            api.uploadAccessList(camera, upload.first, upload.second);
        });
    }
    for (const QString &text : parser.values(m_uploadClassifier)) {
        QPair<QString, QString> upload;
        if (error = readUpload(text, upload); !error.isEmpty())
            return error;
        m_operations.append([upload](CameraAPI &api, const QSharedPointer<CameraItem> &camera) {
            api.uploadClassifier(camera, upload.first, upload.second, true);
        });
    }
    for (const QString &list : parser.values(m_downloadAccessList))
        m_operations.append([list, directory](CameraAPI &api, const QSharedPointer<CameraItem> &camera) {
            api.downloadAccessList(camera, list, directory);
        });
    for (const QString &classifier : parser.values(m_downloadClassifier))
        m_operations.append([classifier, directory](CameraAPI &api, const QSharedPointer<CameraItem> &camera) {
            api.downloadClassifier(camera, classifier, directory);
        });
    // Whatever else was asked goes before the camera goes away.
    if (parser.isSet(m_reset))
        m_operations.append([](CameraAPI &api, const QSharedPointer<CameraItem> &camera) { api.reset(camera); });
    if (parser.isSet(m_reboot))
        m_operations.append([](CameraAPI &api, const QSharedPointer<CameraItem> &camera) { api.reboot(camera); });
    if (m_operations.isEmpty())
        return QStringLiteral("nothing to set: give properties or an operation (see camera-cli set --help)");
    return {};
}

int SetCommand::loggedIn(const QSharedPointer<CameraItem> &camera)
{
    for (const Operation &operation : std::as_const(m_operations))
        operation(api(), camera);
    return int(m_operations.size());
}
