#include "CameraCommand.h"

#include "Output.h"
#include "Password.h"

#include <QCommandLineParser>
#include <QJsonDocument>

CameraCommand::CameraCommand(QObject *parent)
    : Command(parent)
    , m_all(QStringLiteral("all"), QStringLiteral("Every camera that answers the scan."))
    , m_timeout(QStringLiteral("timeout"), QString(), QStringLiteral("S"))
    , m_user(QStringLiteral("user"), QStringLiteral("User name (default admin)."), QStringLiteral("name"),
             QStringLiteral("admin"))
    , m_passwordFile(QStringLiteral("password-file"), QStringLiteral("Read the password from the first line of FILE."),
                     QStringLiteral("FILE"))
{
    connect(&m_scan, &CameraScan::finished, this, &CameraCommand::onScanned);
    connect(&m_results, &CameraResults::allSettled, this, [this] {
        Output::json(QJsonDocument(m_results.toJson(name())));
        const bool afterwards = settled();
        emit finished(m_results.failures() == 0 && afterwards ? kSuccess : kFailure);
    });
}

void CameraCommand::addOptions(QCommandLineParser &parser)
{
    m_probe.add(parser);
    m_timeout.setDescription(
        QStringLiteral("Give up on a camera that has not answered after S seconds (default %1).").arg(defaultTimeout()));
    parser.addOptions({m_all, m_timeout, m_user, m_passwordFile});
    addCommandOptions(parser);
    parser.addPositionalArgument(QStringLiteral("cameras"), QStringLiteral("Serials or addresses of the cameras."),
                                 QStringLiteral("[SERIAL|ADDRESS...]"));
}

QString CameraCommand::prepare(const QCommandLineParser &parser)
{
    QString error = m_probe.read(parser);
    if (!error.isEmpty())
        return error;
    if (!m_targets.parse(parser.positionalArguments(), parser.isSet(m_all), error))
        return error;
    bool ok = true;
    m_timeoutSeconds = parser.isSet(m_timeout) ? parser.value(m_timeout).toInt(&ok) : defaultTimeout();
    if (!ok || m_timeoutSeconds < 1)
        return QStringLiteral("bad time-out '%1'").arg(parser.value(m_timeout));
    error = prepareCommand(parser);
    if (!error.isEmpty())
        return error;
    m_userName = parser.value(m_user);
    if (!Password::obtain(parser.value(m_passwordFile), passwordVariable(), passwordPrompt(), m_password, error))
        return error;
    return {};
}

int CameraCommand::defaultTimeout() const
{
    return 30;
}

int CameraCommand::deadline() const
{
    return m_timeoutSeconds;
}

void CameraCommand::start()
{
    m_scan.start(m_probe.group(), m_probe.port(), m_probe.ttl(), m_probe.seconds(), [this] {
        return !m_targets.takesAll() && m_targets.missing(m_model.cameras()).isEmpty();
    });
}

void CameraCommand::onScanned()
{
    const QList<QSharedPointer<CameraItem>> found = m_model.cameras();
    m_selected = m_targets.select(found);
    m_results.addMissing(m_targets.missing(found));
    m_results.begin(m_selected, deadline());
    if (!m_selected.isEmpty())
        work(m_selected);
}

bool CameraCommand::settled()
{
    return true;
}

QList<QSharedPointer<CameraItem>> CameraCommand::selected() const
{
    return m_selected;
}

CameraResults &CameraCommand::results()
{
    return m_results;
}

CameraModel &CameraCommand::model()
{
    return m_model;
}

QString CameraCommand::user() const
{
    return m_userName;
}

QString CameraCommand::password() const
{
    return m_password;
}

int CameraCommand::timeoutSeconds() const
{
    return m_timeoutSeconds;
}
