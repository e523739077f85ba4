#pragma once

#include "CameraItem.h"
#include "CameraRecord.h"
#include "DifferenceReport.h"
#include "SiteMemory.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QTimer>

class CameraModel;
class QLabel;
class QLineEdit;
class QPushButton;
class SiteHistoryDialog;
class SiteReportDialog;

// Keeps what the window sees of a site as a visit: from a scan or a refresh on, the cameras that
// answer and the categories read are gathered until the network has been quiet for a moment,
// then stored off the GUI thread; more arriving later is stored into the same visit again. After
// each store the window tells what changed since the site's previous visit.
class SiteSession : public QObject
{
    Q_OBJECT

public:
    // How long the cameras of a scan have to answer, and how long after the last answer or
    // document a visit counts as read.
    static constexpr int kFirstAnswersMs = 3000;
    static constexpr int kQuietMs = 1000;

    struct Widgets
    {
        QLineEdit *site;
        QPushButton *whatChanged;
        QPushButton *history;
        QLabel *status;
    };

    SiteSession(CameraModel *model, const Widgets &widgets, QWidget *window);
    ~SiteSession() override;

    // The site named in the field, or the default site.
    QString site() const;
    void open(const QString &path);

public slots:
    void beginVisit();
    void noteResource(const QSharedPointer<CameraItem> &camera, const QString &path);
    void showWhatChanged();
    void showHistory();

signals:
    // A visit was stored; the report tells what changed since the previous one.
    void visitStored(DifferenceReport report);

private:
    void noteCamera(const QSharedPointer<CameraItem> &camera);
    void storeVisit();
    QList<CameraRecord> visitCameras() const;
    void onStored(const DifferenceReport &report);
    void onUnavailable(const QString &reason);
    void showFailure(const QString &message);
    void showReport(const DifferenceReport &report);

    CameraModel *m_model;
    Widgets m_widgets;
    QWidget *m_window;
    SiteMemory m_memory;
    QTimer m_quiet;
    bool m_available = false;
    QString m_visitSite;
    QDateTime m_visitStart;
    qint64 m_visitId = 0;
    bool m_storing = false;
    bool m_storeAgain = false;
    // Cameras read during the visit, by serial and address; found again or not, they belong to it.
    QSet<QString> m_read;
    DifferenceReport m_lastReport;
    QPointer<SiteReportDialog> m_report;
    QPointer<SiteHistoryDialog> m_history;
};
