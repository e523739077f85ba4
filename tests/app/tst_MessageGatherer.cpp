#include "MessageGatherer.h"

#include <QTest>

#include <functional>

// What the user sees of many camera answers arriving at once: one box at a time, with the
// lines that arrived meanwhile gathered into the next ones.
class tst_MessageGatherer : public QObject
{
    Q_OBJECT

    using Arrivals = QList<QPair<MessageGatherer::Kind, QString>>;
    using Box = QPair<QString, QString>;

private slots:
    void gathering_data()
    {
        using K = MessageGatherer::Kind;
        QTest::addColumn<Arrivals>("whileFirstBoxOpen");
        QTest::addColumn<Arrivals>("whileSecondBoxOpen");
        QTest::addColumn<QList<Box>>("boxes");

        QTest::newRow("three errors gathered") << Arrivals{{K::Error, "e2"}, {K::Error, "e3"}, {K::Error, "e4"}}
                                              << Arrivals{}
                                              << QList<Box>{{"1 Error", "e1"}, {"3 Errors", "e2\ne3\ne4\n"}};
        QTest::newRow("one error gathered") << Arrivals{{K::Error, "e2"}} << Arrivals{}
                                            << QList<Box>{{"1 Error", "e1"}, {"1 Error", "e2\n"}};
        QTest::newRow("successes before errors")
            << Arrivals{{K::Error, "e2"}, {K::Success, "s1"}, {K::Success, "s2"}} << Arrivals{}
            << QList<Box>{{"1 Error", "e1"}, {"Success", "s1\ns2\n"}, {"1 Error", "e2\n"}};
        // Lines that reach an open gathered box join its list and are cleared with it, unseen.
        QTest::newRow("lost while a gathered box is open")
            << Arrivals{{K::Success, "s1"}} << Arrivals{{K::Success, "s2"}, {K::Error, "e2"}}
            << QList<Box>{{"1 Error", "e1"}, {"Success", "s1\n"}, {"1 Error", "e2\n"}};
    }

    void gathering()
    {
        QFETCH(Arrivals, whileFirstBoxOpen);
        QFETCH(Arrivals, whileSecondBoxOpen);
        QFETCH(QList<Box>, boxes);
        QList<Box> shown;
        std::unique_ptr<MessageGatherer> gatherer;
        const auto deliver = [&](const Arrivals &arrivals) {
            for (const auto &[kind, text] : arrivals)
                kind == MessageGatherer::Kind::Success ? gatherer->onSuccess(text) : gatherer->onError(text);
        };
        gatherer = std::make_unique<MessageGatherer>([&](MessageGatherer::Kind, const QString &title, const QString &text) {
            shown.append({title, text});
            if (shown.size() == 1)
                deliver(whileFirstBoxOpen);
            else if (shown.size() == 2)
                deliver(whileSecondBoxOpen);
        });

        gatherer->onError(QStringLiteral("e1"));

        QCOMPARE(shown, boxes);
    }
};

QTEST_GUILESS_MAIN(tst_MessageGatherer)
#include "tst_MessageGatherer.moc"
