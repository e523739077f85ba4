#include "BulkDialog.h"
#include "CameraModel.h"
#include "FileDialog.h"
#include "MessageBox.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QJsonArray>
#include <QJsonObject>
#include <QPushButton>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

// The dialog as the user drives it: cameras moved to the selected list, the boxes that
// answer bad input, and the signals that go out to the Web-API client.
class tst_BulkDialog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void confirmation_data();
    void confirmation();
    void checks_data();
    void checks();
    void classifierFile_data();
    void classifierFile();
    void addEntry();
    void modify_data();
    void modify();
    void choosers();

private:
    template<typename T>
    T *child(const char *name) { return m_dialog->findChild<T *>(QLatin1String(name)); }
    void select(const QList<int> &rows);
    int emitted() const;

    CameraModel m_model;
    std::unique_ptr<BulkDialog> m_dialog;
    std::vector<std::unique_ptr<QSignalSpy>> m_spies;
};

void tst_BulkDialog::initTestCase()
{
    for (const char *address : {"10.0.0.1", "10.0.0.2", "10.0.0.3"})
        m_model.addCamera(QHostAddress(QLatin1String(address)), {{"S/N", address}}, std::tm{});
    m_model.attachResource(m_model.cameras().at(0), QStringLiteral("/properties/access"),
                           QJsonDocument(QJsonArray{"white", "Black"}));
    m_model.attachResource(m_model.cameras().at(0), QStringLiteral("/properties/system"),
                           QJsonDocument(QJsonObject{{"timezone", "UTC"}}));
    m_model.attachResource(m_model.cameras().at(0), QStringLiteral("/properties/anpr"),
                           QJsonDocument(QJsonObject{{"min_confidence", 50}}));
}

void tst_BulkDialog::init()
{
    MessageBox::reset();
    FileDialog::reset();
    m_dialog = std::make_unique<BulkDialog>();
    m_dialog->setCameras(m_model.cameras());
    m_spies.clear();
    const QMetaObject &meta = BulkDialog::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == QMetaMethod::Signal)
            m_spies.push_back(std::make_unique<QSignalSpy>(m_dialog.get(), meta.method(i)));
    }
}

void tst_BulkDialog::select(const QList<int> &rows)
{
    auto *available = child<QListView>("lvCameras");
    for (int row : rows) {
        const QModelIndex index = available->model()->index(row, 0);
        available->selectionModel()->select(index, QItemSelectionModel::ClearAndSelect);
        m_dialog->onSelect();
    }
}

int tst_BulkDialog::emitted() const
{
    int count = 0;
    for (const auto &spy : m_spies)
        count += int(spy->size());
    return count;
}

void tst_BulkDialog::confirmation_data()
{
    QTest::addColumn<QByteArray>("slot");
    QTest::addColumn<int>("signal");
    QTest::addColumn<int>("answer");
    const QByteArray actions[] = {"onReinit", "onReset", "onReboot", "onDefaultToClassifier"};
    const int signalIndex[] = {0, 1, 2, 8};
    for (int i = 0; i < 4; ++i) {
        QTest::addRow("%s ok", actions[i].constData()) << actions[i] << signalIndex[i] << int(QMessageBox::Ok);
        QTest::addRow("%s cancel", actions[i].constData()) << actions[i] << signalIndex[i] << int(QMessageBox::Cancel);
    }
}

void tst_BulkDialog::confirmation()
{
    QFETCH(QByteArray, slot);
    QFETCH(int, signal);
    QFETCH(int, answer);
    child<QLineEdit>("leClassifierName")->setText(QStringLiteral("net"));
    select({2, 0});
    MessageBox::setNextAnswer(QMessageBox::StandardButton(answer));
    QVERIFY(QMetaObject::invokeMethod(m_dialog.get(), slot.constData()));
    const MessageBox::Box box = MessageBox::takeAnswered().value(0);
    QCOMPARE(box.title, QStringLiteral("Proceed with Action?"));
    QCOMPARE(box.text, QStringLiteral("After this action, the camera(s) might not be available for a short time. Are you sure?"));
    QCOMPARE(box.buttons, QMessageBox::Ok | QMessageBox::Cancel);
    QCOMPARE(box.defaultButton, QMessageBox::Cancel);
    if (answer == QMessageBox::Cancel) {
        QCOMPARE(emitted(), 0);
        return;
    }
    // The selected list keeps the order of the cameras, not the order they were chosen in.
    const QSignalSpy &spy = *m_spies.at(signal);
    QCOMPARE(emitted(), 2);
    QCOMPARE(spy.at(0).at(0).value<QSharedPointer<CameraItem>>(), m_model.cameras().at(0));
    QCOMPARE(spy.at(1).at(0).value<QSharedPointer<CameraItem>>(), m_model.cameras().at(2));
}

