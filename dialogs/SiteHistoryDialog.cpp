#include "SiteHistoryDialog.h"
#include "ui_SiteHistoryDialog.h"

#include "MessageBox.h"

#include <QItemSelectionModel>

#include <algorithm>

SiteHistoryDialog::SiteHistoryDialog(QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::SiteHistoryDialog>())
{
    ui->setupUi(this);
    connect(ui->twVisits->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &SiteHistoryDialog::onSelectionChanged);
    connect(ui->pbCompare, &QPushButton::clicked, this, &SiteHistoryDialog::onCompare);
    connect(ui->pbDelete, &QPushButton::clicked, this, &SiteHistoryDialog::onDelete);
}

SiteHistoryDialog::~SiteHistoryDialog() = default;

QString SiteHistoryDialog::site() const
{
    return m_site;
}

void SiteHistoryDialog::setVisits(const QString &site, const QList<VisitInfo> &visits)
{
    m_site = site;
    m_visits = visits;
    ui->lbHistory->setText(visits.isEmpty() ? QStringLiteral("No visit of %1 is stored.").arg(site)
                                            : QStringLiteral("Visits of %1, newest first. Select two to compare.").arg(site));
    ui->twVisits->clearSelection();
    ui->twVisits->setRowCount(int(visits.size()));
    for (int row = 0; row < visits.size(); ++row) {
        const VisitInfo &visit = visits.at(visits.size() - 1 - row);
        auto *time = new QTableWidgetItem(visit.time.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
        time->setData(Qt::UserRole, visit.id);
        ui->twVisits->setItem(row, 0, time);
        ui->twVisits->setItem(row, 1, new QTableWidgetItem(QString::number(visit.cameraCount)));
    }
    ui->twVisits->resizeColumnToContents(0);
    onSelectionChanged();
}

QList<VisitInfo> SiteHistoryDialog::selectedVisits() const
{
    QList<VisitInfo> selected;
    for (const QModelIndex &row : ui->twVisits->selectionModel()->selectedRows())
        selected.append(m_visits.at(m_visits.size() - 1 - row.row()));
    std::sort(selected.begin(), selected.end(),
              [](const VisitInfo &a, const VisitInfo &b) { return a.time < b.time || (a.time == b.time && a.id < b.id); });
    return selected;
}

void SiteHistoryDialog::onSelectionChanged()
{
    const qsizetype selected = ui->twVisits->selectionModel()->selectedRows().size();
    ui->pbCompare->setEnabled(selected == 2);
    ui->pbDelete->setEnabled(selected > 0);
}

void SiteHistoryDialog::onCompare()
{
    const QList<VisitInfo> selected = selectedVisits();
    if (selected.size() == 2)
        emit compareRequested(selected.at(0).id, selected.at(1).id);
}

void SiteHistoryDialog::onDelete()
{
    const QList<VisitInfo> selected = selectedVisits();
    const QString text = selected.size() == 1
                             ? QStringLiteral("Delete the visit of %1 from the history of %2?")
                                   .arg(selected.constFirst().time.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")), m_site)
                             : QStringLiteral("Delete %1 visits from the history of %2?").arg(selected.size()).arg(m_site);
    if (MessageBox::question(this, QStringLiteral("Delete Visits"), text) != QMessageBox::Yes)
        return;
    QList<qint64> ids;
    for (const VisitInfo &visit : selected)
        ids.append(visit.id);
    emit removeRequested(m_site, ids);
}
