#include "HistoryCommand.h"

#include "Output.h"
#include "ReportWriter.h"
#include "SiteStore.h"

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTextStream>

QString HistoryCommand::name() const
{
    return QStringLiteral("history");
}

QString HistoryCommand::summary() const
{
    return QStringLiteral("List the stored visits of a site.");
}

void HistoryCommand::addCommandOptions(QCommandLineParser &)
{
}

QString HistoryCommand::prepareCommand(const QCommandLineParser &parser)
{
    if (!parser.positionalArguments().isEmpty())
        return QStringLiteral("history takes no arguments: '%1'").arg(parser.positionalArguments().first());
    return {};
}

int HistoryCommand::read(const SiteStore &store)
{
    const QList<VisitInfo> visits = store.visits(site());
    if (visits.isEmpty()) {
        complain(QStringLiteral("no visit of site '%1' is stored").arg(site()));
        return kFailure;
    }
    if (wantsJson()) {
        QJsonArray list;
        for (const VisitInfo &visit : visits)
            list.append(ReportWriter::json(visit));
        Output::json(QJsonDocument(QJsonObject{{QStringLiteral("site"), site()}, {QStringLiteral("visits"), list}}));
        return kSuccess;
    }
    QString text;
    QTextStream table(&text);
    table << qSetFieldWidth(8) << Qt::left << "VISIT" << qSetFieldWidth(20) << "TIME" << qSetFieldWidth(0)
          << "CAMERAS\n";
    for (const VisitInfo &visit : visits) {
        table << qSetFieldWidth(8) << visit.id << qSetFieldWidth(20) << ReportWriter::visitTime(visit)
              << qSetFieldWidth(0) << visit.cameraCount << '\n';
    }
    table.flush();
    Output::text(text);
    return kSuccess;
}
