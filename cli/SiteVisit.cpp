#include "SiteVisit.h"

#include "CameraRecord.h"
#include "Output.h"
#include "SiteStore.h"

#include <QCommandLineParser>

SiteVisit::SiteVisit()
    : m_option(QStringLiteral("site"), QStringLiteral("Keep what was seen as a visit of site NAME, as the window does."),
               QStringLiteral("NAME"))
{
}

void SiteVisit::add(QCommandLineParser &parser)
{
    parser.addOption(m_option);
}

QString SiteVisit::read(const QCommandLineParser &parser)
{
    if (!parser.isSet(m_option))
        return {};
    m_site = parser.value(m_option).trimmed();
    if (m_site.isEmpty())
        return QStringLiteral("--site needs a name");
    m_time = QDateTime::currentDateTime();
    return {};
}

bool SiteVisit::isWanted() const
{
    return !m_site.isEmpty();
}

bool SiteVisit::store(const QString &command, const QList<QSharedPointer<CameraItem>> &cameras) const
{
    SiteStore store;
    QList<CameraRecord> records;
    for (const QSharedPointer<CameraItem> &camera : cameras)
        records.append(CameraRecord::of(*camera));
    VisitInfo visit;
    if (store.open(SiteStore::defaultPath()))
        visit = store.storeVisit(m_site, m_time, records);
    if (visit.id == 0) {
        Output::note(QStringLiteral("camera-cli %1: visit of site '%2' not kept: %3")
                         .arg(command, m_site, store.errorString()));
        return false;
    }
    Output::note(QStringLiteral("camera-cli %1: visit %2 of site '%3' kept: %4 cameras")
                     .arg(command, QString::number(visit.id), m_site, QString::number(visit.cameraCount)));
    return true;
}
