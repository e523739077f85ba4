#include "DiffCommand.h"

#include "Output.h"
#include "ReportWriter.h"
#include "SiteStore.h"

#include <QCommandLineParser>
#include <QJsonDocument>
#include <QTextStream>

DiffCommand::DiffCommand(QObject *parent)
    : SiteCommand(parent)
    , m_csv(QStringLiteral("csv"), QStringLiteral("Print the report as comma-separated text."))
    , m_html(QStringLiteral("html"), QStringLiteral("Print the report as a page for the customer."))
{
}

QString DiffCommand::name() const
{
    return QStringLiteral("diff");
}

QString DiffCommand::summary() const
{
    return QStringLiteral("Tell what changed on a site between two stored visits.");
}

void DiffCommand::addCommandOptions(QCommandLineParser &parser)
{
    parser.addOptions({m_csv, m_html});
    parser.addPositionalArgument(QStringLiteral("visits"),
                                 QStringLiteral("The earlier and the later visit (default: the last two)."),
                                 QStringLiteral("[VISIT VISIT]"));
}

QString DiffCommand::prepareCommand(const QCommandLineParser &parser)
{
    if (parser.isSet(m_csv) + parser.isSet(m_html) + parser.isSet(QStringLiteral("json")) > 1)
        return QStringLiteral("--json, --csv and --html exclude each other");
    m_format = parser.isSet(m_csv)    ? Format::Csv
             : parser.isSet(m_html)   ? Format::Html
             : wantsJson()            ? Format::Json
                                      : Format::Text;
    const QStringList visits = parser.positionalArguments();
    if (visits.size() == 1 || visits.size() > 2)
        return QStringLiteral("give two visits to compare, or none for the last two");
    for (const QString &text : visits) {
        bool ok = false;
        const qint64 id = text.toLongLong(&ok);
        if (!ok || id < 1)
            return QStringLiteral("bad visit '%1'").arg(text);
        m_ids.append(id);
    }
    return {};
}

bool DiffCommand::find(const QList<VisitInfo> &visits, qint64 id, VisitInfo &visit) const
{
    for (const VisitInfo &candidate : visits) {
        if (candidate.id == id) {
            visit = candidate;
            return true;
        }
    }
    complain(QStringLiteral("no visit %1 of site '%2' is stored; see camera-cli history --site '%2'")
                 .arg(QString::number(id), site()));
    return false;
}

int DiffCommand::read(const SiteStore &store)
{
    const QList<VisitInfo> visits = store.visits(site());
    VisitInfo before;
    VisitInfo after;
    if (!m_ids.isEmpty()) {
        if (!find(visits, m_ids.at(0), before) || !find(visits, m_ids.at(1), after))
            return kUsage;
    } else if (visits.size() < 2) {
        complain(QStringLiteral("%1 of site '%2' stored: nothing to compare")
                     .arg(visits.isEmpty() ? QStringLiteral("no visit") : QStringLiteral("only one visit"), site()));
        return kFailure;
    } else {
        before = visits.at(visits.size() - 2);
        after = visits.last();
    }
    print(store.compare(before, after));
    return kSuccess;
}

void DiffCommand::print(const DifferenceReport &report) const
{
    switch (m_format) {
    case Format::Json:
        Output::json(QJsonDocument(ReportWriter::json(report)));
        return;
    case Format::Csv:
        Output::text(QString::fromUtf8(ReportWriter::csv(report)));
        return;
    case Format::Html:
        Output::text(QString::fromUtf8(ReportWriter::html(report)));
        return;
    case Format::Text:
        break;
    }
    QString text;
    QTextStream lines(&text);
    lines << report.after.site << ": visit " << report.before.id << " (" << ReportWriter::visitTime(report.before)
          << ") to visit " << report.after.id << " (" << ReportWriter::visitTime(report.after) << ")\n";
    if (report.changes.isEmpty())
        lines << "Nothing changed.\n";
    for (const SiteChange &change : report.changes) {
        lines << qSetFieldWidth(14) << Qt::left << SiteChange::name(change.kind) << qSetFieldWidth(20) << change.serial
              << qSetFieldWidth(0) << change.subject;
        if (!change.before.isEmpty() || !change.after.isEmpty())
            lines << (change.subject.isEmpty() ? "" : ": ") << change.before << " -> " << change.after;
        lines << '\n';
    }
    lines.flush();
    Output::text(text);
}
