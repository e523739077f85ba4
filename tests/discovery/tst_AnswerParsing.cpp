#include "CameraFinder.h"

#include <QtTest>

using Properties = QMap<QString, QString>;

class AnswerParsingTest : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QByteArray>("datagram");
        QTest::addColumn<Properties>("properties");
        QTest::newRow("two lines with trailing line feed")
            << QByteArray("S/N: 4711\nVersion: 3.2.1\n") << Properties{{"S/N", "4711"}, {"Version", "3.2.1"}};
        QTest::newRow("CR-LF line ends are trimmed")
            << QByteArray("S/N: 4711\r\nModel: X\r\n") << Properties{{"S/N", "4711"}, {"Model", "X"}};
        QTest::newRow("colon without space is skipped")
            << QByteArray("S/N:4711\nModel: X") << Properties{{"Model", "X"}};
        QTest::newRow("value is cut at a second separator")
            << QByteArray("Time: 12: 30: 00") << Properties{{"Time", "12"}};
        QTest::newRow("colon inside a value stays")
            << QByteArray("MAC: 00:11:22:33:44:55") << Properties{{"MAC", "00:11:22:33:44:55"}};
        QTest::newRow("later key wins") << QByteArray("S/N: 1\nS/N: 2") << Properties{{"S/N", "2"}};
        QTest::newRow("text ends at NUL")
            << QByteArray("S/N: 1\nModel: A") + '\0' + "Hidden: yes\n" << Properties{{"S/N", "1"}, {"Model", "A"}};
        QTest::newRow("blanks around key and value")
            << QByteArray("  Name :   front gate  \n") << Properties{{"Name", "front gate"}};
        QTest::newRow("empty key and value") << QByteArray(": \n") << Properties{{"", ""}};
        QTest::newRow("UTF-8 value") << QByteArray("Site: Stra\xc3\x9f" "e") << Properties{{"Site", "Stra\u00dfe"}};
        QTest::newRow("no pairs at all") << QByteArray("Hello there!") << Properties{};
        QTest::newRow("empty datagram") << QByteArray() << Properties{};
    }

    void parse()
    {
        QFETCH(QByteArray, datagram);
        QFETCH(Properties, properties);
        QCOMPARE(CameraFinder::parseAnswer(datagram), properties);
    }
};

QTEST_GUILESS_MAIN(AnswerParsingTest)
#include "tst_AnswerParsing.moc"
