#include "SiteDifference.h"

#include <QJsonObject>
#include <QtTest>

using Kind = SiteChange::Kind;
using Cameras = QList<CameraRecord>;
using Changes = QList<SiteChange>;
Q_DECLARE_METATYPE(Cameras)
Q_DECLARE_METATYPE(Changes)

namespace {

CameraRecord camera(const QString &serial, const QString &address, const QString &firmware = QStringLiteral("3.2.1"))
{
    CameraRecord record;
    record.serial = serial;
    record.address = address;
    record.discovery = {{QStringLiteral("S/N"), serial},
                        {QStringLiteral("Firmware"), firmware},
                        {QStringLiteral("Hostname"), QStringLiteral("cam-") + serial.toLower()}};
    record.documents[CameraItem::System] = QJsonDocument(QJsonObject{
        {QStringLiteral("config"), QJsonObject{{QStringLiteral("network"), QJsonObject{{QStringLiteral("ipv4"), address},
                                                                                      {QStringLiteral("mtu"), 1500}}}}},
        {QStringLiteral("ntp"), QStringLiteral("on")}});
    record.documents[CameraItem::ANPR] = QJsonDocument(QJsonObject{{QStringLiteral("min_height"), 20},
                                                                   {QStringLiteral("direction"), QStringLiteral("both")}});
    record.documents[CameraItem::AccessLists] = QJsonDocument(QJsonArray{QStringLiteral("black"), QStringLiteral("white")});
    record.documents[CameraItem::CurrentClassifier] = QJsonDocument(QJsonObject{{QStringLiteral("name"), QStringLiteral("eu")}});
    record.documents[CameraItem::CameraStatus] = QJsonDocument(QJsonObject{{QStringLiteral("uptime"), 100}});
    return record;
}

CameraRecord with(CameraRecord record, CameraItem::Category category, const QString &key, const QJsonValue &value)
{
    QJsonObject object = record.documents[category].object();
    object.insert(key, value);
    record.documents[category] = QJsonDocument(object);
    return record;
}

CameraRecord withDocument(CameraRecord record, CameraItem::Category category, const QJsonDocument &document)
{
    record.documents[category] = document;
    return record;
}

} // namespace

class tst_SiteDifference : public QObject
{
    Q_OBJECT

private slots:
    void compare_data()
    {
        QTest::addColumn<Cameras>("before");
        QTest::addColumn<Cameras>("after");
        QTest::addColumn<Changes>("expected");

        const CameraRecord a = camera("A1", "10.77.0.10");
        const CameraRecord b = camera("B2", "10.77.0.11");
        QTest::newRow("unchanged, in another order") << Cameras{a, b} << Cameras{b, a} << Changes{};
        QTest::newRow("status is no setting")
            << Cameras{a} << Cameras{with(a, CameraItem::CameraStatus, "uptime", 999)} << Changes{};
        QTest::newRow("new and missing")
            << Cameras{a} << Cameras{b}
            << Changes{{Kind::New, "B2", "", "", "10.77.0.11"}, {Kind::Missing, "A1", "", "10.77.0.10", ""}};
        QTest::newRow("moved, its own address in its settings is the move")
            << Cameras{a, b} << Cameras{camera("A1", "10.77.0.40"), b}
            << Changes{{Kind::Moved, "A1", "", "10.77.0.10", "10.77.0.40"}};
        QTest::newRow("firmware") << Cameras{a} << Cameras{camera("A1", "10.77.0.10", "4.0.0")}
                                  << Changes{{Kind::Firmware, "A1", "Firmware", "3.2.1", "4.0.0"}};
        CameraRecord renamed = a;
        renamed.discovery.insert("Hostname", "gate-1");
        QTest::newRow("discovery property") << Cameras{a} << Cameras{renamed}
                                            << Changes{{Kind::Discovery, "A1", "Hostname", "cam-a1", "gate-1"}};
        QTest::newRow("ANPR properties side by side")
            << Cameras{a} << Cameras{with(with(a, CameraItem::ANPR, "min_height", 25), CameraItem::ANPR, "camlog", true)}
            << Changes{{Kind::ANPR, "A1", "camlog", "", "true"}, {Kind::ANPR, "A1", "min_height", "20", "25"}};
        QTest::newRow("nested system property")
            << Cameras{a}
            << Cameras{with(a, CameraItem::System, "config",
                            QJsonObject{{"network", QJsonObject{{"ipv4", "10.77.0.10"}, {"mtu", 9000}}}})}
            << Changes{{Kind::System, "A1", "config.network.mtu", "1500", "9000"}};
        QTest::newRow("not read this time is not a change")
            << Cameras{a} << Cameras{withDocument(a, CameraItem::ANPR, QJsonDocument())} << Changes{};
        QTest::newRow("access list names")
            << Cameras{a} << Cameras{withDocument(a, CameraItem::AccessLists, QJsonDocument(QJsonArray{"white", "staff"}))}
            << Changes{{Kind::AccessLists, "A1", "Access lists", "black, white", "staff, white"}};
        QTest::newRow("classifier")
            << Cameras{a} << Cameras{with(a, CameraItem::CurrentClassifier, "name", "de")}
            << Changes{{Kind::Classifier, "A1", "Current classifier: name", "eu", "de"}};
        QTest::newRow("without serial, known by address only")
            << Cameras{camera("Serial not found", "10.77.0.12")} << Cameras{camera("Serial not found", "10.77.0.13")}
            << Changes{{Kind::New, "Serial not found", "", "", "10.77.0.13"},
                       {Kind::Missing, "Serial not found", "", "10.77.0.12", ""}};
        QTest::newRow("one of two with the same serial moved")
            << Cameras{camera("D", "10.77.0.20"), camera("D", "10.77.0.21")}
            << Cameras{camera("D", "10.77.0.30"), camera("D", "10.77.0.20")}
            << Changes{{Kind::Moved, "D", "", "10.77.0.21", "10.77.0.30"}};
    }

    void compare()
    {
        QFETCH(Cameras, before);
        QFETCH(Cameras, after);
        QFETCH(Changes, expected);
        QCOMPARE(SiteDifference::compare(before, after), expected);
    }
};

QTEST_GUILESS_MAIN(tst_SiteDifference)
#include "tst_SiteDifference.moc"
