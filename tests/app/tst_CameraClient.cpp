#include "CameraClient.h"
#include "FileDialog.h"
#include "MessageBox.h"
#include "LiveFeed.h"
#include "SnapshotTask.h"

#include <QComboBox>
#include <QDesktopServices>
#include <QLabel>
#include <QProgressBar>

#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTreeView>
#include <QtTest>

namespace {

struct ShownBox
{
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QString title;
    QString text;
};

// Clicks the button and answers the modal box it opens (if any) with Ok, returning what it showed.
ShownBox clickAndAnswer(QAbstractButton *button)
{
    MessageBox::reset();
    MessageBox::setNextAnswer(QMessageBox::Ok);
    button->click();
    const QList<MessageBox::Box> shown = MessageBox::takeAnswered();
    MessageBox::reset();
    return shown.isEmpty() ? ShownBox{} : ShownBox{shown.first().icon, shown.first().title, shown.first().text};
}

// Records the web pages the window asks the desktop to open.
class UrlRecorder : public QObject
{
    Q_OBJECT

public:
    QList<QUrl> opened;

public slots:
    void open(const QUrl &url) { opened.append(url); }
};

std::tm someTime()
{
    std::tm time{};
    time.tm_year = 124;
    time.tm_mday = 1;
    return time;
}

} // namespace

class CameraClientTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_configHome.isValid());
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_configHome.path()));
        QCoreApplication::setOrganizationName(QStringLiteral("Plexano"));
        QCoreApplication::setApplicationName(QStringLiteral("Activation-Service"));
    }

    void init()
    {
        QSettings().clear();
        // Any warning fails the test, but the offscreen platform's own note about message boxes.
        QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support propagateSizeHints)")));
        m_window = std::make_unique<CameraClient>(nullptr, CameraClient::Network::Offline);
    }

    void cleanup()
    {
        m_window.reset();
        MessageBox::reset();
        FileDialog::reset();
    }

    void firstStartShowsBuiltInValues()
    {
        QCOMPARE(m_window->windowTitle(), QStringLiteral("Camera Discovery and Setup"));
        QCOMPARE(field("leMulticastAddress")->text(), QStringLiteral("239.192.13.230"));
        QCOMPARE(field("leMulticastPort")->text(), QStringLiteral("4800"));
        QCOMPARE(field("leTTL")->text(), QStringLiteral("16"));
        QCOMPARE(field("leUpdatePort")->text(), QStringLiteral("4799"));
        QVERIFY(field("leUser")->text().isEmpty());
        QVERIFY(field("leWebUser")->text().isEmpty());
    }

    // A second program finds the site database in use, says so and works on without it.
    void secondProgramRunsWithoutSiteMemory()
    {
        CameraClient second(nullptr, CameraClient::Network::Offline);
        auto *status = second.findChild<QLabel *>(QStringLiteral("lbSiteStatus"));
        QTRY_VERIFY(status->text().startsWith(QStringLiteral("Site memory is off: The site database")));
        QVERIFY(status->text().contains(QStringLiteral("in use by another instance")));
        QVERIFY(!second.findChild<QPushButton *>(QStringLiteral("pbHistory"))->isEnabled());
        QVERIFY(m_window->findChild<QPushButton *>(QStringLiteral("pbHistory"))->isEnabled());
    }

    void settingsSurviveARestart_data()
    {
        QTest::addColumn<bool>("byCloseAction");
        QTest::newRow("window close button") << false;
        QTest::newRow("Close action") << true;
    }

    void settingsSurviveARestart()
    {
        QFETCH(bool, byCloseAction);
        const QStringList values{"not an address", "4801", "7", "5000", "admin", "web", "Depot"};
        const QStringList names{"leMulticastAddress", "leMulticastPort", "leTTL", "leUpdatePort", "leUser", "leWebUser", "leSite"};
        for (int i = 0; i < names.size(); ++i)
            field(names.at(i))->setText(values.at(i));
        field("lePassword")->setText(QStringLiteral("secret"));
        field("leWebPassword")->setText(QStringLiteral("secret"));

        if (byCloseAction)
            m_window->findChild<QAction *>(QStringLiteral("maClose"))->trigger();
        else
            m_window->close();
        m_window = std::make_unique<CameraClient>(nullptr, CameraClient::Network::Offline);

        for (int i = 0; i < names.size(); ++i)
            QCOMPARE(field(names.at(i))->text(), values.at(i));
        QVERIFY(field("lePassword")->text().isEmpty());
        QVERIFY(!QSettings().allKeys().join(QLatin1Char(' ')).contains(QStringLiteral("password")));
    }

    void scanValidation_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("port");
        QTest::addColumn<QString>("ttl");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("text");
        const QString badAddress = "The specified IP address is invalid.";
        const QString badPort = "Given number is not a valid port number.";
        const QString badTtl = "TTL value is invalid.";
        QTest::newRow("short address, bad port too") << "239.192.13" << "65536" << "16" << "Invalid IP address" << badAddress;
        QTest::newRow("port 65536") << "239.192.13.230" << "65536" << "16" << "Invalid Port" << badPort;
        QTest::newRow("port text") << "239.192.13.230" << "48o0" << "16" << "Invalid Port" << badPort;
        QTest::newRow("negative TTL") << "239.192.13.230" << "4800" << "-1" << "Invalid TTL" << badTtl;
        QTest::newRow("TTL text") << "239.192.13.230" << "4800" << "abc" << "Invalid TTL" << badTtl;
        QTest::newRow("IPv6 group") << "ff18::CADA:DEE0" << "4800" << "255" << "" << "";
        QTest::newRow("unicast address, TTL 300") << "10.77.0.10" << "4800" << "300" << "" << "";
    }

    void scanValidation()
    {
        QFETCH(QString, address);
        QFETCH(QString, port);
        QFETCH(QString, ttl);
        QFETCH(QString, title);
        QFETCH(QString, text);
        field("leMulticastAddress")->setText(address);
        field("leMulticastPort")->setText(port);
        field("leTTL")->setText(ttl);
        QSignalSpy initialised(m_window.get(), &CameraClient::initFinder);

        const ShownBox shown = clickAndAnswer(button("pbScan"));

        QCOMPARE(shown.title, title);
        QCOMPARE(shown.text, text);
        if (title.isEmpty()) {
            QCOMPARE(initialised.count(), 1);
            QCOMPARE(initialised.at(0).at(0).value<QHostAddress>(), QHostAddress(address));
            QCOMPARE(initialised.at(0).at(1).value<quint16>(), port.toUShort());
            QCOMPARE(initialised.at(0).at(2).value<quint32>(), ttl.toUInt());
        } else {
            QCOMPARE(shown.icon, QMessageBox::Critical);
            QCOMPARE(initialised.count(), 0);
        }
    }

    void defaultButtons_data()
    {
        QTest::addColumn<QString>("buttonName");
        QTest::addColumn<QString>("address");
        QTest::newRow("IPv4") << "pbIPv4Default" << "239.192.13.230";
        QTest::newRow("IPv6") << "pbIPv6Default" << "ff18::CADA:DEE0";
    }

    void defaultButtons()
    {
        QFETCH(QString, buttonName);
        QFETCH(QString, address);
        field("leMulticastAddress")->setText(QStringLiteral("1.2.3.4"));
        field("leMulticastPort")->setText(QStringLiteral("1"));
        field("leUpdatePort")->setText(QStringLiteral("2"));
        button(buttonName)->click();
        QCOMPARE(field("leMulticastAddress")->text(), address);
        QCOMPARE(field("leMulticastPort")->text(), QStringLiteral("4800"));
        QCOMPARE(field("leUpdatePort")->text(), QStringLiteral("4799"));
        QCOMPARE(field("leTTL")->text(), QStringLiteral("255"));
    }

    void credentials_data()
    {
        QTest::addColumn<QString>("prefix");
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("password");
        QTest::addColumn<int>("icon");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("text");
        const QString empty = "Username and Password must not be empty.";
        QTest::newRow("admin, no password") << "" << "admin" << "" << int(QMessageBox::Warning) << "Empty Credentials" << empty;
        QTest::newRow("admin, no user") << "" << "" << "pw" << int(QMessageBox::Warning) << "Empty Credentials" << empty;
        QTest::newRow("admin set") << "" << "admin" << "pw" << int(QMessageBox::Information) << "Set Credentials"
                                   << "Credentials have been updated.";
        QTest::newRow("web, no password") << "Web" << "user" << "" << int(QMessageBox::Warning) << "Empty Credentials" << empty;
        QTest::newRow("web set") << "Web" << "user" << "pw" << int(QMessageBox::Information) << "Set Credentials"
                                 << "Credentials for the Web-API have been updated.";
    }

    void credentials()
    {
        QFETCH(QString, prefix);
        QFETCH(QString, user);
        QFETCH(QString, password);
        QFETCH(int, icon);
        QFETCH(QString, title);
        QFETCH(QString, text);
        model()->addCamera(QHostAddress("10.77.0.10"), {{"S/N", "A"}}, someTime());
        model()->addCamera(QHostAddress("10.77.0.11"), {{"S/N", "B"}}, someTime());
        field("le" + prefix + "User")->setText(user);
        field("le" + prefix + "Password")->setText(password);
        QSignalSpy credentials(m_window.get(), &CameraClient::newCredentials);
        QSignalSpy refreshed(m_window.get(), &CameraClient::refresh);

        const ShownBox shown =
            clickAndAnswer(button(prefix.isEmpty() ? "pbSetAdminCredentials" : "pbSetWebCredentials"));

        QCOMPARE(int(shown.icon), icon);
        QCOMPARE(shown.title, title);
        QCOMPARE(shown.text, text);
        const bool webSet = !prefix.isEmpty() && icon == QMessageBox::Information;
        QCOMPARE(credentials.count(), webSet ? 1 : 0);
        QCOMPARE(refreshed.count(), webSet ? 2 : 0);
        if (webSet) {
            QCOMPARE(credentials.at(0), (QList<QVariant>{user, password}));
            QCOMPARE(refreshed.at(1).at(0).value<QSharedPointer<CameraItem>>()->serial(), QStringLiteral("B"));
        }
    }

    void scanBurstSendsTwentyProbes()
    {
        model()->addCamera(QHostAddress("10.77.0.10"), {{"S/N", "A"}}, someTime());
        const QSharedPointer<CameraItem> camera = model()->cameras().first();
        camera->setUpdateStatus(0);
        QSignalSpy probes(m_window.get(), &CameraClient::startScan);
        auto *timer = m_window->findChild<QTimer *>(QStringLiteral("scanTimer"));

        clickAndAnswer(button("pbScan"));
        QCOMPARE(camera->updateStatus(), -255);
        QVERIFY(timer->isActive());
        QCOMPARE(timer->interval(), 500);

        QTRY_COMPARE_WITH_TIMEOUT(probes.count(), 5, 5000);
        clickAndAnswer(button("pbScan"));
        QTRY_COMPARE_WITH_TIMEOUT(probes.count(), 20, 15000);
        QVERIFY2(!timer->isActive(), "a second press must not add probes to the burst");
    }

    void clearEmptiesTheTree()
    {
        model()->addCamera(QHostAddress("10.77.0.10"), {{"S/N", "A"}}, someTime());
        auto *view = m_window->findChild<QTreeView *>(QStringLiteral("tvCameras"));
        QCOMPARE(view->model()->rowCount(), 1);
        button("pbClear")->click();
        QCOMPARE(view->model()->rowCount(), 0);
    }

    void selectedCamerasComeInModelOrder()
    {
        for (const char *serial : {"A", "B", "C"})
            model()->addCamera(QHostAddress(QStringLiteral("10.77.0.%1").arg(10 + *serial - 'A')), {{"S/N", serial}}, someTime());
        auto *view = m_window->findChild<QTreeView *>(QStringLiteral("tvCameras"));
        QAbstractItemModel *shown = view->model();
        auto *selection = view->selectionModel();
        using Flag = QItemSelectionModel::SelectionFlag;
        selection->select(shown->index(2, 0), Flag::Select | Flag::Rows);
        selection->select(shown->index(0, 0), Flag::Select | Flag::Rows);
        // A property row below camera B names no camera.
        selection->select(shown->index(3, 0, shown->index(1, 0)), Flag::Select | Flag::Rows);

        QStringList serials;
        for (const QSharedPointer<CameraItem> &camera : m_window->selectedCameras())
            serials << camera->serial();
        QCOMPARE(serials, (QStringList{"A", "C"}));

        QSignalSpy exports(m_window.get(), &CameraClient::startExport);
        FileDialog::setNextDirectory(QStringLiteral("/results"));
        button("pbExportResults")->click();
        QCOMPARE(exports.count(), 2);
        QCOMPARE(exports.at(1).at(1).toString(), QStringLiteral("/results"));
        selection->clearSelection();
        FileDialog::setNextDirectory(QStringLiteral("/results"));
        button("pbExportResults")->click();
        QCOMPARE(exports.count(), 5);
        FileDialog::setNextDirectory(QString());
        button("pbExportResults")->click();
        QCOMPARE(exports.count(), 5);
        QCOMPARE(FileDialog::takeCaptions().value(0), QStringLiteral("Select Folder for result exports"));
    }

    void selectionAndExpansionStayWithTheirCameras()
    {
        for (int i = 1; i <= 5; ++i)
            addCamera(i);
        auto *view = m_window->findChild<QTreeView *>(QStringLiteral("tvCameras"));
        QAbstractItemModel *shown = view->model();
        view->selectionModel()->select(shown->index(2, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
        view->expand(shown->index(2, 0));
        view->expand(shown->index(4, 0));
        const auto selectedAndExpanded = [&] {
            QStringList serials;
            for (const QSharedPointer<CameraItem> &camera : m_window->selectedCameras())
                serials << camera->serial();
            for (int row = 0; row < shown->rowCount(); ++row) {
                if (view->isExpanded(shown->index(row, 0)))
                    serials << QStringLiteral("expanded ") + shown->index(row, 1).data().toString();
            }
            return serials.join(QLatin1String(", "));
        };
        const QString expected = QStringLiteral("CAM-3, expanded CAM-3, expanded CAM-5");

        addCamera(6);
        QCOMPARE(selectedAndExpanded(), expected);

        // Camera 5 is hidden by the first pattern and comes back expanded with the second.
        const QList<std::pair<QString, QString>> patterns{
            {"cam-[36]", "CAM-3, expanded CAM-3"}, {"cam-[3-6]", expected}, {"", expected}};
        for (const auto &[pattern, shownState] : patterns) {
            QSignalSpy applied(qobject_cast<CameraFilterModel *>(shown), &CameraFilterModel::filterApplied);
            field("lePropertyFilter")->setText(pattern);
            QVERIFY(applied.count() == 1 || applied.wait(5000));
            QCOMPARE(selectedAndExpanded(), shownState);
        }
    }

    void camerasFoundUnderAPatternShowWhenTheyMatch()
    {
        auto *view = m_window->findChild<QTreeView *>(QStringLiteral("tvCameras"));
        auto *filter = qobject_cast<CameraFilterModel *>(view->model());
        field("lePropertyFilter")->setText(QStringLiteral("cam-2"));
        QTRY_COMPARE(filter->filterPattern(), QStringLiteral("cam-2"));
        addCamera(1);
        addCamera(2);
        QTRY_COMPARE(view->model()->rowCount(), 1);
        QCOMPARE(view->model()->index(0, 1).data().toString(), QStringLiteral("CAM-2"));
    }

    // "set" is the password set with the button before ("" for none), "typed" the one in the
    // field when an update button is pressed; "answer" closes the box that asks about the two.
    void updateChecks_data()
    {
        QTest::addColumn<QString>("buttonName");
        QTest::addColumn<QString>("set");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("answer");
        QTest::addColumn<QString>("port");
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("asksForFile");
        const int ok = QMessageBox::Ok;
        QTest::newRow("no admin password") << "pbUpdateAll" << "pw" << "" << ok << "70000" << "Empty Credentials" << false;
        QTest::newRow("typed, never set") << "pbUpdateAll" << "" << "pw" << ok << "4799" << "Credentials not set" << false;
        QTest::newRow("typed, never set, nothing selected")
            << "pbUpdateSelected" << "" << "pw" << ok << "4799" << "Credentials not set" << false;
        QTest::newRow("typed other than set, cancelled")
            << "pbUpdateAll" << "pw" << "new" << int(QMessageBox::Cancel) << "4799" << "Credentials not set" << false;
        QTest::newRow("typed other than set, go on") << "pbUpdateAll" << "pw" << "new" << ok << "4799"
                                                     << "Credentials not set" << true;
        QTest::newRow("port 70000") << "pbUpdateAll" << "pw" << "pw" << ok << "70000" << "Invalid Update Port" << false;
        QTest::newRow("nothing selected") << "pbUpdateSelected" << "pw" << "pw" << ok << "70000" << "" << false;
        QTest::newRow("all of no cameras") << "pbUpdateAll" << "pw" << "pw" << ok << "4799" << "" << true;
    }

    void updateChecks()
    {
        QFETCH(QString, buttonName);
        QFETCH(QString, set);
        QFETCH(QString, typed);
        QFETCH(int, answer);
        QFETCH(QString, port);
        QFETCH(QString, title);
        QFETCH(bool, asksForFile);
        field("leUser")->setText(QStringLiteral("admin"));
        if (!set.isEmpty()) {
            field("lePassword")->setText(set);
            clickAndAnswer(button("pbSetAdminCredentials"));
        }
        field("lePassword")->setText(typed);
        field("leUpdatePort")->setText(port);
        FileDialog::setNextFileName(QStringLiteral("/firmware.bin"));
        QSignalSpy started(m_window.get(), &CameraClient::startUpdate);

        MessageBox::setNextAnswer(QMessageBox::StandardButton(answer));
        button(buttonName)->click();
        QCOMPARE(MessageBox::takeAnswered().value(0).title, title);
        QCOMPARE(FileDialog::takeCaptions(), asksForFile ? QStringList{"Select Update for Camera"} : QStringList{});
        QCOMPARE(started.count(), asksForFile ? 1 : 0);
        auto *progress = m_window->findChild<QProgressBar *>(QStringLiteral("pbStatus"));
        QCOMPARE(progress->maximum(), asksForFile ? 0 : 100);
    }

    void cameraRowsOpenPagesAndPreviews()
    {
        model()->addCamera(QHostAddress("192.168.1.20"), {{"S/N", "A"}}, someTime());
        model()->addCamera(QHostAddress("fe80::1"), {{"S/N", "B"}}, someTime());
        UrlRecorder recorder;
        QDesktopServices::setUrlHandler(QStringLiteral("http"), &recorder, "open");
        auto *view = m_window->findChild<QTreeView *>(QStringLiteral("tvCameras"));
        QAbstractItemModel *shown = view->model();
        const QModelIndex property = shown->index(0, 0, shown->index(0, 0));

        for (const QModelIndex &index : {shown->index(0, 0), shown->index(1, 1), property})
            emit view->doubleClicked(index);
        QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
        QCOMPARE(recorder.opened, (QList<QUrl>{QUrl("http://192.168.1.20/"), QUrl("http://[fe80::1]/")}));

        auto *preview = m_window->findChild<SnapshotTask *>();
        emit view->clicked(shown->index(1, 0));
        QVERIFY(preview->isActive());
        QCOMPARE(preview->camera()->serial(), QStringLiteral("B"));
        emit view->clicked(property);
        QVERIFY(!preview->isActive());
    }

    void liveViewAndPreviewFollowTheList()
    {
        addCamera(1);
        addCamera(2);
        auto *view = m_window->findChild<QTreeView *>(QStringLiteral("tvCameras"));
        QAbstractItemModel *shown = view->model();
        view->selectionModel()->select(shown->index(1, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
        auto *preview = m_window->findChild<SnapshotTask *>();
        emit view->clicked(shown->index(0, 0));

        button(QStringLiteral("pbLiveFeed"))->click();
        auto *live = m_window->findChild<LiveFeed *>();
        QTRY_VERIFY(live->isVisible());
        auto *cameras = live->findChild<QComboBox *>(QStringLiteral("cbCamera"));
        // It opens on the camera selected in the tree, not on "No Cameras".
        QCOMPARE(cameras->currentText(), QStringLiteral("CAM-2 - 10.77.0.2"));
        QCOMPARE(live->snapshotTask()->camera()->serial(), QStringLiteral("CAM-2"));
        addCamera(3);
        QCOMPARE(cameras->count(), 3);

        button(QStringLiteral("pbClear"))->click();
        QCOMPARE(cameras->count(), 0);
        QVERIFY(!live->snapshotTask()->camera());
        QVERIFY(!preview->camera());
        QVERIFY(!preview->isActive());

        addCamera(4);
        QCOMPARE(cameras->currentText(), QStringLiteral("CAM-4 - 10.77.0.4"));
        QCOMPARE(live->snapshotTask()->camera()->serial(), QStringLiteral("CAM-4"));
        live->close();
    }

    void previewOutageIsOneLine()
    {
        addCamera(1);
        auto *view = m_window->findChild<QTreeView *>(QStringLiteral("tvCameras"));
        emit view->clicked(view->model()->index(0, 0));
        auto *preview = m_window->findChild<SnapshotTask *>();
        const QString outage = QStringLiteral("Camera CAM-1 at 10.77.0.1: did not answer for 15 s");
        MessageBox::setNextAnswer(QMessageBox::Ok);
        for (int i = 0; i < 3; ++i)
            preview->receiveFailure(preview->camera(), outage);
        QList<MessageBox::Box> boxes;
        QTRY_VERIFY((boxes += MessageBox::takeAnswered(), !boxes.isEmpty()));
        QCOMPARE(boxes.size(), 1);
        QCOMPARE(boxes.at(0).text.count(outage), 1);
        QVERIFY(!m_window->findChild<QLabel *>(QStringLiteral("lbPreview"))->isEnabled());
    }

private:
    void addCamera(int number)
    {
        model()->addCamera(QHostAddress(QStringLiteral("10.77.0.%1").arg(number)),
                           {{"S/N", QStringLiteral("CAM-%1").arg(number)}}, someTime());
    }

    QLineEdit *field(const QString &name) const
    {
        auto *edit = m_window->findChild<QLineEdit *>(name);
        if (!edit)
            qFatal("no line edit %s", qPrintable(name));
        return edit;
    }

    QPushButton *button(const QString &name) const
    {
        auto *pushButton = m_window->findChild<QPushButton *>(name);
        if (!pushButton)
            qFatal("no button %s", qPrintable(name));
        return pushButton;
    }

    CameraModel *model() const
    {
        auto *filter = qobject_cast<CameraFilterModel *>(
            m_window->findChild<QTreeView *>(QStringLiteral("tvCameras"))->model());
        return filter->sourceModel();
    }

    QTemporaryDir m_configHome;
    std::unique_ptr<CameraClient> m_window;
};

QTEST_MAIN(CameraClientTest)
#include "tst_CameraClient.moc"
