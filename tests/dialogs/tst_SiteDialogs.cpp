#include "FileDialog.h"
#include "MessageBox.h"
#include "SiteHistoryDialog.h"
#include "SiteReportDialog.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTreeView>
#include <QtTest>

using Kind = SiteChange::Kind;

namespace {

DifferenceReport report()
{
    DifferenceReport report;
    report.before = {4, "North <gate>", QDateTime(QDate(2026, 5, 4), QTime(9, 30)), 3};
    report.after = {9, "North <gate>", QDateTime(QDate(2026, 11, 23), QTime(14, 5)), 3};
    report.changes = {{Kind::New, "C3", "", "", "10.77.0.12"},
                      {Kind::Moved, "A1", "", "10.77.0.10", "10.77.0.40"},
                      {Kind::ANPR, "B2", "min_height", "20", "25"},
                      {Kind::ANPR, "A1", "direction", "both", "approaching, \"fast\""}};
    return report;
}

QString read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

class tst_SiteDialogs : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        MessageBox::reset();
        FileDialog::reset();
    }

    void reportIsFilteredAndExported()
    {
        SiteReportDialog dialog;
        dialog.setReport(report());
        auto *view = dialog.findChild<QTreeView *>("tvChanges");
        QCOMPARE(view->model()->rowCount(), 4);
        QVERIFY(dialog.findChild<QLabel *>("lbReport")->text().contains("4 changes"));
        dialog.findChild<QLineEdit *>("leChangeFilter")->setText("a1");
        QCOMPARE(view->model()->rowCount(), 2);

        QTemporaryDir folder;
        const QString csv = folder.filePath("changes.csv");
        FileDialog::setNextFileName(csv);
        dialog.findChild<QPushButton *>("pbExportCsv")->click();
        const QStringList lines = read(csv).split("\r\n", Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 5);
        QCOMPARE(lines.at(2), QStringLiteral("North <gate>,2026-05-04 09:30,2026-11-23 14:05,Moved cameras,A1,,10.77.0.10,10.77.0.40"));
        QVERIFY(lines.at(4).endsWith(",both,\"approaching, \"\"fast\"\"\""));

        const QString html = folder.filePath("changes.html");
        FileDialog::setNextFileName(html);
        dialog.findChild<QPushButton *>("pbExportHtml")->click();
        const QString page = read(html);
        QVERIFY(page.contains("<h1>North &lt;gate&gt;</h1>"));
        QCOMPARE(page.count("<table>"), 3);
        QVERIFY(page.indexOf("<h2>New cameras</h2>") < page.indexOf("<h2>Moved cameras</h2>"));
        QVERIFY(page.contains("<td>B2</td><td>min_height</td><td>20</td><td>25</td>"));

        FileDialog::setNextFileName(folder.filePath("missing/folder/changes.csv"));
        MessageBox::setNextAnswer(QMessageBox::Ok);
        dialog.findChild<QPushButton *>("pbExportCsv")->click();
        QCOMPARE(MessageBox::takeAnswered().size(), 1);
    }

    void historyComparesAndDeletes()
    {
        SiteHistoryDialog dialog;
        const QDateTime now = QDateTime::currentDateTime();
        dialog.setVisits("Depot", {{3, "Depot", now.addDays(-60), 12}, {5, "Depot", now.addDays(-30), 12}, {8, "Depot", now, 13}});
        auto *visits = dialog.findChild<QTableWidget *>("twVisits");
        auto *compare = dialog.findChild<QPushButton *>("pbCompare");
        auto *remove = dialog.findChild<QPushButton *>("pbDelete");
        QCOMPARE(visits->rowCount(), 3);
        QCOMPARE(visits->item(0, 1)->text(), QStringLiteral("13"));
        QVERIFY(!compare->isEnabled() && !remove->isEnabled());

        QSignalSpy compared(&dialog, &SiteHistoryDialog::compareRequested);
        visits->selectRow(0);
        visits->selectionModel()->select(visits->model()->index(2, 0),
                                         QItemSelectionModel::Select | QItemSelectionModel::Rows);
        QVERIFY(compare->isEnabled());
        compare->click();
        QCOMPARE(compared.size(), 1);
        QCOMPARE(compared.at(0), QVariantList({qint64(3), qint64(8)}));

        QSignalSpy removed(&dialog, &SiteHistoryDialog::removeRequested);
        MessageBox::setNextAnswer(QMessageBox::No);
        remove->click();
        QVERIFY(removed.isEmpty());
        MessageBox::setNextAnswer(QMessageBox::Yes);
        remove->click();
        QCOMPARE(removed.size(), 1);
        QCOMPARE(removed.at(0).at(1).value<QList<qint64>>(), QList<qint64>({3, 8}));
    }
};

QTEST_MAIN(tst_SiteDialogs)
#include "tst_SiteDialogs.moc"