// setup: "none" selects no camera, "name=text" fills a line edit, "noLists" empties both list
// choosers, "monday" picks a day. An empty title expects no box and one signal.
void tst_BulkDialog::checks_data()
{
    QTest::addColumn<QByteArray>("slot");
    QTest::addColumn<QString>("setup");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");
    for (const char *slot : {"onReinit", "onReset", "onReboot", "onUploadAccessFile", "onDownloadAccessFile",
                             "onSystemModify", "onANPRModify", "onAddEntry", "onDeleteEntry", "onUploadClassifier",
                             "onDefaultToClassifier"}) {
        QTest::addRow("%s, no camera", slot) << QByteArray(slot) << "none" << "No Cameras selected"
                                             << "Select the cameras you want to work with.";
    }
    const QString noLists = QStringLiteral("No access list name found");
    QTest::newRow("no list to delete from") << QByteArray("onDeleteEntry") << "noLists" << noLists
        << "No access lists are currently available. Please refresh the camera properties.";
    QTest::newRow("no list to add to") << QByteArray("onAddEntry") << "noLists" << noLists
        << "No access lists are currently available.Please refresh the camera properties.";
    const QString noValue = QStringLiteral("No value was entered for any property. Please enter the new values in the "
                                           "Value column.");
    QTest::newRow("no system value") << QByteArray("onSystemModify") << "" << "No property values specified" << noValue;
    QTest::newRow("no ANPR value") << QByteArray("onANPRModify") << "" << "No property values specified" << noValue;
    QTest::newRow("no list file") << QByteArray("onUploadAccessFile") << "" << "No access list file specified"
        << "No access list was chosen for the upload. Please select a file for the upload.";
    const QString invalid = QStringLiteral("Please provide a positive number that represents the zero-based index of an access list entry.");
    QTest::newRow("index -1") << QByteArray("onDeleteEntry") << "leDeleteIndex=-1" << "Invalid index" << invalid;
    QTest::newRow("index x") << QByteArray("onDeleteEntry") << "leDeleteIndex=x" << "Invalid index" << invalid;
    QTest::newRow("index 0") << QByteArray("onDeleteEntry") << "leDeleteIndex=0" << "" << "";
    QTest::newRow("no plate") << QByteArray("onAddEntry") << "monday" << "Value for plate missing"
        << "Please provide a license plate number.";
    QTest::newRow("no weekday") << QByteArray("onAddEntry") << "lePlate=AB" << "Weekdays are missing"
        << "Please select allowed days of the week.";
    QTest::newRow("no classifier name") << QByteArray("onUploadClassifier") << "" << "No classifier name specified"
        << "No name for the classifier was chosen. Please enter a name for the upload.";
    QTest::newRow("no classifier file") << QByteArray("onUploadClassifier") << "leClassifierName=net"
        << "No classifier file specified" << "No classifier was chosen for the upload. Please select a file for the upload.";
}

void tst_BulkDialog::checks()
{
    QFETCH(QByteArray, slot);
    QFETCH(QString, setup);
    QFETCH(QString, title);
    QFETCH(QString, text);
    if (setup != QLatin1String("none"))
        select({1});
    if (setup == QLatin1String("noLists")) {
        child<QComboBox>("cbAccessList")->clear();
        child<QComboBox>("cbEntry")->clear();
    } else if (setup == QLatin1String("monday")) {
        child<QListWidget>("liWeekdays")->item(0)->setSelected(true);
    } else if (setup.contains(QLatin1Char('='))) {
        child<QLineEdit>(setup.section(QLatin1Char('='), 0, 0).toLatin1())->setText(setup.section(QLatin1Char('='), 1));
    }
    MessageBox::setNextAnswer(QMessageBox::Ok);
    QVERIFY(QMetaObject::invokeMethod(m_dialog.get(), slot.constData()));
    const QList<MessageBox::Box> boxes = MessageBox::takeAnswered();
    QCOMPARE(emitted(), title.isEmpty() ? 1 : 0);
    if (title.isEmpty())
        return;
    QCOMPARE(boxes.size(), 1);
    QCOMPARE(boxes.at(0).icon, setup == QLatin1String("none") ? QMessageBox::Warning : QMessageBox::Critical);
    QCOMPARE(boxes.at(0).title, title);
    QCOMPARE(boxes.at(0).text, text);
}

