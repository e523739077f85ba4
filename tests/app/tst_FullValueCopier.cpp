#include "CameraModel.h"
#include "FullValueCopier.h"

#include <QClipboard>
#include <QTreeView>
#include <QtTest>

// Ctrl+C on a cell whose value the view shows cut puts the whole value on the clipboard.
class tst_FullValueCopier : public QObject
{
    Q_OBJECT

private slots:
    void copiesTheWholeValue()
    {
        const QString value = QStringLiteral("x").repeated(CameraModel::kMaxDisplayLength * 10);
        CameraModel model;
        model.addCamera(QHostAddress(QStringLiteral("10.0.0.1")), {{"S/N", "A"}, {"Note", value}}, {});
        QTreeView view;
        view.setModel(&model);
        new FullValueCopier(&view);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));

        QGuiApplication::clipboard()->clear();
        view.setCurrentIndex(model.indexOf(model.cameras().first()->versionRow()->firstChild().data(), 1));
        QTest::keySequence(&view, QKeySequence::Copy);
        QCOMPARE(QGuiApplication::clipboard()->text(), value);
    }
};

QTEST_MAIN(tst_FullValueCopier)
#include "tst_FullValueCopier.moc"
