#include "SiteChange.h"

#include <iterator>

namespace {

struct KindTexts
{
    const char *title;
    const char *name;
};

constexpr KindTexts kKindTexts[] = {
    {"New cameras", "new"},
    {"Missing cameras", "missing"},
    {"Moved cameras", "moved"},
    {"Firmware changed", "firmware"},
    {"Discovery properties changed", "discovery"},
    {"System properties changed", "system"},
    {"ANPR properties changed", "anpr"},
    {"Access lists changed", "access-lists"},
    {"Classifiers changed", "classifier"},
};
static_assert(std::size(kKindTexts) == static_cast<size_t>(SiteChange::Kind::KindCount));

} // namespace

QString SiteChange::title(Kind kind)
{
    return QString::fromLatin1(kKindTexts[static_cast<int>(kind)].title);
}

QString SiteChange::name(Kind kind)
{
    return QString::fromLatin1(kKindTexts[static_cast<int>(kind)].name);
}
