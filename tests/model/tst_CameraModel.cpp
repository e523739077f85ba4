#include "CameraListExport.h"
#include "CameraModel.h"
#include "JsonItem.h"

#include <QAbstractItemModelTester>
#include <QBrush>
#include <QBuffer>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QtTest>

namespace {

std::tm timeOf(int hour, int minute, int second)
{
    std::tm time{};
    time.tm_year = 2024 - 1900;
    time.tm_mon = 4;
    time.tm_mday = 1;
    time.tm_hour = hour;
    time.tm_min = minute;
    time.tm_sec = second;
    return time;
}

using Properties = QMap<QString, QString>;

Properties withSerial(const QString &serial)
{
    return serial.isEmpty() ? Properties{{"Version", "1.0"}} : Properties{{"S/N", serial}, {"Version", "1.0"}};
}

QStringList rowTexts(const QSharedPointer<Item> &node)
{
    QStringList texts;
    for (const QSharedPointer<Item> &child : std::as_const(node->children()))
        texts << child->data(0).toString() + QLatin1Char('=') + child->data(1).toString();
    return texts;
}

} // namespace

class CameraModelTest : public QObject
{
    Q_OBJECT

private slots:
    void newCameraRows_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("ipv4Text");
        QTest::addColumn<QString>("ipv6Text");
        QTest::addColumn<QString>("url");
        QTest::newRow("IPv4") << "10.0.0.5" << "10.0.0.5" << "" << "http://10.0.0.5/properties/system";
        QTest::newRow("IPv4-mapped") << "::ffff:192.168.1.20" << "192.168.1.20" << ""
                                     << "http://192.168.1.20/properties/system";
        QTest::newRow("IPv6") << "fe80::1" << "" << "fe80::1" << "http://[fe80::1]/properties/system";
    }

    void newCameraRows()
    {
        QFETCH(QString, address);
        QFETCH(QString, ipv4Text);
        QFETCH(QString, ipv6Text);
        QFETCH(QString, url);

        CameraModel model;
        model.addCamera(QHostAddress(address), {{"S/N", "1234"}, {"Model", "X1"}, {"Firmware", "2.0"}},
                        timeOf(13, 45, 10));
        const QSharedPointer<CameraItem> camera = model.cameras().value(0);
        QVERIFY(camera);

        QCOMPARE(camera->data(0).toString(), QStringLiteral("Camera #1"));
        QCOMPARE(camera->data(1).toString(), QStringLiteral("1234"));
        QCOMPARE(rowTexts(camera),
                 (QStringList{"IPv4 Address=" + ipv4Text, "IPv6 Address=" + ipv6Text, "Update Status=Unknown",
                              "Last Connection=2024-05-01T13:45:10", "Version=", "System=", "ANPR=",
                              "Access Lists=", "Action Events=", "ROI=", "Actions=", "Camera Status=",
                              "Applications=", "Current classifier=", "Available classifiers=", "Digital I/O="}));
        QCOMPARE(rowTexts(camera->versionRow()), (QStringList{"Firmware=2.0", "Model=X1", "S/N=1234"}));
        QCOMPARE(camera->url(QStringLiteral("/properties/system")).toString(), url);
        QCOMPARE(camera->updateStatus(), -255);
        for (int category = 0; category < CameraItem::CategoryCount; ++category)
            QCOMPARE(camera->child(5 + category), camera->categoryRow(CameraItem::Category(category)).staticCast<Item>());
        QVERIFY(CameraItem::discoveryKeys().contains(QStringLiteral("Model")));
    }

    // Each answer is (address, serial; empty = no "S/N"); the result is the camera labels and serials.
    void identity_data()
    {
        QTest::addColumn<QStringList>("answers");
        QTest::addColumn<QStringList>("cameras");
        QTest::newRow("same camera twice") << QStringList{"10.0.0.1 A", "10.0.0.1 A"} << QStringList{"Camera #1 A"};
        QTest::newRow("same serial, new address")
            << QStringList{"10.0.0.1 A", "10.0.0.2 A"} << QStringList{"Camera #1 A", "Camera #2 A"};
        QTest::newRow("mapped address is the same")
            << QStringList{"10.0.0.1 A", "::ffff:10.0.0.1 A"} << QStringList{"Camera #1 A"};
        QTest::newRow("serial is case-sensitive")
            << QStringList{"10.0.0.1 a", "10.0.0.1 A"} << QStringList{"Camera #1 a", "Camera #2 A"};
        QTest::newRow("no serial, same address")
            << QStringList{"10.0.0.1 ", "10.0.0.1 "} << QStringList{"Camera #1 Serial not found"};
        QTest::newRow("no serial, other address")
            << QStringList{"10.0.0.1 ", "fd77::10 "}
            << QStringList{"Camera #1 Serial not found", "Camera #2 Serial not found"};
        QTest::newRow("third camera numbered 3")
            << QStringList{"10.0.0.1 A", "10.0.0.2 B", "10.0.0.1 A", "10.0.0.3 C"}
            << QStringList{"Camera #1 A", "Camera #2 B", "Camera #3 C"};
    }

    void identity()
    {
        QFETCH(QStringList, answers);
        QFETCH(QStringList, cameras);

        CameraModel model;
        QSignalSpy announced(&model, &CameraModel::newCamera);
        for (const QString &answer : std::as_const(answers)) {
            const QString address = answer.section(QLatin1Char(' '), 0, 0);
            model.addCamera(QHostAddress(address), withSerial(answer.section(QLatin1Char(' '), 1)), timeOf(1, 2, 3));
        }
        QStringList found;
        for (const QSharedPointer<CameraItem> &camera : model.cameras())
            found << camera->data(0).toString() + QLatin1Char(' ') + camera->serial();
        QCOMPARE(found, cameras);
        QCOMPARE(announced.count(), cameras.size());
    }

    void knownCameraOnlyTouchesLastConnection()
    {
        CameraModel model;
        model.addCamera(QHostAddress("10.0.0.1"), {{"S/N", "A"}, {"Firmware", "1.0"}}, timeOf(1, 0, 0));
        model.addCamera(QHostAddress("10.0.0.2"), {{"S/N", "B"}}, timeOf(1, 0, 0));
        QSignalSpy changed(&model, &CameraModel::dataChanged);
        QSignalSpy inserted(&model, &CameraModel::rowsInserted);
        QSignalSpy announced(&model, &CameraModel::newCamera);

        model.addCamera(QHostAddress("10.0.0.2"), {{"S/N", "B"}, {"Firmware", "2.0"}}, timeOf(2, 30, 0));

        QCOMPARE(inserted.count(), 0);
        QCOMPARE(announced.count(), 0);
        QCOMPARE(changed.count(), 1);
        const QModelIndex topLeft = changed.at(0).at(0).value<QModelIndex>();
        QCOMPARE(topLeft, changed.at(0).at(1).value<QModelIndex>());
        QCOMPARE(topLeft.parent(), model.index(1, 0));
        QCOMPARE(model.data(topLeft.siblingAtColumn(0)).toString(), QStringLiteral("Last Connection"));
        QCOMPARE(model.data(topLeft).toString(), QStringLiteral("2024-05-01T02:30:00"));

        const QSharedPointer<CameraItem> camera = model.findCamera(QStringLiteral("B"), QHostAddress("10.0.0.2"));
        QCOMPARE(rowTexts(camera->versionRow()), QStringList{"S/N=B"});
    }

    void insertionIsAnnouncedWhereTheCameraGoes()
    {
        CameraModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy inserted(&model, &CameraModel::rowsInserted);
        for (const char *serial : {"A", "B", "C"})
            model.addCamera(QHostAddress("10.0.0.1"), withSerial(serial), timeOf(1, 0, 0));
        QCOMPARE(inserted.count(), 3);
        for (int row = 0; row < 3; ++row) {
            QCOMPARE(inserted.at(row).at(1).toInt(), row);
            QCOMPARE(inserted.at(row).at(2).toInt(), row);
        }
        QCOMPARE(model.cameras().last()->serial(), QStringLiteral("C"));
    }

    void clearRestartsNumberingAndKeepsKeySets()
    {
        CameraModel model;
        model.addCamera(QHostAddress("10.0.0.1"), {{"S/N", "A"}, {"OnlyBeforeClear", "x"}}, timeOf(1, 0, 0));
        const QSharedPointer<CameraItem> held = model.cameras().first();
        model.clear();
        QCOMPARE(model.rowCount(), 0);
        QVERIFY(!held->parentItem());
        QCOMPARE(held->versionRow()->childCount(), 2);
        model.addCamera(QHostAddress("10.0.0.2"), withSerial("B"), timeOf(1, 0, 0));
        QCOMPARE(model.cameras().first()->data(0).toString(), QStringLiteral("Camera #1"));
        QVERIFY(CameraItem::discoveryKeys().contains(QStringLiteral("OnlyBeforeClear")));
    }

    void resourcesFillKeySets()
    {
        CameraModel model;
        model.addCamera(QHostAddress("10.0.0.1"), withSerial("A"), timeOf(1, 0, 0));
        model.addCamera(QHostAddress("10.0.0.2"), withSerial("B"), timeOf(1, 0, 0));
        const QJsonDocument anpr = QJsonDocument::fromJson(R"({"anprKeyOne": 1, "anprKeyTwo": "x"})");
        for (const QSharedPointer<CameraItem> &camera : model.cameras())
            model.attachResource(camera, QStringLiteral("/properties/anpr"), anpr);
        model.attachResource(model.cameras().first(), QStringLiteral("/properties/access"),
                             QJsonDocument::fromJson(R"(["whitelist", "blacklist"])"));
        model.attachResource(model.cameras().first(), QStringLiteral("/properties/system"),
                             QJsonDocument::fromJson(R"({"config": {"a": 1}, "hostname": "cam"})"));

        const QSet<QString> anprKeys = CameraItem::anprKeys();
        QVERIFY(anprKeys.contains(QStringLiteral("anprKeyOne")) && anprKeys.contains(QStringLiteral("anprKeyTwo")));
        QVERIFY(CameraItem::accessListNames().contains(QStringLiteral("whitelist")));
        QVERIFY(CameraItem::systemKeys().contains(QStringLiteral("config")));
        QCOMPARE(CameraItem::configKeys(), QSet<QString>{"config"});
        QCOMPARE(CameraItem::accessEntryKeys().size(), 5);

        const QSharedPointer<JsonItem> anprNode = model.cameras().last()->categoryRow(CameraItem::ANPR);
        QCOMPARE(anprNode->childCount(), 2);
        QCOMPARE(anprNode->document(), anpr);
    }

    void displayCutsLongValues_data()
    {
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("cut");
        QTest::newRow("short") << 12 << false;
        QTest::newRow("longest shown whole") << int(CameraModel::kMaxDisplayLength) << false;
        QTest::newRow("one character more") << int(CameraModel::kMaxDisplayLength) + 1 << true;
        QTest::newRow("a mebibyte") << 1024 * 1024 << true;
    }

    // The view shows a cut value; copying and the exported list get all of it.
    void displayCutsLongValues()
    {
        QFETCH(int, length);
        QFETCH(bool, cut);
        const QString value(length, QLatin1Char('v'));
        CameraModel model;
        model.addCamera(QHostAddress("10.0.0.1"), {{"S/N", "A"}, {"Note", value}}, timeOf(1, 0, 0));
        const QModelIndex note = model.indexOf(model.cameras().first()->versionRow()->firstChild().data(), 1);

        const QString shown = note.data().toString();
        QCOMPARE(shown, cut ? value.left(CameraModel::kMaxDisplayLength) + QChar(0x2026) : value);
        QCOMPARE(note.data(CameraModel::FullTextRole).toString(), value);
        QBuffer csv;
        csv.open(QIODevice::WriteOnly);
        CameraListExport::write(csv, model.cameras());
        QVERIFY(csv.data().contains("," + value.toLatin1() + ","));
    }

    void updateStatusText()
    {
        CameraModel model;
        model.addCamera(QHostAddress("10.0.0.1"), withSerial("A"), timeOf(1, 0, 0));
        const QSharedPointer<CameraItem> camera = model.cameras().first();
        QSignalSpy changed(&model, &CameraModel::dataChanged);
        camera->setUpdateStatus(-201);
        model.refreshUpdateStatus(camera);
        QCOMPARE(changed.count(), 1);
        const QModelIndex statusIndex = changed.at(0).at(1).value<QModelIndex>();
        QCOMPARE(model.data(statusIndex).toString(), camera->updateStatusRow()->data(1).toString());
        QCOMPARE(model.data(statusIndex.siblingAtColumn(0)).toString(), QStringLiteral("Update Status"));
        QCOMPARE(camera->updateStatus(), -201);
        QVERIFY(camera->updateTime().isValid());
        const QRegularExpression shown(QStringLiteral(R"(^Invalid user/password \(at \d{4}-\d\d-\d\d \d\d:\d\d:\d\d\)$)"));
        QVERIFY2(shown.match(camera->updateStatusRow()->data(1).toString()).hasMatch(),
                 qPrintable(camera->updateStatusRow()->data(1).toString()));
    }

    void sameShapedDocumentKeepsRowsAndReportsChangedValues()
    {
        CameraModel model;
        model.addCamera(QHostAddress("10.0.0.1"), withSerial("A"), timeOf(1, 0, 0));
        const QSharedPointer<CameraItem> camera = model.cameras().first();
        const QString path = QStringLiteral("/live/status");
        model.attachResource(camera, path, QJsonDocument::fromJson(R"({"uptime": 12, "temps": [40, {"cpu": 41}]})"));
        const QSharedPointer<Item> firstRow = camera->categoryRow(CameraItem::CameraStatus)->firstChild();
        QPersistentModelIndex uptime(model.index(1, 1, model.index(CameraItem::CameraStatus + 5, 0, model.index(0, 0))));
        QCOMPARE(uptime.data().toString(), QStringLiteral("12"));

        QSignalSpy removed(&model, &CameraModel::rowsRemoved);
        QSignalSpy changed(&model, &CameraModel::dataChanged);
        const QJsonDocument refreshed = QJsonDocument::fromJson(R"({"uptime": 13, "temps": [40, {"cpu": 45}]})");
        model.attachResource(camera, path, refreshed);

        QCOMPARE(removed.count(), 0);
        QCOMPARE(camera->categoryRow(CameraItem::CameraStatus)->firstChild(), firstRow);
        QCOMPARE(camera->categoryRow(CameraItem::CameraStatus)->document(), refreshed);
        QCOMPARE(uptime.data().toString(), QStringLiteral("13"));
        QStringList changedTexts;
        for (const QList<QVariant> &signal : std::as_const(changed))
            changedTexts << signal.at(0).value<QModelIndex>().siblingAtColumn(0).data().toString() + QLatin1Char('=')
                                + signal.at(0).value<QModelIndex>().data().toString();
        QCOMPARE(changedTexts, (QStringList{"cpu=45", "uptime=13"}));

        // Another shape is rebuilt: an element that turned from a number into an object.
        model.attachResource(camera, path, QJsonDocument::fromJson(R"({"uptime": 13, "temps": [{"gpu": 1}, {"cpu": 45}]})"));
        QCOMPARE(removed.count(), 1);
        QVERIFY(!uptime.isValid());
        QCOMPARE(rowTexts(camera->categoryRow(CameraItem::CameraStatus)->firstChild()->firstChild()),
                 QStringList{"gpu=1"});
    }

    void availabilityRepaintsOnlyChanges()
    {
        CameraModel model;
        model.addCamera(QHostAddress("10.0.0.1"), withSerial("A"), timeOf(1, 0, 0));
        const QSharedPointer<CameraItem> camera = model.cameras().first();
        QSignalSpy changed(&model, &CameraModel::dataChanged);
        for (bool unavailable : {false, true, true, false, false}) {
            camera->setUnavailable(unavailable);
            model.refreshAvailability(camera);
        }
        QCOMPARE(changed.count(), 2);
        QCOMPARE(changed.at(0).at(0).value<QModelIndex>(), model.index(0, 0));
        QCOMPARE(changed.at(0).at(2).value<QList<int>>(), QList<int>{Qt::BackgroundRole});
    }

    void unavailableCameraIsRed()
    {
        CameraModel model;
        model.addCamera(QHostAddress("10.0.0.1"), withSerial("A"), timeOf(1, 0, 0));
        const QModelIndex cameraIndex = model.index(0, 0);
        const QModelIndex rowIndex = model.index(0, 0, cameraIndex);
        QVERIFY(!model.data(cameraIndex, Qt::BackgroundRole).isValid());
        model.cameras().first()->setUnavailable(true);
        QCOMPARE(model.data(cameraIndex, Qt::BackgroundRole).value<QBrush>(), QBrush(Qt::red));
        QVERIFY(!model.data(rowIndex, Qt::BackgroundRole).isValid());
        QCOMPARE(model.headerData(1, Qt::Horizontal), QVariant(QStringLiteral("Value")));
        QVERIFY(!model.headerData(0, Qt::Vertical).isValid());
    }

    void contractWithDocumentsAttached()
    {
        CameraModel model;
        model.addCamera(QHostAddress("10.0.0.1"), withSerial("A"), timeOf(1, 0, 0));
        model.addCamera(QHostAddress("fd77::10"), withSerial("B"), timeOf(1, 0, 0));
        const QJsonDocument status = QJsonDocument::fromJson(R"({"uptime": 12, "temps": [40, 41], "io": {"in": [1, {"x": true}]}})");
        for (const QSharedPointer<CameraItem> &camera : model.cameras())
            model.attachResource(camera, QStringLiteral("/live/status"), status);

        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QSharedPointer<CameraItem> camera = model.cameras().first();
        model.attachResource(camera, QStringLiteral("/live/status"), QJsonDocument::fromJson(R"({"only": 1})"));
        model.attachResource(camera, QStringLiteral("/classifier/list"), QJsonDocument::fromJson("[]"));
        model.attachResource(camera, QStringLiteral("/classifier/list"), QJsonDocument::fromJson(R"(["a", "b"])"));
        model.addCamera(QHostAddress("10.0.0.1"), withSerial("A"), timeOf(2, 0, 0));
        QCOMPARE(rowTexts(camera->categoryRow(CameraItem::CameraStatus)), QStringList{"only=1"});
        model.clear();
        QCOMPARE(model.rowCount(), 0);
    }
};

QTEST_GUILESS_MAIN(CameraModelTest)
#include "tst_CameraModel.moc"
