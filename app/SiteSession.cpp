#include "SiteSession.h"

#include "CameraModel.h"
#include "ReportWriter.h"
#include "SiteHistoryDialog.h"
#include "SiteReportDialog.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include <ctime>

namespace {

const QString kDefaultSite = QStringLiteral("Default site");

QString cameraKey(const CameraItem &camera)
{
    return camera.serial() + QLatin1Char('@') + camera.addressText();
}

} // namespace

SiteSession::SiteSession(CameraModel *model, const Widgets &widgets, QWidget *window)
    : QObject(window)
    , m_model(model)
    , m_widgets(widgets)
    , m_window(window)
{
    m_quiet.setSingleShot(true);
    // The report is promised within moments of the last document; a coarse timer may be late.
    m_quiet.setTimerType(Qt::PreciseTimer);
    connect(&m_quiet, &QTimer::timeout, this, &SiteSession::storeVisit);
    connect(m_model, &CameraModel::newCamera, this, &SiteSession::noteCamera);
    connect(&m_memory, &SiteMemory::opened, this, [this] { m_available = true; });
    connect(&m_memory, &SiteMemory::unavailable, this, &SiteSession::onUnavailable);
    connect(&m_memory, &SiteMemory::stored, this, &SiteSession::onStored);
    connect(&m_memory, &SiteMemory::failed, this, &SiteSession::showFailure);
    // The visit stays in the tree: the next document read, or the next scan, tries again.
    connect(&m_memory, &SiteMemory::storeFailed, this, [this](const QString &message) {
        m_storing = false;
        m_storeAgain = false;
        showFailure(message);
    });
    connect(&m_memory, &SiteMemory::compared, this, &SiteSession::showReport);
    connect(m_widgets.whatChanged, &QPushButton::clicked, this, &SiteSession::showWhatChanged);
    connect(m_widgets.history, &QPushButton::clicked, this, &SiteSession::showHistory);
    // Another site is another visit, and what changed at the last site says nothing about it.
    connect(m_widgets.site, &QLineEdit::editingFinished, this, [this] {
        if (site() != m_visitSite)
            beginVisit();
    });
}

SiteSession::~SiteSession() = default;

QString SiteSession::site() const
{
    const QString name = m_widgets.site->text().trimmed();
    return name.isEmpty() ? kDefaultSite : name;
}

void SiteSession::open(const QString &path)
{
    m_memory.open(path);
}

void SiteSession::beginVisit()
{
    m_visitSite = site();
    m_visitStart = QDateTime::currentDateTime();
    m_visitId = 0;
    m_storeAgain = false;
    m_read.clear();
    m_lastReport = DifferenceReport();
    m_widgets.whatChanged->setEnabled(false);
    m_quiet.start(kFirstAnswersMs);
}

void SiteSession::noteCamera(const QSharedPointer<CameraItem> &camera)
{
    if (!m_visitStart.isValid())
        beginVisit();
    m_read.insert(cameraKey(*camera));
    m_quiet.start(kQuietMs);
}

void SiteSession::noteResource(const QSharedPointer<CameraItem> &camera, const QString &path)
{
    if (CameraItem::categoryOfPath(path) != CameraItem::CategoryCount)
        noteCamera(camera);
}

QList<CameraRecord> SiteSession::visitCameras() const
{
    // Discovery times have whole seconds.
    const time_t visitStart = m_visitStart.toSecsSinceEpoch();
    QList<CameraRecord> cameras;
    for (const QSharedPointer<CameraItem> &camera : m_model->cameras()) {
        std::tm lastConnection = camera->lastConnection();
        if (std::mktime(&lastConnection) >= visitStart || m_read.contains(cameraKey(*camera)))
            cameras.append(CameraRecord::of(*camera));
    }
    return cameras;
}

void SiteSession::storeVisit()
{
    if (!m_available)
        return;
    if (m_storing) {
        m_storeAgain = true;
        return;
    }
    const QList<CameraRecord> cameras = visitCameras();
    if (cameras.isEmpty())
        return;
    m_storing = true;
    m_memory.store(m_visitSite, m_visitStart, cameras, m_visitId);
}

void SiteSession::onStored(const DifferenceReport &report)
{
    m_storing = false;
    // A visit begun while this one was being stored goes on as a visit of its own.
    if (report.after.site == m_visitSite && report.after.time == m_visitStart)
        m_visitId = report.after.id;
    m_lastReport = report;
    m_widgets.whatChanged->setEnabled(report.hasEarlierVisit());
    if (!report.hasEarlierVisit()) {
        m_widgets.status->setText(QStringLiteral("First visit of %1 kept: %2 cameras.")
                                      .arg(report.after.site)
                                      .arg(report.after.cameraCount));
    } else {
        m_widgets.status->setText(QStringLiteral("%1 since the visit of %2.")
                                      .arg(report.changes.isEmpty() ? QStringLiteral("Nothing changed")
                                           : report.changes.size() == 1
                                               ? QStringLiteral("1 change")
                                               : QStringLiteral("%1 changes").arg(report.changes.size()),
                                           ReportWriter::visitTime(report.before)));
    }
    if (m_report && m_report->isVisible())
        m_report->setReport(report);
    if (m_storeAgain) {
        m_storeAgain = false;
        storeVisit();
    }
    emit visitStored(report);
}

void SiteSession::showFailure(const QString &message)
{
    m_widgets.status->setText(QStringLiteral("Site memory: %1").arg(message));
}

void SiteSession::onUnavailable(const QString &reason)
{
    m_available = false;
    m_widgets.whatChanged->setEnabled(false);
    m_widgets.history->setEnabled(false);
    m_widgets.status->setText(QStringLiteral("Site memory is off: %1").arg(reason));
}

void SiteSession::showWhatChanged()
{
    if (m_lastReport.hasEarlierVisit())
        showReport(m_lastReport);
}

void SiteSession::showReport(const DifferenceReport &report)
{
    if (!m_report) {
        m_report = new SiteReportDialog(m_window);
        m_report->setObjectName(QStringLiteral("SiteReportDialog"));
    }
    m_report->setReport(report);
    m_report->show();
    m_report->raise();
}

void SiteSession::showHistory()
{
    if (!m_history) {
        m_history = new SiteHistoryDialog(m_window);
        m_history->setObjectName(QStringLiteral("SiteHistoryDialog"));
        connect(&m_memory, &SiteMemory::visitsListed, m_history, &SiteHistoryDialog::setVisits);
        connect(m_history, &SiteHistoryDialog::compareRequested, &m_memory, &SiteMemory::compare);
        connect(m_history, &SiteHistoryDialog::removeRequested, &m_memory, &SiteMemory::remove);
    }
    m_history->setVisits(site(), {});
    m_memory.listVisits(site());
    m_history->show();
    m_history->raise();
}
