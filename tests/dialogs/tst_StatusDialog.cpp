#include "StatusDialog.h"

#include <QLabel>
#include <QProgressBar>
#include <QTest>

// The dialog as the user sees it: its label, the bar and whether it is still open.
class tst_StatusDialog : public QObject
{
    Q_OBJECT

private slots:
    void steps_data();
    void steps();
};

// Events: "C" a completed step, a digit a failed camera with that many steps left, "a" a further
// start of two cameras with the same file, "b" one of one camera with another file. Every camera
// counts three steps whatever becomes of it, so the dialog closes exactly when all have ended.
void tst_StatusDialog::steps_data()
{
    QTest::addColumn<int>("cameras");
    QTest::addColumn<QString>("events");
    QTest::addColumn<QString>("label");
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("maximum");
    QTest::addColumn<bool>("open");
    const QString one = QStringLiteral("Uploading /tmp/fw%2.bin to 1 camera");
    const QString three = QStringLiteral("Uploading /tmp/fw%2.bin to 3 cameras");
    QTest::newRow("one camera done") << 1 << "CCC" << one << 3 << 3 << false;
    QTest::newRow("one camera, two steps") << 1 << "CC" << one << 2 << 3 << true;
    QTest::newRow("one camera fails at once") << 1 << "3" << one << 3 << 3 << false;
    QTest::newRow("one camera fails after its first step") << 1 << "C2" << one << 3 << 3 << false;
    QTest::newRow("no camera: first step closes") << 0 << "C" << "Uploading /tmp/fw%2.bin to 0 cameras" << 1 << 0 << false;
    QTest::newRow("the first of three fails at once") << 3 << "3CCC" << three << 6 << 9 << true;
    QTest::newRow("the first of three fails at once, the others end") << 3 << "3CCCCCC" << three << 9 << 9 << false;
    QTest::newRow("failures at every step") << 3 << "3C2CC1" << three << 9 << 9 << false;
    QTest::newRow("a start while one runs") << 1 << "Ca" << three << 1 << 9 << true;
    QTest::newRow("a start while one runs, all end") << 1 << "CaCC3CCC" << three << 9 << 9 << false;
    QTest::newRow("a start with another file") << 1 << "Cb"
                                               << "Uploading /tmp/fw%2.bin, /tmp/other.bin to 2 cameras" << 1 << 6
                                               << true;
    QTest::newRow("a start after all ended begins anew") << 1 << "CCCa" << "Uploading /tmp/fw%2.bin to 2 cameras"
                                                         << 0 << 6 << false;
}

void tst_StatusDialog::steps()
{
    QFETCH(int, cameras);
    QFETCH(QString, events);
    StatusDialog dialog;
    dialog.setUpload(QStringLiteral("/tmp/fw%2.bin"), cameras);
    dialog.show();
    for (QChar event : events) {
        if (event == QLatin1Char('C'))
            dialog.stepCompleted();
        else if (event == QLatin1Char('a'))
            dialog.addUpload(QStringLiteral("/tmp/fw%2.bin"), 2);
        else if (event == QLatin1Char('b'))
            dialog.addUpload(QStringLiteral("/tmp/other.bin"), 1);
        else
            dialog.stepAborted(event.digitValue());
    }
    QTEST(dialog.findChild<QLabel *>(QStringLiteral("lbUpload"))->text(), "label");
    const auto *bar = dialog.findChild<QProgressBar *>(QStringLiteral("pbStatus"));
    QTEST(bar->value(), "value");
    QTEST(bar->maximum(), "maximum");
    QTEST(dialog.isVisible(), "open");
}

QTEST_MAIN(tst_StatusDialog)
#include "tst_StatusDialog.moc"
