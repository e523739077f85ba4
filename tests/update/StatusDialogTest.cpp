#include "StatusDialog.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

// The dialog as the user sees it: its label, the bar's value and whether it is still open.
class StatusDialogTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void formAsDesigned();
    void label_data();
    void label();
    void steps_data();
    void steps();
    void cancel();

private:
    std::unique_ptr<StatusDialog> m_dialog;
    QProgressBar *m_bar = nullptr;
};

void StatusDialogTest::init()
{
    m_dialog = std::make_unique<StatusDialog>();
    m_bar = m_dialog->findChild<QProgressBar *>(QStringLiteral("pbStatus"));
}

void StatusDialogTest::formAsDesigned()
{
    QCOMPARE(m_dialog->windowTitle(), QStringLiteral("Dialog"));
    QCOMPARE(m_dialog->findChild<QLabel *>(QStringLiteral("lbUpload"))->text(),
             QStringLiteral("Uploading <filename> to <n> cameras"));
    QCOMPARE(m_bar->value(), 24);
    QCOMPARE(m_dialog->findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"))->standardButtons(),
             QDialogButtonBox::Cancel);
}

void StatusDialogTest::label_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<int>("cameras");
    QTest::addColumn<QString>("text");
    QTest::newRow("one") << "fw-2.4.bin" << 1 << "Uploading fw-2.4.bin to 1 camera";
    QTest::newRow("several") << "/tmp/fw%2.bin" << 12 << "Uploading /tmp/fw%2.bin to 12 cameras";
    QTest::newRow("none") << "fw.bin" << 0 << "Uploading fw.bin to 0 cameras";
}

void StatusDialogTest::label()
{
    QFETCH(QString, fileName);
    QFETCH(int, cameras);
    m_dialog->setUpload(fileName, cameras);
    QTEST(m_dialog->findChild<QLabel *>(QStringLiteral("lbUpload"))->text(), "text");
    QCOMPARE(m_bar->maximum(), 3 * cameras);
    QCOMPARE(m_bar->value(), 0);
}

// "C" is a completed step, "A" an aborted camera. The count after a failure does not always
// land on a multiple of three; that is how progress has always been counted. A bar ignores
// values outside its range, so such counts are read after later steps bring them back in.
void StatusDialogTest::steps_data()
{
    QTest::addColumn<int>("cameras");
    QTest::addColumn<QString>("events");
    QTest::addColumn<int>("value");
    QTest::addColumn<bool>("open");
    QTest::newRow("one camera done") << 1 << "CCC" << 3 << false;
    QTest::newRow("one camera, two steps") << 1 << "CC" << 2 << true;
    QTest::newRow("no camera: first step closes") << 0 << "C" << 1 << false;
    QTest::newRow("failure after first step of one camera") << 1 << "CA" << 1 << false;
    QTest::newRow("0 -> -1") << 5 << "ACC" << 1 << true;
    QTest::newRow("1 -> 4") << 5 << "CA" << 4 << true;
    QTest::newRow("2 -> 3") << 5 << "CCA" << 3 << true;
    QTest::newRow("3 -> 5") << 5 << "CCCA" << 5 << true;
    QTest::newRow("4 -> 7") << 5 << "CCCCA" << 7 << true;
    QTest::newRow("5 -> 6") << 5 << "CCCCCA" << 6 << true;
    QTest::newRow("6 -> 8") << 5 << "CCCCCCA" << 8 << true;
}

void StatusDialogTest::steps()
{
    QFETCH(int, cameras);
    QFETCH(QString, events);
    m_dialog->setUpload(QStringLiteral("fw.bin"), cameras);
    m_dialog->show();
    for (QChar event : events)
        event == QLatin1Char('C') ? m_dialog->stepCompleted() : m_dialog->stepAborted();
    QTEST(m_bar->value(), "value");
    QTEST(m_dialog->isVisible(), "open");
}

// onCancel tells whoever listens; the Cancel button only closes, the transfers go on.
void StatusDialogTest::cancel()
{
    m_dialog->setUpload(QStringLiteral("fw.bin"), 2);
    m_dialog->show();
    QSignalSpy canceled(m_dialog.get(), &StatusDialog::canceled);
    QTest::mouseClick(m_dialog->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Cancel), Qt::LeftButton);
    QVERIFY(!m_dialog->isVisible());
    QCOMPARE(canceled.count(), 0);

    m_dialog->show();
    m_dialog->onCancel();
    QVERIFY(!m_dialog->isVisible());
    QCOMPARE(canceled.count(), 1);
}

QTEST_MAIN(StatusDialogTest)
#include "StatusDialogTest.moc"
