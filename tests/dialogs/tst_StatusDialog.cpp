#include "StatusDialog.h"

#include <QLabel>
#include <QProgressBar>
#include <QTest>

// The dialog as the user sees it: its label, the bar's value and whether it is still open.
class tst_StatusDialog : public QObject
{
    Q_OBJECT

private slots:
    void steps_data();
    void steps();
};

// "C" is a completed step, "A" an aborted camera. The count after a failure does not always
// land on a multiple of three; that is how progress has always been counted. A bar ignores
// values outside its range, so such counts are read after later steps bring them back in.
void tst_StatusDialog::steps_data()
{
    QTest::addColumn<int>("cameras");
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("events");
    QTest::addColumn<int>("value");
    QTest::addColumn<bool>("open");
    const QString one = QStringLiteral("Uploading /tmp/fw%2.bin to 1 camera");
    const QString five = QStringLiteral("Uploading /tmp/fw%2.bin to 5 cameras");
    QTest::newRow("one camera done") << 1 << one << "CCC" << 3 << false;
    QTest::newRow("one camera, two steps") << 1 << one << "CC" << 2 << true;
    QTest::newRow("one camera fails after its first step") << 1 << one << "CA" << 1 << false;
    QTest::newRow("no camera: first step closes") << 0 << "Uploading /tmp/fw%2.bin to 0 cameras" << "C" << 1 << false;
    QTest::newRow("0 -> -1") << 5 << five << "ACC" << 1 << true;
    QTest::newRow("1 -> 4") << 5 << five << "CA" << 4 << true;
    QTest::newRow("2 -> 3") << 5 << five << "CCA" << 3 << true;
    QTest::newRow("3 -> 5") << 5 << five << "CCCA" << 5 << true;
    QTest::newRow("4 -> 7") << 5 << five << "CCCCA" << 7 << true;
    QTest::newRow("5 -> 6") << 5 << five << "CCCCCA" << 6 << true;
    QTest::newRow("6 -> 8") << 5 << five << "CCCCCCA" << 8 << true;
}

void tst_StatusDialog::steps()
{
    QFETCH(int, cameras);
    QFETCH(QString, events);
    StatusDialog dialog;
    dialog.setUpload(QStringLiteral("/tmp/fw%2.bin"), cameras);
    dialog.show();
    QTEST(dialog.findChild<QLabel *>(QStringLiteral("lbUpload"))->text(), "label");
    for (QChar event : events)
        event == QLatin1Char('C') ? dialog.stepCompleted() : dialog.stepAborted();
    QTEST(dialog.findChild<QProgressBar *>(QStringLiteral("pbStatus"))->value(), "value");
    QTEST(dialog.isVisible(), "open");
}

QTEST_MAIN(tst_StatusDialog)
#include "tst_StatusDialog.moc"
