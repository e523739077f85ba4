#include "ReportWriter.h"

#include <QJsonArray>
#include <QStringList>

namespace {

QString csvField(const QString &text)
{
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) && !text.contains(QLatin1Char('\n')))
        return text;
    QString quoted = text;
    quoted.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

} // namespace

QJsonObject ReportWriter::json(const VisitInfo &visit)
{
    return QJsonObject{{QStringLiteral("id"), visit.id},
                       {QStringLiteral("time"), visit.time.toUTC().toString(Qt::ISODate)},
                       {QStringLiteral("cameras"), visit.cameraCount}};
}

QString ReportWriter::visitTime(const VisitInfo &visit)
{
    return visit.time.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

QByteArray ReportWriter::csv(const DifferenceReport &report)
{
    QStringList lines{QStringLiteral("Site,Earlier visit,Later visit,Change,Serial,Property,Before,After")};
    for (const SiteChange &change : report.changes) {
        lines << QStringList{csvField(report.after.site),         visitTime(report.before), visitTime(report.after),
                             csvField(SiteChange::title(change.kind)), csvField(change.serial), csvField(change.subject),
                             csvField(change.before),            csvField(change.after)}
                     .join(QLatin1Char(','));
    }
    return (lines.join(QStringLiteral("\r\n")) + QStringLiteral("\r\n")).toUtf8();
}

QByteArray ReportWriter::html(const DifferenceReport &report)
{
    const QString site = report.after.site.toHtmlEscaped();
    QString page = QStringLiteral(
                       "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>%1: what changed</title>\n"
                       "<style>body{font-family:sans-serif;margin:2em}table{border-collapse:collapse;margin-bottom:"
                       "1.5em}th,td{border:1px solid #999;padding:4px 8px;text-align:left}th{background:#eee}"
                       "</style></head><body>\n<h1>%1</h1>\n<p>Changes between the visit of %2 (%3 cameras) and the "
                       "visit of %4 (%5 cameras).</p>\n")
                       .arg(site, visitTime(report.before))
                       .arg(report.before.cameraCount)
                       .arg(visitTime(report.after))
                       .arg(report.after.cameraCount);
    if (report.changes.isEmpty())
        page += QStringLiteral("<p>Nothing changed.</p>\n");
    for (int k = 0; k < static_cast<int>(SiteChange::Kind::KindCount); ++k) {
        const auto kind = static_cast<SiteChange::Kind>(k);
        QString rows;
        for (const SiteChange &change : report.changes) {
            if (change.kind != kind)
                continue;
            rows += QStringLiteral("<tr><td>%1</td><td>%2</td><td>%3</td><td>%4</td></tr>\n")
                        .arg(change.serial.toHtmlEscaped(), change.subject.toHtmlEscaped(),
                             change.before.toHtmlEscaped(), change.after.toHtmlEscaped());
        }
        if (rows.isEmpty())
            continue;
        page += QStringLiteral("<h2>%1</h2>\n<table><tr><th>Serial</th><th>Property</th><th>Before</th>"
                               "<th>After</th></tr>\n%2</table>\n")
                    .arg(SiteChange::title(kind), rows);
    }
    return (page + QStringLiteral("</body></html>\n")).toUtf8();
}

QJsonObject ReportWriter::json(const DifferenceReport &report)
{
    QJsonArray changes;
    for (const SiteChange &change : report.changes) {
        changes.append(QJsonObject{{QStringLiteral("kind"), SiteChange::name(change.kind)},
                                   {QStringLiteral("serial"), change.serial},
                                   {QStringLiteral("property"), change.subject},
                                   {QStringLiteral("before"), change.before},
                                   {QStringLiteral("after"), change.after}});
    }
    return QJsonObject{{QStringLiteral("site"), report.after.site},
                       {QStringLiteral("before"), json(report.before)},
                       {QStringLiteral("after"), json(report.after)},
                       {QStringLiteral("changes"), changes}};
}
