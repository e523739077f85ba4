#include "Item.h"
#include "JsonItem.h"
#include "JsonTree.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QtTest>

namespace {

// A category node outside any model. Parent and child links are both strong, so whoever
// owns a tree releases its rows when done, as the camera model does.
struct Category
{
    QSharedPointer<JsonItem> node = QSharedPointer<JsonItem>::create(
        QList<QVariant>{QStringLiteral("System"), QString()}, QSharedPointer<Item>());
    ~Category() { node->clearChildren(); }
};

// Renders a subtree as "label=value" lines, children indented, so a whole tree compares at once.
QStringList render(const QSharedPointer<Item> &node, int indent = 0)
{
    QStringList lines;
    for (const QSharedPointer<Item> &child : std::as_const(node->children())) {
        lines << QString(indent, QLatin1Char(' ')) + child->data(0).toString() + QLatin1Char('=')
                     + child->data(1).toString();
        lines << render(child, indent + 2);
    }
    return lines;
}

} // namespace

class JsonTreeTest : public QObject
{
    Q_OBJECT

private slots:
    void valueText_data()
    {
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("string") << QJsonValue(QStringLiteral("abc")) << "abc";
        QTest::newRow("true") << QJsonValue(true) << "true";
        QTest::newRow("false") << QJsonValue(false) << "false";
        QTest::newRow("null") << QJsonValue(QJsonValue::Null) << "null";
        QTest::newRow("large") << QJsonValue(1.5e10) << "1.5e+10";
        QTest::newRow("fraction") << QJsonValue(0.1) << "0.1";
        QTest::newRow("six digits") << QJsonValue(1234567) << "1.23457e+06";
        QTest::newRow("integer") << QJsonValue(42) << "42";
        QTest::newRow("object") << QJsonValue(QJsonObject{{"a", 1}}) << "";
        QTest::newRow("one element") << QJsonValue(QJsonArray{7}) << "1 element in list";
        QTest::newRow("empty array") << QJsonValue(QJsonArray{}) << "0 elements in list";
        QTest::newRow("two elements") << QJsonValue(QJsonArray{1, 2}) << "2 elements in list";
        QTest::newRow("undefined") << QJsonValue(QJsonValue::Undefined) << "";
    }

    void valueText()
    {
        QFETCH(QJsonValue, value);
        QFETCH(QString, text);
        QCOMPARE(JsonTree::valueText(value), text);
    }

    void buildTree_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QStringList>("rows");
        QTest::newRow("keys sorted") << QByteArray(R"({"zeta": 1, "alpha": "x", "mid": true})")
                                     << QStringList{"alpha=x", "mid=true", "zeta=1"};
        QTest::newRow("nested array in array")
            << QByteArray(R"([5, [1, 2], {"a": 1}])")
            << QStringList{"#1=5", "#2=", "  #1=1", "  #2=2", "#3=", "  a=1"};
        QTest::newRow("nested array as value")
            << QByteArray(R"({"list": [1, 2], "obj": {"b": null}})")
            << QStringList{"list=2 elements in list", "  #1=1", "  #2=2", "obj=", "  b=null"};
        QTest::newRow("array of strings") << QByteArray(R"(["white", "black"])")
                                          << QStringList{"#1=white", "#2=black"};
        QTest::newRow("empty object") << QByteArray("{}") << QStringList{};
        QTest::newRow("empty array") << QByteArray("[]") << QStringList{};
    }

    void buildTree()
    {
        QFETCH(QByteArray, json);
        QFETCH(QStringList, rows);
        const Category owner;
        const QSharedPointer<JsonItem> &category = owner.node;
        const QJsonDocument document = QJsonDocument::fromJson(json);
        JsonTree::buildTree(document, category);
        QCOMPARE(render(category), rows);
        QCOMPARE(category->document(), document);
        QCOMPARE(JsonTree::topLevelRowCount(document), category->childCount());
        for (const QSharedPointer<Item> &row : std::as_const(category->children())) {
            QCOMPARE(row->parentItem(), category.staticCast<Item>());
            QVERIFY(!row.dynamicCast<JsonItem>());
        }
    }

    void reattachReplacesAndNullKeeps()
    {
        const Category owner;
        const QSharedPointer<JsonItem> &category = owner.node;
        JsonTree::buildTree(QJsonDocument::fromJson(R"({"a": 1, "b": 2})"), category);
        const QSharedPointer<Item> oldRow = category->child(0);

        JsonTree::buildTree(QJsonDocument::fromJson(R"({"c": 3})"), category);
        QCOMPARE(render(category), QStringList{"c=3"});
        QVERIFY2(!oldRow->parentItem(), "a released row lets go of its parent");

        JsonTree::buildTree(QJsonDocument::fromJson("not json"), category);
        QCOMPARE(render(category), QStringList{"c=3"});
        QCOMPARE(category->document(), QJsonDocument::fromJson(R"({"c": 3})"));
    }

    void itemBounds()
    {
        auto parent = QSharedPointer<Item>::create(QList<QVariant>{"p", "v"}, QSharedPointer<Item>());
        auto first = QSharedPointer<Item>::create(QList<QVariant>{"a", "1"}, parent);
        auto second = QSharedPointer<Item>::create(QList<QVariant>{"b", "2"}, parent);
        parent->appendChild(first);
        parent->appendChild(second);

        QVERIFY(!parent->child(-1));
        QVERIFY(!parent->child(parent->childCount()));
        QCOMPARE(parent->child(1), second);
        QCOMPARE(second->row(), 1);
        QCOMPARE(parent->row(), 0);
        QVERIFY(!parent->data(2).isValid());
        parent->setData(2, "ignored");
        QCOMPARE(parent->columnCount(), 2);
        parent->setData(1, "changed");
        QCOMPARE(parent->data(1).toString(), QStringLiteral("changed"));

        QCOMPARE(parent->firstChild(), first);
        QCOMPARE(parent->lastChild(), second);
        parent->clearChildren();
        QCOMPARE(parent->childCount(), 0);
        QVERIFY(!parent->firstChild() && !parent->lastChild());
        QCOMPARE(first->row(), 0);
    }
};

QTEST_GUILESS_MAIN(JsonTreeTest)
#include "tst_JsonTree.moc"