void tst_BulkDialog::classifierFile_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("name");
    QTest::newRow("typed name kept") << "mine" << "mine";
    QTest::newRow("file name taken") << "" << "net.tar";
}

void tst_BulkDialog::classifierFile()
{
    QFETCH(QString, typed);
    child<QLineEdit>("leClassifierName")->setText(typed);
    FileDialog::setNextFileName(QStringLiteral("/tmp/nets/net.tar"));
    m_dialog->onChooseClassifierFile();
    QCOMPARE(FileDialog::takeCaptions(), QStringList{"Select a list file for the upload."});
    select({0});
    m_dialog->onUploadClassifier();
    QCOMPARE(m_spies.at(7)->size(), 1);
    QTEST(m_spies.at(7)->at(0).at(1).toString(), "name");
    QCOMPARE(m_spies.at(7)->at(0).at(2).toString(), QStringLiteral("/tmp/nets/net.tar"));
}

void tst_BulkDialog::addEntry()
{
    select({1});
    child<QLineEdit>("lePlate")->setText(QStringLiteral("AB123"));
    auto *days = child<QListWidget>("liWeekdays");
    days->item(4)->setSelected(true);
    days->item(1)->setSelected(true);
    m_dialog->onAddEntry();
    QCOMPARE(m_spies.at(9)->size(), 1);
    const QDate today = QDate::currentDate();
    QCOMPARE(m_spies.at(9)->at(0), (QVariantList{QVariant::fromValue(m_model.cameras().at(1)), "Black", "AB123", false, today,
                                                 today.addDays(1), QStringList{"Tuesday", "Friday"}, QTime(0, 0),
                                                 QTime(23, 59, 59)}));
}

void tst_BulkDialog::modify_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::addColumn<int>("signal");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");
    QTest::newRow("System") << QByteArray("pbSystemModify") << 5 << "timezone" << "CET";
    QTest::newRow("ANPR") << QByteArray("pbANPRModify") << 6 << "min_confidence" << "70";
}

// Values typed into both editors; each "Modify" sends its own editor's values, to the cameras
// left in the selected list after "<<" moved one back.
void tst_BulkDialog::modify()
{
    QFETCH(QByteArray, button);
    QFETCH(int, signal);
    auto *available = child<QAbstractItemView>("lvCameras");
    available->selectAll();
    child<QPushButton>("pbAdd")->click();
    auto *chosen = child<QAbstractItemView>("lvSelectedCameras");
    chosen->selectionModel()->select(chosen->model()->index(0, 0), QItemSelectionModel::ClearAndSelect);
    child<QPushButton>("pbRemove")->click();
    for (const auto &[view, value] : {std::pair("tvSystemProperties", "CET"), std::pair("tvANPRProperties", "70")}) {
        QAbstractItemModel *properties = child<QAbstractItemView>(view)->model();
        QVERIFY(properties->setData(properties->index(0, 1), QString::fromLatin1(value), Qt::EditRole));
    }

    child<QPushButton>(button.constData())->click();

    QCOMPARE(emitted(), 2);
    QFETCH(QString, name);
    QFETCH(QString, value);
    const QSignalSpy &spy = *m_spies.at(signal);
    QCOMPARE(spy.size(), 2);
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(spy.at(i).at(0).value<QSharedPointer<CameraItem>>(), m_model.cameras().at(i + 1));
        const QMap<QString, QString> sent = spy.at(i).at(1).value<QMap<QString, QString>>();
        QCOMPARE(sent, (QMap<QString, QString>{{name, value}}));
    }
}

// The entry chooser is not emptied before it is filled again; the list chooser is.
void tst_BulkDialog::choosers()
{
    m_dialog->setCameras(m_model.cameras());
    auto texts = [](const QComboBox *box) {
        QStringList result;
        for (int i = 0; i < box->count(); ++i)
            result.append(box->itemText(i));
        return result;
    };
    QCOMPARE(texts(child<QComboBox>("cbAccessList")), (QStringList{"Black", "white"}));
    QCOMPARE(texts(child<QComboBox>("cbEntry")), (QStringList{"Black", "white", "Black", "white"}));
}

QTEST_MAIN(tst_BulkDialog)
#include "tst_BulkDialog.moc"
