#pragma once

#include "SiteChange.h"
#include "VisitInfo.h"

#include <QList>

// What changed on a site between two visits. A report without an earlier visit (its id 0) is
// the first visit of the site, which has nothing to compare with.
struct DifferenceReport
{
    VisitInfo before;
    VisitInfo after;
    QList<SiteChange> changes;

    bool hasEarlierVisit() const { return before.id != 0; }
};
