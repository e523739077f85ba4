#include "RequestQueue.h"

#include <QtTest>

class RequestQueueTest : public QObject
{
    Q_OBJECT

private slots:
    void aFewAtATimePerHostInOrder()
    {
        RequestQueue queue;
        QStringList started;
        const auto request = [&](const QString &host, int number) {
            queue.send(host, [&started, host, number] { started << host + QString::number(number); });
        };
        for (int number = 1; number <= 4; ++number)
            request("a", number);
        request("b", 1);
        QCOMPARE(started, (QStringList{"a1", "a2", "b1"}));

        queue.finished("a");
        QCOMPARE(started.last(), QStringLiteral("a3"));
        queue.finished("b");
        queue.finished("a");
        queue.finished("a");
        QCOMPARE(started, (QStringList{"a1", "a2", "b1", "a3", "a4"}));

        // With nothing on the way any more, a new request goes at once.
        queue.finished("a");
        request("a", 5);
        QCOMPARE(started.last(), QStringLiteral("a5"));
    }

    void aRequestMadeWhileTheNextStartsWaitsItsTurn()
    {
        RequestQueue queue;
        QStringList started;
        queue.send("a", [&] { started << "a1"; });
        queue.send("a", [&] { started << "a2"; });
        queue.send("a", [&] {
            started << "a3";
            queue.send("a", [&] { started << "a4"; });
        });
        queue.finished("a");
        QCOMPARE(started, (QStringList{"a1", "a2", "a3"}));
        queue.finished("a");
        QCOMPARE(started, (QStringList{"a1", "a2", "a3", "a4"}));
    }
};

QTEST_GUILESS_MAIN(RequestQueueTest)
#include "tst_RequestQueue.moc"
