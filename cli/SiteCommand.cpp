#include "SiteCommand.h"

#include "Output.h"
#include "SiteStore.h"

#include <QCommandLineParser>

SiteCommand::SiteCommand(QObject *parent)
    : Command(parent)
    , m_site(QStringLiteral("site"),
             QStringLiteral("The site, as named in the window or by scan --site and get --site."),
             QStringLiteral("NAME"))
    , m_json(QStringLiteral("json"), QStringLiteral("Print JSON (the default unless on a terminal)."))
{
}

void SiteCommand::addOptions(QCommandLineParser &parser)
{
    parser.addOptions({m_site, m_json});
    addCommandOptions(parser);
}

QString SiteCommand::prepare(const QCommandLineParser &parser)
{
    m_siteName = parser.value(m_site).trimmed();
    if (m_siteName.isEmpty())
        return QStringLiteral("--site NAME is needed");
    m_wantsJson = parser.isSet(m_json) || !Output::stdoutIsTerminal();
    return prepareCommand(parser);
}

void SiteCommand::start()
{
    SiteStore store;
    if (!store.open(SiteStore::defaultPath())) {
        complain(store.errorString());
        emit finished(kFailure);
        return;
    }
    emit finished(read(store));
}

QString SiteCommand::site() const
{
    return m_siteName;
}

bool SiteCommand::wantsJson() const
{
    return m_wantsJson;
}

void SiteCommand::complain(const QString &text) const
{
    Output::note(QStringLiteral("camera-cli %1: %2").arg(name(), text));
}
