#include "SiteReportDialog.h"
#include "ui_SiteReportDialog.h"

#include "FileDialog.h"
#include "MessageBox.h"
#include "ReportWriter.h"

#include <QSaveFile>

SiteReportDialog::SiteReportDialog(QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::SiteReportDialog>())
{
    ui->setupUi(this);
    m_filter.setSourceModel(&m_changes);
    m_filter.setFilterCaseSensitivity(Qt::CaseInsensitive);
    m_filter.setFilterKeyColumn(-1);
    ui->tvChanges->setModel(&m_filter);
    connect(ui->leChangeFilter, &QLineEdit::textChanged, &m_filter, &QSortFilterProxyModel::setFilterFixedString);
    connect(ui->pbExportCsv, &QPushButton::clicked, this, [this] {
        exportReport(QStringLiteral("Export Changes"), QStringLiteral("Comma-separated text (*.csv)"),
                     ReportWriter::csv(m_report));
    });
    connect(ui->pbExportHtml, &QPushButton::clicked, this, [this] {
        exportReport(QStringLiteral("Export Report"), QStringLiteral("Web page (*.html)"), ReportWriter::html(m_report));
    });
}

SiteReportDialog::~SiteReportDialog() = default;

void SiteReportDialog::setReport(const DifferenceReport &report)
{
    m_report = report;
    m_changes.setChanges(report.changes);
    const QString changes = report.changes.isEmpty() ? QStringLiteral("nothing changed")
                            : report.changes.size() == 1
                            ? QStringLiteral("1 change")
                            : QStringLiteral("%1 changes").arg(report.changes.size());
    ui->lbReport->setText(QStringLiteral("%1: %2 between the visits of %3 and %4.")
                              .arg(report.after.site, changes, ReportWriter::visitTime(report.before),
                                   ReportWriter::visitTime(report.after)));
    ui->tvChanges->resizeColumnToContents(0);
}

void SiteReportDialog::exportReport(const QString &caption, const QString &filter, const QByteArray &content)
{
    const QString fileName = FileDialog::getSaveFileName(this, caption, QString(), filter);
    if (fileName.isEmpty())
        return;
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.commit())
        MessageBox::critical(this, caption, QStringLiteral("Could not write %1: %2").arg(fileName, file.errorString()));
}
