#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>
#include <QUuid>

#include <csignal>

namespace {

constexpr int kTimeoutMs = 20000;

// The processes whose command line, its arguments separated by NUL characters, starts with
// start and holds text.
QList<qint64> processesWith(const QByteArray &text, const QByteArray &start = QByteArray())
{
    QList<qint64> found;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        bool isProcess = false;
        const qint64 pid = entry.toLongLong(&isProcess);
        QFile file(QStringLiteral("/proc/%1/cmdline").arg(entry));
        if (!isProcess || !file.open(QIODevice::ReadOnly))
            continue;
        const QByteArray commandLine = file.readAll();
        if (commandLine.startsWith(start) && commandLine.contains(text))
            found << pid;
    }
    return found;
}

} // namespace

// A lab test that is killed, or whose lab is stopped or killed (as CTest does on a time-out),
// leaves no simulated camera running and no temporary folder behind. A stand-in test starts a
// simulator in the lab and makes a folder, and is then killed in one of these ways. The lab
// runs on after the stand-in, so that a killed test's simulator is seen to die with the test.
class tst_LabCleanup : public QObject
{
    Q_OBJECT

private slots:
    void nothingOutlivesTheLab_data();
    void nothingOutlivesTheLab();
};

void tst_LabCleanup::nothingOutlivesTheLab_data()
{
    QTest::addColumn<bool>("killTest");
    QTest::addColumn<int>("signal");
    QTest::newRow("test killed") << true << int(SIGKILL);
    QTest::newRow("lab stopped") << false << int(SIGTERM);
    QTest::newRow("lab killed") << false << int(SIGKILL);
}

void tst_LabCleanup::nothingOutlivesTheLab()
{
    QFETCH(bool, killTest);
    QFETCH(int, signal);
    // Names the stand-in's process among all others.
    const QByteArray mark = QUuid::createUuid().toByteArray(QUuid::WithoutBraces);
    QProcess lab;
    lab.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    lab.start(QStringLiteral(NETLAB_PATH), {QStringLiteral("sh"), QStringLiteral("-c"),
                                            QStringLiteral("\"$0\" \"$1\"; exec sleep infinity"),
                                            QStringLiteral(LAB_CHILD_PATH), QString::fromLatin1(mark)});
    QTRY_VERIFY_WITH_TIMEOUT(lab.canReadLine() || lab.state() == QProcess::NotRunning, kTimeoutMs);
    if (lab.state() == QProcess::NotRunning && lab.exitCode() == 77)
        QSKIP("the network lab cannot be built here; netlab said why above");
    const QStringList ready = QString::fromLocal8Bit(lab.readLine()).split(QLatin1Char(' '));
    QCOMPARE(ready.size(), 4);
    QCOMPARE(ready.at(0), QStringLiteral("ready"));
    const QString storeFolder = ready.at(1);
    const QString folder = ready.at(2);
    const QString labTemp = ready.at(3).trimmed();
    QVERIFY2(folder.startsWith(labTemp + QLatin1Char('/')), qPrintable(folder));
    QVERIFY(QDir(folder).exists());
    QCOMPARE(processesWith(storeFolder.toLocal8Bit()).size(), 1);

    // The lab's own processes carry the stand-in's command line as their arguments.
    const QList<qint64> standIn = processesWith(mark, QByteArrayLiteral(LAB_CHILD_PATH) + '\0');
    QCOMPARE(standIn.size(), 1);
    if (killTest) {
        QCOMPARE(::kill(pid_t(standIn.constFirst()), signal), 0);
        QTRY_VERIFY_WITH_TIMEOUT(processesWith(storeFolder.toLocal8Bit()).isEmpty(), kTimeoutMs);
        QCOMPARE(lab.state(), QProcess::Running);
        lab.terminate();
    } else {
        QCOMPARE(::kill(pid_t(lab.processId()), signal), 0);
    }

    QTRY_COMPARE_WITH_TIMEOUT(lab.state(), QProcess::NotRunning, kTimeoutMs);
    QTRY_VERIFY_WITH_TIMEOUT(processesWith(storeFolder.toLocal8Bit()).isEmpty(), kTimeoutMs);
    QTRY_VERIFY_WITH_TIMEOUT(!QDir(labTemp).exists(), kTimeoutMs);
    QVERIFY(processesWith(mark).isEmpty());
}

QTEST_GUILESS_MAIN(tst_LabCleanup)
#include "tst_LabCleanup.moc"
