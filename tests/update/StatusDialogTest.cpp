#include "StatusDialog.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLayout>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

// The dialog as the user sees it: label text, bar value and whether it is still open.
class StatusDialogTest : public QObject
{
    Q_OBJECT

private slots:
    void formAsDesigned();
    void label_data();
    void label();
    void oneCameraClosesAfterThreeSteps();
    void zeroCamerasCloseAtFirstStep();
    void abortArithmetic_data();
    void abortArithmetic();
    void firstStepFailureOfOnlyCameraCloses();
    void cancelSignalsAndCloses();
    void cancelButtonOnlyCloses();

private:
    static QProgressBar *bar(StatusDialog &dialog) { return dialog.findChild<QProgressBar *>(QStringLiteral("pbStatus")); }
    static QLabel *label(StatusDialog &dialog) { return dialog.findChild<QLabel *>(QStringLiteral("lbUpload")); }
};

void StatusDialogTest::formAsDesigned()
{
    StatusDialog dialog;
    QCOMPARE(dialog.objectName(), QStringLiteral("StatusDialog"));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Dialog"));
    QVERIFY(dialog.findChild<QLayout *>(QStringLiteral("verticalLayout")));
    QCOMPARE(label(dialog)->text(), QStringLiteral("Uploading <filename> to <n> cameras"));
    QCOMPARE(bar(dialog)->value(), 24);
    auto *buttons = dialog.findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"));
    QVERIFY(buttons);
    QCOMPARE(buttons->standardButtons(), QDialogButtonBox::Cancel);
}

void StatusDialogTest::label_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("maximum");
    QTest::newRow("one") << "fw-2.4.bin" << 1 << "Uploading fw-2.4.bin to 1 camera" << 3;
    QTest::newRow("several") << "/tmp/fw.bin" << 12 << "Uploading /tmp/fw.bin to 12 cameras" << 36;
    QTest::newRow("none") << "fw.bin" << 0 << "Uploading fw.bin to 0 cameras" << 0;
    QTest::newRow("placeholder in name") << "fw%2.bin" << 2 << "Uploading fw%2.bin to 2 cameras" << 6;
}

void StatusDialogTest::label()
{
    QFETCH(QString, fileName);
    QFETCH(int, count);
    StatusDialog dialog;
    dialog.setUpload(fileName, count);
    QTEST(label(dialog)->text(), "text");
    QCOMPARE(bar(dialog)->minimum(), 0);
    QTEST(bar(dialog)->maximum(), "maximum");
    QCOMPARE(bar(dialog)->value(), 0);
}

void StatusDialogTest::oneCameraClosesAfterThreeSteps()
{
    StatusDialog dialog;
    dialog.setUpload(QStringLiteral("fw.bin"), 1);
    dialog.show();
    dialog.stepCompleted();
    dialog.stepCompleted();
    QVERIFY(dialog.isVisible());
    QCOMPARE(bar(dialog)->value(), 2);
    dialog.stepCompleted();
    QVERIFY(!dialog.isVisible());
    QCOMPARE(bar(dialog)->value(), 3);
}

void StatusDialogTest::zeroCamerasCloseAtFirstStep()
{
    StatusDialog dialog;
    dialog.setUpload(QStringLiteral("fw.bin"), 0);
    dialog.show();
    dialog.stepCompleted();
    QVERIFY(!dialog.isVisible());
}

// A failure skips what is left of a camera's three steps, with the arithmetic the
// dialog has always had. A bar ignores values outside its range, so the count after
// the failure is also read two steps later, where it is inside.
void StatusDialogTest::abortArithmetic_data()
{
    QTest::addColumn<int>("stepsBefore");
    QTest::addColumn<int>("countAfter");
    QTest::newRow("from 0") << 0 << -1;
    QTest::newRow("from 1") << 1 << 4;
    QTest::newRow("from 2") << 2 << 3;
    QTest::newRow("from 3") << 3 << 5;
    QTest::newRow("from 4") << 4 << 7;
    QTest::newRow("from 5") << 5 << 6;
    QTest::newRow("from 6") << 6 << 8;
}

void StatusDialogTest::abortArithmetic()
{
    QFETCH(int, stepsBefore);
    QFETCH(int, countAfter);
    StatusDialog dialog;
    dialog.setUpload(QStringLiteral("fw.bin"), 5);
    dialog.show();
    for (int i = 0; i < stepsBefore; ++i)
        dialog.stepCompleted();
    dialog.stepAborted();
    if (countAfter >= 0)
        QCOMPARE(bar(dialog)->value(), countAfter);
    dialog.stepCompleted();
    dialog.stepCompleted();
    QCOMPARE(bar(dialog)->value(), countAfter + 2);
    QVERIFY(dialog.isVisible());
}

void StatusDialogTest::firstStepFailureOfOnlyCameraCloses()
{
    StatusDialog dialog;
    dialog.setUpload(QStringLiteral("fw.bin"), 1);
    dialog.show();
    dialog.stepCompleted();
    dialog.stepAborted();
    QVERIFY(!dialog.isVisible());
}

void StatusDialogTest::cancelSignalsAndCloses()
{
    StatusDialog dialog;
    dialog.setUpload(QStringLiteral("fw.bin"), 2);
    dialog.show();
    QSignalSpy canceled(&dialog, &StatusDialog::canceled);
    dialog.onCancel();
    QCOMPARE(canceled.count(), 1);
    QVERIFY(!dialog.isVisible());
}

// Nobody stops the transfers from the button: it closes the dialog and says nothing.
void StatusDialogTest::cancelButtonOnlyCloses()
{
    StatusDialog dialog;
    dialog.setUpload(QStringLiteral("fw.bin"), 2);
    dialog.show();
    QSignalSpy canceled(&dialog, &StatusDialog::canceled);
    QSignalSpy rejected(&dialog, &QDialog::rejected);
    auto *buttons = dialog.findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"));
    QTest::mouseClick(buttons->button(QDialogButtonBox::Cancel), Qt::LeftButton);
    QCOMPARE(rejected.count(), 1);
    QCOMPARE(canceled.count(), 0);
    QVERIFY(!dialog.isVisible());
}

QTEST_MAIN(StatusDialogTest)
#include "StatusDialogTest.moc"
