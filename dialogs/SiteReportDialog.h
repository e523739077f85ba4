#pragma once

#include "DifferenceReport.h"
#include "SiteChangeModel.h"

#include <QDialog>
#include <QSortFilterProxyModel>

#include <memory>

namespace Ui {
class SiteReportDialog;
}

// What changed between two visits of a site, filtered as the user types, and exported for the
// customer as comma-separated text or a web page.
class SiteReportDialog : public QDialog
{
    Q_OBJECT

public:
    explicit SiteReportDialog(QWidget *parent = nullptr);
    ~SiteReportDialog() override;

    void setReport(const DifferenceReport &report);

private:
    void exportReport(const QString &caption, const QString &filter, const QByteArray &content);

    std::unique_ptr<Ui::SiteReportDialog> ui;
    SiteChangeModel m_changes;
    QSortFilterProxyModel m_filter;
    DifferenceReport m_report;
};
