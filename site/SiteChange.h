#pragma once

#include <QString>

// One difference between two visits of a site, about one camera.
struct SiteChange
{
    enum class Kind { New, Missing, Moved, Firmware, Discovery, System, ANPR, AccessLists, Classifier, KindCount };

    Kind kind = Kind::New;
    QString serial;
    // The property, list or classifier concerned; empty for a camera new, missing or moved.
    QString subject;
    QString before;
    QString after;

    // The heading of the report's table of this kind, e.g. "Moved cameras".
    static QString title(Kind kind);
    // A stable name for files and scripts, e.g. "moved".
    static QString name(Kind kind);

    bool operator==(const SiteChange &other) const
    {
        return kind == other.kind && serial == other.serial && subject == other.subject && before == other.before
            && after == other.after;
    }
};
