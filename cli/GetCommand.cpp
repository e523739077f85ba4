#include "GetCommand.h"

#include "CategoryReads.h"

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonObject>

GetCommand::GetCommand(QObject *parent)
    : WebCommand(parent)
    , m_category(QStringLiteral("category"), QString(), QStringLiteral("names"))
{
    connect(&api(), &CameraAPI::resourceReceived, this, &GetCommand::onResource);
}

QString GetCommand::name() const
{
    return QStringLiteral("get");
}

QString GetCommand::summary() const
{
    return QStringLiteral("Read categories of cameras as JSON.");
}

void GetCommand::addCommandOptions(QCommandLineParser &parser)
{
    QStringList names;
    for (const CameraItem::Category category : CategoryReads::all())
        names.append(CategoryReads::nameOf(category));
    m_category.setDescription(QStringLiteral("Read these categories, comma-separated (default all): %1.")
                                  .arg(names.join(QStringLiteral(", "))));
    parser.addOption(m_category);
    m_visit.add(parser);
}

QString GetCommand::prepareCommand(const QCommandLineParser &parser)
{
    const QString error = m_visit.read(parser);
    if (!error.isEmpty())
        return error;
    if (!parser.isSet(m_category)) {
        m_categories = CategoryReads::all();
        return {};
    }
    const QStringList names = parser.value(m_category).split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString &name : names) {
        const CameraItem::Category category = CategoryReads::categoryNamed(name.trimmed());
        if (category == CameraItem::CategoryCount)
            return QStringLiteral("unknown category '%1'").arg(name);
        if (!m_categories.contains(category))
            m_categories.append(category);
    }
    if (m_categories.isEmpty())
        return QStringLiteral("no category named");
    return {};
}

int GetCommand::loggedIn(const QSharedPointer<CameraItem> &camera)
{
    for (const CameraItem::Category category : std::as_const(m_categories))
        (api().*CategoryReads::readOf(category))(camera);
    return int(m_categories.size());
}

void GetCommand::onResource(const QSharedPointer<CameraItem> &camera, const QString &path,
                            const QJsonDocument &document)
{
    const CameraItem::Category category = CameraItem::categoryOfPath(path);
    if (!m_categories.contains(category))
        return;
    const QJsonValue value = document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
    results().store(camera, QStringLiteral("categories"), CategoryReads::nameOf(category), value);
    // The visit keeps what the camera's rows hold, as in the window.
    if (m_visit.isWanted())
        model().attachResource(camera, path, document);
}

bool GetCommand::settled()
{
    return !m_visit.isWanted() || m_visit.store(name(), selected());
}
