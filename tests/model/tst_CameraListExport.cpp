#include "CameraListExport.h"
#include "CameraModel.h"

#include <QBuffer>
#include <QJsonObject>
#include <QtTest>

// The file as a spreadsheet reads it: header columns and the fields under them.
class tst_CameraListExport : public QObject
{
    Q_OBJECT

private slots:
    void noCameras();
    void columnsLineUp();
};

static QByteArray exported(const QList<QSharedPointer<CameraItem>> &cameras)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly | QIODevice::Text);
    CameraListExport::write(buffer, cameras);
    return buffer.data();
}

// Runs first: the key sets are program-wide and still empty here.
void tst_CameraListExport::noCameras()
{
    QCOMPARE(exported({}), QByteArray("IPv4 Address,IPv6 Address,Last Connection\n"));
}

void tst_CameraListExport::columnsLineUp()
{
    std::tm seen{};
    seen.tm_year = 124;
    seen.tm_mon = 4;
    seen.tm_mday = 1;
    seen.tm_hour = 13;
    seen.tm_min = 45;
    seen.tm_sec = 10;
    CameraModel model;
    model.addCamera(QHostAddress(QStringLiteral("10.0.0.5")), {{"S/N", "A"}, {"Model", "X"}}, seen);
    model.addCamera(QHostAddress(QStringLiteral("fd77::10")), {{"S/N", "B"}, {"Firmware", "2"}}, seen);
    const QList<QSharedPointer<CameraItem>> cameras = model.cameras();
    model.attachResource(cameras.at(0), QStringLiteral("/properties/system"),
                         QJsonDocument(QJsonObject{{"Name", "cam"}, {"config", QJsonObject{{"a", "b"}}}}));
    model.attachResource(cameras.at(0), QStringLiteral("/properties/anpr"),
                         QJsonDocument(QJsonObject{{"Speed", "fast"}, {"camlog", "on"}}));

    // Only A reports Model and has Web-API data; only B reports Firmware.
    QCOMPARE(exported(cameras), QByteArray("IPv4 Address,IPv6 Address,Firmware,Model,S/N,Name,Speed,Last Connection\n"
                                           "10.0.0.5,,,X,A,cam,fast,2024-05-01T13:45:10\n"
                                           ",fd77::10,2,,B,,,2024-05-01T13:45:10\n"));
}

QTEST_GUILESS_MAIN(tst_CameraListExport)
#include "tst_CameraListExport.moc"
