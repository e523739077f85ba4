#include "PropertyEditor.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

class tst_PropertyEditor : public QObject
{
    Q_OBJECT

private slots:
    void shape();
    void setData_data();
    void setData();
    void header_data();
    void header();
    void changedProperties();
};

void tst_PropertyEditor::shape()
{
    PropertyEditor editor;
    QAbstractItemModelTester tester(&editor);
    QCOMPARE(editor.columnCount(), 2);
    QCOMPARE(editor.rowCount(), 0);
    editor.addProperties({"a", "b"});
    QCOMPARE(int(editor.flags(editor.index(0, 0))), 161);
    QCOMPARE(int(editor.flags(editor.index(0, 1))), 163);
    QCOMPARE(editor.flags(QModelIndex()), Qt::NoItemFlags);
    QVERIFY(!editor.data(editor.index(0, 0), Qt::EditRole).isValid());
}

// Only the display role answers, so an edit never equals what is shown and is always taken.
void tst_PropertyEditor::setData_data()
{
    QTest::addColumn<int>("role");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("taken");
    QTest::newRow("shown value, display role") << int(Qt::DisplayRole) << "old" << false;
    QTest::newRow("shown value, edit role") << int(Qt::EditRole) << "old" << true;
    QTest::newRow("new value") << int(Qt::DisplayRole) << "new" << true;
}

void tst_PropertyEditor::setData()
{
    QFETCH(int, role);
    QFETCH(QString, value);
    QFETCH(bool, taken);
    PropertyEditor editor;
    editor.addProperties({"name"});
    editor.setData(editor.index(0, 1), QStringLiteral("old"));
    QSignalSpy changed(&editor, &QAbstractItemModel::dataChanged);
    QCOMPARE(editor.setData(editor.index(0, 1), value, role), taken);
    QCOMPARE(changed.size(), taken ? 1 : 0);
    QCOMPARE(editor.data(editor.index(0, 1)).toString(), value);
}

void tst_PropertyEditor::header_data()
{
    QTest::addColumn<int>("section");
    QTest::addColumn<int>("orientation");
    QTest::addColumn<int>("role");
    QTest::addColumn<QVariant>("label");
    QTest::newRow("horizontal") << 1 << int(Qt::Horizontal) << int(Qt::DisplayRole) << QVariant("Value");
    QTest::newRow("horizontal tool tip") << 0 << int(Qt::Horizontal) << int(Qt::ToolTipRole) << QVariant();
    QTest::newRow("vertical, any role") << 0 << int(Qt::Vertical) << int(Qt::ToolTipRole) << QVariant("Property");
    QTest::newRow("third section") << 2 << int(Qt::Vertical) << int(Qt::DisplayRole) << QVariant();
    QTest::newRow("negative section") << -1 << int(Qt::Vertical) << int(Qt::DisplayRole) << QVariant();
}

void tst_PropertyEditor::header()
{
    QFETCH(int, section);
    QFETCH(int, orientation);
    QFETCH(int, role);
    QTEST(PropertyEditor().headerData(section, Qt::Orientation(orientation), role), "label");
}

void tst_PropertyEditor::changedProperties()
{
    PropertyEditor editor;
    editor.addProperties({"a", "b"});
    editor.addProperties({"a"});
    QCOMPARE(editor.rowCount(), 3);
    // A write to column 0 changes the value too; the name stays.
    QVERIFY(editor.setData(editor.index(0, 0), QStringLiteral("first")));
    QCOMPARE(editor.data(editor.index(0, 0)).toString(), QStringLiteral("a"));
    QCOMPARE(editor.changedProperties(), (QMap<QString, QString>{{"a", "first"}}));
    editor.setData(editor.index(2, 1), QStringLiteral("last"));
    QCOMPARE(editor.changedProperties(), (QMap<QString, QString>{{"a", "last"}}));
    editor.clear();
    QCOMPARE(editor.rowCount(), 3);
    QCOMPARE(editor.data(editor.index(2, 0)).toString(), QStringLiteral("a"));
    QVERIFY(editor.changedProperties().isEmpty());
}

QTEST_GUILESS_MAIN(tst_PropertyEditor)
#include "tst_PropertyEditor.moc"
