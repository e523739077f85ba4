#pragma once

#include "VisitInfo.h"

#include <QDialog>

#include <memory>

namespace Ui {
class SiteHistoryDialog;
}

// The stored visits of a site: two of them are compared, old ones deleted. The dialog only asks;
// whoever holds the store answers with the visits as they are afterwards.
class SiteHistoryDialog : public QDialog
{
    Q_OBJECT

public:
    explicit SiteHistoryDialog(QWidget *parent = nullptr);
    ~SiteHistoryDialog() override;

    QString site() const;

public slots:
    void setVisits(const QString &site, const QList<VisitInfo> &visits);

signals:
    void compareRequested(qint64 before, qint64 after);
    void removeRequested(QString site, QList<qint64> ids);

private:
    // The selected visits, oldest first.
    QList<VisitInfo> selectedVisits() const;
    void onSelectionChanged();
    void onCompare();
    void onDelete();

    std::unique_ptr<Ui::SiteHistoryDialog> ui;
    QString m_site;
    QList<VisitInfo> m_visits;
};
