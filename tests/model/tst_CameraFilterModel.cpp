#include "CameraFilterModel.h"
#include "CameraModel.h"
#include "JsonItem.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

const QString kStatus = QStringLiteral("/live/status");
const QString kAnpr = QStringLiteral("/properties/anpr");

QJsonDocument json(const char *text)
{
    return QJsonDocument::fromJson(text);
}

// The rows a model shows, depth-first, each as "label=value" indented by its depth.
QStringList shownRows(const QAbstractItemModel &model, const QModelIndex &parent = {}, int depth = 0)
{
    QStringList rows;
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex index = model.index(row, 0, parent);
        rows << QString(depth, QLatin1Char(' ')) + index.data().toString() + QLatin1Char('=')
                    + index.siblingAtColumn(1).data().toString();
        rows += shownRows(model, index, depth + 1);
    }
    return rows;
}

QString joined(const QStringList &rows)
{
    return rows.join(QLatin1Char('|'));
}

// The rows a model shows but a camera's fixed rows, joined into one line for short tables.
QString shownOutline(const QAbstractItemModel &model)
{
    static const QStringList fixed{"IPv4 Address", "IPv6 Address", "Update Status", "Last Connection"};
    QStringList rows;
    for (const QString &row : shownRows(model)) {
        if (!fixed.contains(row.trimmed().section(QLatin1Char('='), 0, 0)))
            rows << row;
    }
    return joined(rows);
}

} // namespace

class CameraFilterModelTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_model = std::make_unique<CameraModel>();
        m_filter = std::make_unique<CameraFilterModel>(m_model.get());
        m_tester = std::make_unique<QAbstractItemModelTester>(m_filter.get(),
                                                              QAbstractItemModelTester::FailureReportingMode::QtTest);
        addCamera("10.0.0.1", "AX-1");
        addCamera("10.0.0.2", "BX-2");
        m_model->attachResource(camera(0), kAnpr, json(R"({"min_confidence": 70, "plates": ["KA 1", "KB 2"]})"));
        m_model->attachResource(camera(1), kStatus, json(R"({"uptime": 5})"));
    }

    void cleanup()
    {
        m_tester.reset();
        m_filter.reset();
        m_model.reset();
    }

    void withoutPatternShowsTheTree()
    {
        QCOMPARE(shownRows(*m_filter), shownRows(*m_model));
        QVERIFY(!m_filter->isMatching());
    }

    void patternShowsMatchesWithTheirAncestors_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QStringList>("outline");
        QTest::newRow("a key, any case") << "MIN_conf"
                                        << QStringList{"Camera #1=AX-1", " ANPR=", "  min_confidence=70"};
        QTest::newRow("a value") << "^KB"
                                 << QStringList{"Camera #1=AX-1", " ANPR=", "  plates=2 elements in list", "   #2=KB 2"};
        QTest::newRow("a serial: the camera and its discovery answer")
            << "bx-2" << QStringList{"Camera #2=BX-2", " Version=", "  S/N=BX-2"};
        QTest::newRow("a label of every camera")
            << "^anpr$" << QStringList{"Camera #1=AX-1", " ANPR=", "Camera #2=BX-2", " ANPR="};
        QTest::newRow("nothing matches") << "no such text" << QStringList{};
        QTest::newRow("invalid expression") << "(" << QStringList{};
    }

    void patternShowsMatchesWithTheirAncestors()
    {
        QFETCH(QString, pattern);
        QFETCH(QStringList, outline);
        applyPattern(pattern);
        QCOMPARE(shownOutline(*m_filter), joined(outline));
        QCOMPARE(m_filter->filterPattern(), pattern);

        applyPattern(QString());
        QCOMPARE(shownRows(*m_filter), shownRows(*m_model));
    }

    void oldResultShowsWhileANewPatternIsMatched()
    {
        applyPattern("uptime");
        const QStringList before = shownRows(*m_filter);
        QSignalSpy applied(m_filter.get(), &CameraFilterModel::filterApplied);
        m_filter->setFilterPattern("min_conf");
        QVERIFY(m_filter->isMatching());
        QCOMPARE(shownRows(*m_filter), before);
        QVERIFY(applied.wait(5000));
        QCOMPARE(shownOutline(*m_filter), joined({"Camera #1=AX-1", " ANPR=", "  min_confidence=70"}));
    }

    void persistentIndexesStayOnTheirItemsAcrossPatterns()
    {
        const QPersistentModelIndex second = m_filter->index(1, 0);
        const QPersistentModelIndex uptime = m_filter->mapFromSource(
            m_model->indexOf(camera(1)->categoryRow(CameraItem::CameraStatus)->firstChild().data(), 1));
        QCOMPARE(uptime.data().toString(), QStringLiteral("5"));

        applyPattern("uptime");
        QCOMPARE(second.row(), 0);
        QCOMPARE(QModelIndex(second).siblingAtColumn(1).data().toString(), QStringLiteral("BX-2"));
        QCOMPARE(uptime.data().toString(), QStringLiteral("5"));

        applyPattern("AX-1");
        QVERIFY(!second.isValid());
        applyPattern(QString());
        QVERIFY(!second.isValid());
        QCOMPARE(m_filter->index(1, 1).data().toString(), QStringLiteral("BX-2"));
    }

    void arrivalsUnderAPatternShowWhenTheyMatch()
    {
        applyPattern("^cx|uptime");
        QCOMPARE(shownOutline(*m_filter), joined({"Camera #2=BX-2", " Camera Status=", "  uptime=5"}));

        addCamera("10.0.0.3", "CX-3");
        addCamera("10.0.0.4", "DX-4");
        m_model->attachResource(camera(0), kStatus, json(R"({"uptime": 9})"));
        QTRY_COMPARE(shownOutline(*m_filter),
                     joined({"Camera #1=AX-1", " Camera Status=", "  uptime=9", "Camera #2=BX-2", " Camera Status=",
                             "  uptime=5", "Camera #3=CX-3", " Version=", "  S/N=CX-3"}));
    }

    void valueChangesUnderAPatternShowAndHideRows()
    {
        applyPattern("^7");
        QCOMPARE(shownOutline(*m_filter), joined({"Camera #1=AX-1", " ANPR=", "  min_confidence=70"}));

        m_model->attachResource(camera(0), kAnpr, json(R"({"min_confidence": 60, "plates": ["KA 1", "KB 2"]})"));
        m_model->attachResource(camera(1), kStatus, json(R"({"uptime": 7})"));
        QTRY_COMPARE(shownOutline(*m_filter), joined({"Camera #2=BX-2", " Camera Status=", "  uptime=7"}));
    }

    void rowsLeavingTheTreeLeaveTheFilterAtOnce()
    {
        applyPattern("^K");
        QCOMPARE(shownOutline(*m_filter),
                 joined({"Camera #1=AX-1", " ANPR=", "  plates=2 elements in list", "   #1=KA 1", "   #2=KB 2"}));
        const QPersistentModelIndex plates = m_filter->index(0, 0, m_filter->index(0, 0, m_filter->index(0, 0)));
        QSignalSpy removed(m_filter.get(), &QAbstractItemModel::rowsRemoved);

        m_model->attachResource(camera(0), kAnpr, json(R"({"min_confidence": 70})"));
        QCOMPARE(removed.count(), 1);
        QVERIFY(!plates.isValid());
        // Its camera shows nothing that matches any more: it leaves with the next change.
        QTRY_COMPARE(shownOutline(*m_filter), QString());

        m_model->clear();
        QCOMPARE(m_filter->rowCount(), 0);
        addCamera("10.0.0.9", "KX-9");
        QTRY_COMPARE(shownOutline(*m_filter), joined({"Camera #1=KX-9", " Version=", "  S/N=KX-9"}));
    }

    void changesWhileMatchingAreNotLost()
    {
        addCamera("10.0.0.3", "CX-3");
        m_filter->setSliceDuration(0);
        QSignalSpy applied(m_filter.get(), &CameraFilterModel::filterApplied);
        m_filter->setFilterPattern("uptime|^DX");
        QCoreApplication::processEvents();
        QVERIFY2(m_filter->isMatching(), "the first slice matched only the first camera");

        // The first camera was matched already, the new one comes after the pass began.
        m_model->attachResource(camera(0), kStatus, json(R"({"uptime": 1})"));
        addCamera("10.0.0.4", "DX-4");
        QVERIFY(applied.wait(5000));
        QCOMPARE(shownOutline(*m_filter),
                 joined({"Camera #1=AX-1", " Camera Status=", "  uptime=1", "Camera #2=BX-2", " Camera Status=",
                         "  uptime=5", "Camera #4=DX-4", " Version=", "  S/N=DX-4"}));
    }

    void valueChangesReachTheViewsAsOneRepaint()
    {
        for (int i = 3; i <= 50; ++i)
            addCamera(QStringLiteral("10.0.1.%1").arg(i), QStringLiteral("S-%1").arg(i));
        QSignalSpy changed(m_filter.get(), &QAbstractItemModel::dataChanged);
        for (const QSharedPointer<CameraItem> &each : m_model->cameras()) {
            each->setUpdateStatus(0);
            m_model->refreshUpdateStatus(each);
        }
        QCOMPARE(changed.count(), 0);
        QTRY_COMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(0).value<QModelIndex>(), m_filter->index(0, 0));
        QCOMPARE(changed.at(0).at(1).value<QModelIndex>(), m_filter->index(0, 1));
    }

private:
    void addCamera(const QString &address, const QString &serial)
    {
        m_model->addCamera(QHostAddress(address), {{"S/N", serial}}, {});
    }

    QSharedPointer<CameraItem> camera(int row) const { return m_model->cameras().at(row); }

    void applyPattern(const QString &pattern)
    {
        QSignalSpy applied(m_filter.get(), &CameraFilterModel::filterApplied);
        m_filter->setFilterPattern(pattern);
        if (m_filter->filterPattern() != pattern)
            QVERIFY(applied.wait(5000));
    }

    std::unique_ptr<CameraModel> m_model;
    std::unique_ptr<CameraFilterModel> m_filter;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
};

QTEST_GUILESS_MAIN(CameraFilterModelTest)
#include "tst_CameraFilterModel.moc"
