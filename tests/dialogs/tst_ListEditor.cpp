#include "CameraModel.h"
#include "ListEditor.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QGroupBox>
#include <QJsonArray>
#include <QLineEdit>
#include <QTimeEdit>
#include <QtTest>

class tst_ListEditor : public QObject
{
    Q_OBJECT

private slots:
    void reopenResetsForm();
    void alwaysGreysOutSchedule();
};

static const char *const kSchedule[] = {"deStartDate", "deEndDate", "cbMonday", "cbTuesday", "cbWednesday",
                                        "cbThursday", "cbFriday", "cbSaturday", "cbSunday", "teFrom", "teTo"};

void tst_ListEditor::reopenResetsForm()
{
    CameraModel model;
    model.addCamera(QHostAddress(QStringLiteral("10.0.0.1")), {{"S/N", "A"}}, std::tm{});
    ListEditor editor;
    editor.setCameras(model.cameras());
    QCOMPARE(editor.findChild<QComboBox *>(QStringLiteral("cbAccessList"))->count(), 0);

    model.attachResource(model.cameras().at(0), QStringLiteral("/properties/access"),
                         QJsonDocument(QJsonArray{"beta", "Beta", "alpha", "Alpha"}));
    editor.findChild<QLineEdit *>(QStringLiteral("lePlate"))->setText(QStringLiteral("AB"));
    for (const char *box : {"cbAlways", "cbRegEx", "cbMonday"})
        editor.findChild<QCheckBox *>(QLatin1String(box))->click();
    editor.findChild<QTimeEdit *>(QStringLiteral("teTo"))->setTime(QTime(8, 0));
    editor.setCameras(model.cameras());

    auto *lists = editor.findChild<QComboBox *>(QStringLiteral("cbAccessList"));
    QStringList names;
    for (int i = 0; i < lists->count(); ++i)
        names.append(lists->itemText(i));
    QCOMPARE(names, (QStringList{"Alpha", "Beta", "alpha", "beta"}));
    QVERIFY(editor.findChild<QLineEdit *>(QStringLiteral("lePlate"))->text().isEmpty());
    for (const char *box : {"cbAlways", "cbRegEx", "cbMonday"})
        QVERIFY(!editor.findChild<QCheckBox *>(QLatin1String(box))->isChecked());
    QCOMPARE(editor.findChild<QDateEdit *>(QStringLiteral("deEndDate"))->date(), QDate::currentDate().addDays(1));
    QCOMPARE(editor.findChild<QTimeEdit *>(QStringLiteral("teTo"))->time(), QTime(23, 59, 59, 999));
    for (const char *name : kSchedule)
        QVERIFY2(editor.findChild<QWidget *>(QLatin1String(name))->isEnabled(), name);
}

void tst_ListEditor::alwaysGreysOutSchedule()
{
    ListEditor editor;
    auto *always = editor.findChild<QCheckBox *>(QStringLiteral("cbAlways"));
    for (bool disabled : {true, false}) {
        always->click();
        for (const char *name : kSchedule)
            QVERIFY2(editor.findChild<QWidget *>(QLatin1String(name))->isEnabled() != disabled, name);
        for (const char *group : {"gbDateRange", "gbWeekdays", "gbTimeRange"})
            QVERIFY(editor.findChild<QGroupBox *>(QLatin1String(group))->isEnabled());
    }
}

QTEST_MAIN(tst_ListEditor)
#include "tst_ListEditor.moc"
