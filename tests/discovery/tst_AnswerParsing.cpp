#include "AnswerCheck.h"
#include "CameraFinder.h"
#include "DroppedAnswers.h"

#include <QtTest>

using Properties = QMap<QString, QString>;
using Fault = AnswerCheck::Fault;
Q_DECLARE_METATYPE(AnswerCheck::Fault)

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

    void check_data()
    {
        QTest::addColumn<QByteArray>("datagram");
        QTest::addColumn<Fault>("fault");
        const QByteArray serial("S/N: 4711\n");
        QTest::newRow("well-formed") << serial + "Model: X\r\n" << Fault::None;
        QTest::newRow("padding after NUL") << serial + '\0' + "\x01\xff" << Fault::None;
        // Blanks around a value are trimmed, so they fill a datagram without lengthening the value.
        const QByteArray model = serial + "Model: X";
        QTest::newRow("largest datagram") << model + QByteArray(AnswerCheck::kMaxAnswerBytes - model.size(), ' ') << Fault::None;
        QTest::newRow("one byte too large") << model + QByteArray(AnswerCheck::kMaxAnswerBytes + 1 - model.size(), ' ') << Fault::TooLarge;
        QTest::newRow("random bytes") << QByteArray("\x8f\x03\xd1S/N: 1\n\x9a") << Fault::NotText;
        QTest::newRow("escape sequence") << serial + "Model: \x1b[2J" << Fault::NotText;
        QTest::newRow("right-to-left override") << serial + "Model: \xe2\x80\xae" "X" << Fault::NotText;
        QTest::newRow("tab and UTF-8 pass") << serial + "Site:\tStra\xc3\x9f" "e" << Fault::None;
        QTest::newRow("last line allowed") << serial + QByteArray("a: b\n").repeated(AnswerCheck::kMaxAnswerLines - 1) << Fault::None;
        QTest::newRow("one line too many") << serial + QByteArray("a: b\n").repeated(AnswerCheck::kMaxAnswerLines) << Fault::TooManyLines;
        QTest::newRow("longest value") << serial + "Model: " + QByteArray(AnswerCheck::kMaxValueLength, 'v') << Fault::None;
        QTest::newRow("value too long") << serial + "Model: " + QByteArray(AnswerCheck::kMaxValueLength + 1, 'v') << Fault::TooLong;
        QTest::newRow("key too long") << serial + QByteArray(AnswerCheck::kMaxKeyLength + 1, 'k') + ": v" << Fault::TooLong;
        QTest::newRow("no serial line") << QByteArray("Model: X\n") << Fault::NoSerial;
        QTest::newRow("empty serial") << QByteArray("S/N: \nModel: X\n") << Fault::NoSerial;
        QTest::newRow("empty datagram") << QByteArray() << Fault::NoSerial;
    }

    void check()
    {
        QFETCH(QByteArray, datagram);
        QFETCH(Fault, fault);
        Properties properties;
        QCOMPARE(AnswerCheck::check(datagram, &properties), fault);
        QCOMPARE(properties.isEmpty(), fault != Fault::None);
    }

    void isOnNetwork_data()
    {
        QTest::addColumn<QString>("sender");
        QTest::addColumn<bool>("onNetwork");
        QTest::newRow("IPv4 inside") << "10.78.3.4" << true;
        QTest::newRow("IPv4-mapped inside") << "::ffff:10.78.3.4" << true;
        QTest::newRow("IPv4 of the other card") << "10.77.0.10" << false;
        QTest::newRow("IPv6 inside") << "fd78::1:10" << true;
        QTest::newRow("IPv6 of the other card") << "fd77::10" << false;
        QTest::newRow("IPv6 link-local") << "fe80::1%lab2" << true;
    }

    void isOnNetwork()
    {
        QFETCH(QString, sender);
        QFETCH(bool, onNetwork);
        QList<QNetworkAddressEntry> entries;
        for (const auto &[address, prefix] : {std::pair<const char *, int>{"10.78.0.1", 16}, {"fd78::1", 64}, {"fe80::2", 64}}) {
            QNetworkAddressEntry entry;
            entry.setIp(QHostAddress(QLatin1String(address)));
            entry.setPrefixLength(prefix);
            entries.append(entry);
        }
        QCOMPARE(CameraFinder::isOnNetwork(QHostAddress(sender), entries), onNetwork);
        QVERIFY(!CameraFinder::isOnNetwork(QHostAddress(sender), {}));
    }

    void droppedSummary()
    {
        DroppedAnswers dropped;
        dropped.add(QStringLiteral("outside a scan"));
        QCOMPARE(dropped.summary(), QStringLiteral("Discovery dropped 1 answer: 1 outside a scan"));
        dropped.add(QStringLiteral("not printable text"));
        dropped.add(QStringLiteral("outside a scan"));
        QCOMPARE(dropped.summary(), QStringLiteral("Discovery dropped 3 answers: 2 outside a scan, 1 not printable text"));
    }
};

QTEST_GUILESS_MAIN(AnswerParsingTest)
#include "tst_AnswerParsing.moc"
