#include "CameraList.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

namespace {

QSharedPointer<CameraItem> makeCamera(const QString &serial, const QString &address)
{
    return QSharedPointer<CameraItem>::create(1, serial, QHostAddress(address), std::tm{}, QSharedPointer<Item>());
}

} // namespace

class CameraListTest : public QObject
{
    Q_OBJECT

private slots:
    void display_data()
    {
        QTest::addColumn<QString>("serial");
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("text");
        QTest::newRow("IPv4") << "1234" << "10.0.0.5" << "Cam. 1234 @ 10.0.0.5";
        QTest::newRow("IPv4-mapped") << "77" << "::ffff:10.0.0.6" << "Cam. 77 @ 10.0.0.6";
        QTest::newRow("IPv6") << "88" << "fd77::10" << "Cam. 88 @ fd77::10";
    }

    void display()
    {
        QFETCH(QString, serial);
        QFETCH(QString, address);
        QFETCH(QString, text);
        CameraList::Entries entries{{5, makeCamera(serial, address)}};
        CameraList list;
        list.setList(&entries);
        QCOMPARE(list.data(list.index(0), Qt::DisplayRole).toString(), text);
        QCOMPARE(list.data(list.index(0), CameraList::StatusRole).toInt(), 5);
        QVERIFY(!list.data(list.index(0), Qt::ToolTipRole).isValid());
        QCOMPARE(list.headerData(0, Qt::Horizontal, Qt::DisplayRole), QVariant(QString()));
    }

    void setStatusBounds_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<bool>("changes");
        QTest::newRow("first") << 0 << true;
        QTest::newRow("last") << 1 << true;
        QTest::newRow("row count") << 2 << false;
        QTest::newRow("negative") << -1 << false;
    }

    void setStatusBounds()
    {
        QFETCH(int, row);
        QFETCH(bool, changes);
        CameraList::Entries entries{{0, makeCamera("A", "10.0.0.1")}, {0, makeCamera("B", "10.0.0.2")}};
        CameraList list;
        list.setList(&entries);
        QSignalSpy changed(&list, &CameraList::dataChanged);
        list.setStatus(row, 3);
        QCOMPARE(changed.count(), changes ? 1 : 0);
        if (changes) {
            QCOMPARE(changed.at(0).at(0).value<QModelIndex>(), list.index(row));
            QCOMPARE(changed.at(0).at(2).value<QList<int>>(), QList<int>{});
            QCOMPARE(entries.at(row).status, 3);
        }
    }

    void replacingTheListResets()
    {
        CameraList::Entries first{{0, makeCamera("A", "10.0.0.1")}};
        CameraList::Entries second{{0, makeCamera("B", "10.0.0.2")}, {1, makeCamera("C", "10.0.0.3")}};
        CameraList list;
        QAbstractItemModelTester tester(&list, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QCOMPARE(list.rowCount(), 0);
        QVERIFY(!list.data(list.index(0), Qt::DisplayRole).isValid());
        QSignalSpy reset(&list, &CameraList::modelReset);
        list.setList(&first);
        list.setList(&second);
        QCOMPARE(reset.count(), 2);
        QCOMPARE(list.rowCount(), 2);
        QCOMPARE(list.rowCount(list.index(0)), 0);
        QCOMPARE(list.camera(1)->serial(), QStringLiteral("C"));
    }
};

QTEST_GUILESS_MAIN(CameraListTest)
#include "tst_CameraList.moc"
