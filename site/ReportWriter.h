#pragma once

#include "DifferenceReport.h"

#include <QByteArray>
#include <QJsonObject>

// The report of a difference as files: comma-separated text for spreadsheets, a page for the
// customer (site, dates, one table per kind of change) and JSON for scripts.
class ReportWriter
{
public:
    static QByteArray csv(const DifferenceReport &report);
    static QByteArray html(const DifferenceReport &report);
    static QJsonObject json(const DifferenceReport &report);
    // A visit as the JSON report gives it: id, time (UTC) and camera count.
    static QJsonObject json(const VisitInfo &visit);
    // The report's date of a visit, e.g. "2026-11-23 21:58".
    static QString visitTime(const VisitInfo &visit);
};
