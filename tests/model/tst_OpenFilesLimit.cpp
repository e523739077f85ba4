#include "OpenFilesLimit.h"

#include <QTest>

#include <sys/resource.h>

class tst_OpenFilesLimit : public QObject
{
    Q_OBJECT

private slots:
    void testsStartAtTheHardLimit();
    void raisesTheSoftLimitToTheHardLimit();
    void messageNamesTheLimitAndHowToRaiseIt();
};

// Every test process raises its limit before its first test, as the program does in main.
void tst_OpenFilesLimit::testsStartAtTheHardLimit()
{
    struct rlimit limit = {};
    QCOMPARE(getrlimit(RLIMIT_NOFILE, &limit), 0);
    QCOMPARE(limit.rlim_cur, limit.rlim_max);
}

void tst_OpenFilesLimit::raisesTheSoftLimitToTheHardLimit()
{
    struct rlimit limit = {};
    QCOMPARE(getrlimit(RLIMIT_NOFILE, &limit), 0);
    QVERIFY2(limit.rlim_max > 64, "the hard limit leaves no room to lower the soft limit");
    limit.rlim_cur = 64;
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &limit), 0);
    QCOMPARE(OpenFilesLimit::current(), quint64(64));

    const quint64 raised = OpenFilesLimit::raise();

    QCOMPARE(getrlimit(RLIMIT_NOFILE, &limit), 0);
    QCOMPARE(limit.rlim_cur, limit.rlim_max);
    QCOMPARE(raised, quint64(limit.rlim_max));
    QCOMPARE(OpenFilesLimit::current(), raised);
    QCOMPARE(OpenFilesLimit::raise(), raised);
}

void tst_OpenFilesLimit::messageNamesTheLimitAndHowToRaiseIt()
{
    const QString text = OpenFilesLimit::reachedMessage();
    QVERIFY2(text.contains(QStringLiteral(" %1 files").arg(OpenFilesLimit::current())), qPrintable(text));
    QVERIFY2(text.contains(QStringLiteral("open files limit")), qPrintable(text));
    QVERIFY2(text.contains(QStringLiteral("ulimit -Hn")), qPrintable(text));
    QVERIFY2(text.contains(QStringLiteral("/etc/security/limits.conf")), qPrintable(text));
}

QTEST_GUILESS_MAIN(tst_OpenFilesLimit)
#include "tst_OpenFilesLimit.moc"
