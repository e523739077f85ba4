#include "CameraClient.h"
#include "DescriptorShortage.h"
#include "FileDialog.h"
#include "JsonItem.h"
#include "Lab.h"
#include "MessageBox.h"
#include "OpenFilesLimit.h"
#include "SimulatorProcess.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QToolButton>
#include <QTreeView>
#include <QtTest>

#include <algorithm>
#include <memory>

namespace {

constexpr int kTimeoutMs = 20000;
const QStringList kSerials = {"UPOK", "UPREFUSE", "UPFAIL", "UPMUTE", "UPMUTE2", "UPLATE"};
const QStringList kOptions = {"", "update=refuse", "update=code:-201", "update=mute", "update=mute", ""};
enum Camera { Ok, Refuse, Fail, Mute, Mute2, Late };
// Two transfers at once, so that two cameras that never answer hold up the rest.
constexpr int kTransferLimit = 2;
constexpr int kStatusTimeoutSeconds = 4;

QString sha256(const QByteArray &data)
{
    return QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex());
}

} // namespace

// The whole window against simulated cameras: updates of several cameras at once, and the
// bulk dialog's operations as the cameras receive them.
class tst_CameraClientLab : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        LAB_REQUIRED();
        QStringList texts;
        for (int i = 0; i < kSerials.size(); ++i)
            texts << Lab::cameraText(1, i, kSerials.at(i), kOptions.at(i));
        QVERIFY(m_simulator.start(1, texts));
        QSettings settings;
        settings.setValue(QStringLiteral("cameraclient.update.paralleltransfers"), kTransferLimit);
        settings.setValue(QStringLiteral("cameraclient.update.statustimeout"), kStatusTimeoutSeconds);
        settings.sync();
        m_window = std::make_unique<CameraClient>();
        for (int i = 0; i < kSerials.size(); ++i)
            model()->addCamera(Lab::cameraIPv4(1, i), {{"S/N", kSerials.at(i)}}, {});
        // Every box the window opens is answered and recorded: gathered results included.
        for (int i = 0; i < 100; ++i)
            MessageBox::setNextAnswer(QMessageBox::Ok);
        m_firmware = writeFile("firmware.bin", QByteArray(40000, 'x'));
    }

    // Credentials typed after the ones set are not used unless set; the user is asked first.
    void updateUsesTheCredentialsSet()
    {
        field("leUser")->setText(QStringLiteral("admin"));
        field("lePassword")->setText(QStringLiteral("admin"));
        button("pbSetAdminCredentials")->click();
        field("lePassword")->setText(QStringLiteral("not the cameras' password"));
        MessageBox::takeAnswered();

        select({Ok});
        FileDialog::setNextFileName(m_firmware);
        button("pbUpdateSelected")->click();

        QCOMPARE(MessageBox::takeAnswered().value(0).title, QStringLiteral("Credentials not set"));
        QTRY_VERIFY_WITH_TIMEOUT(statusText(Ok).startsWith("Updated (at "), kTimeoutMs);
        QCOMPARE(m_simulator.storedFile("UPOK"), QByteArray(40000, 'x'));
        field("lePassword")->setText(QStringLiteral("admin"));
    }

    // Successes, failures at once, wrong answers and cameras that never answer: every camera
    // counts three steps, so the dialog ends exactly when the last camera has, and closes.
    void progressEndsWhateverHappens()
    {
        FileDialog::setNextFileName(m_firmware);
        MessageBox::takeAnswered();
        button("pbUpdateAll")->click();

        QCOMPARE(progressBar()->maximum(), 18);
        const QStringList expected = {"Updated (at ", "Failed: Connection refused by peer. (at ",
                                      "Invalid user/password (at ", "Failed: no answer within 4 s",
                                      "Failed: no answer within 4 s", "Updated (at "};
        for (int i = 0; i < kSerials.size(); ++i)
            QTRY_VERIFY2_WITH_TIMEOUT(statusText(i).startsWith(expected.at(i)), qPrintable(statusText(i)), kTimeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(!progressDialog()->isVisible(), kTimeoutMs);
        QCOMPARE(progressBar()->value(), 18);
        const QStringList errors = boxTexts();
        for (const char *line : {"Camera UPREFUSE at 10.77.0.11: Connection refused by peer.",
                                    "Camera UPMUTE at 10.77.0.13: no answer within 4 s after the update was sent",
                                    "Camera UPMUTE2 at 10.77.0.14: no answer within 4 s after the update was sent"})
            QVERIFY2(errors.contains(QLatin1String(line)), qPrintable(errors.join('\n')));
        QCOMPARE(errors.size(), 3);
    }

    // A second start while a camera applies its update: the running transfer keeps its one
    // connection, the camera asked for again is left out and said so, and the new cameras wait
    // for a free transfer and join the same progress.
    void secondStartLeavesRunningUpdatesAlone()
    {
        const qsizetype connectionsBefore = m_simulator.lines("update-received UPMUTE ").size();
        const qsizetype lateBefore = m_simulator.lines("update-received UPLATE ").size();
        const qsizetype muteBefore = m_simulator.lines("update-fault UPMUTE ").size();
        const qsizetype mute2Before = m_simulator.lines("update-fault UPMUTE2 ").size();
        MessageBox::takeAnswered();
        select({Mute});
        FileDialog::setNextFileName(m_firmware);
        button("pbUpdateSelected")->click();
        QVERIFY(waitForLines("update-fault UPMUTE ", muteBefore + 1));

        const QString second = writeFile("second.bin", QByteArray(1000, 'y'));
        select({Mute, Mute2, Late});
        FileDialog::setNextFileName(second);
        button("pbUpdateSelected")->click();
        QVERIFY(waitForLines("update-fault UPMUTE2 ", mute2Before + 1));
        // Both transfers are taken by cameras that do not answer.
        QCOMPARE(statusText(Late), QStringLiteral("Waiting"));
        QCOMPARE(m_simulator.lines("update-received UPLATE ").size(), lateBefore);
        QVERIFY(progressDialog()->isVisible());
        QCOMPARE(progressDialog()->findChild<QLabel *>(QStringLiteral("lbUpload"))->text(),
                 QStringLiteral("Uploading %1, %2 to 3 cameras").arg(m_firmware, second));

        QTRY_VERIFY_WITH_TIMEOUT(statusText(Late).startsWith("Updated (at "), kTimeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(!progressDialog()->isVisible(), kTimeoutMs);
        QCOMPARE(progressBar()->value(), 9);
        QCOMPARE(m_simulator.lines("update-received UPMUTE ").size(), connectionsBefore + 1);
        QCOMPARE(m_simulator.storedFile("UPLATE"), QByteArray(1000, 'y'));
        const QStringList errors = boxTexts();
        QVERIFY2(errors.contains("Camera UPMUTE at 10.77.0.13: An update of this camera is already under way; it was "
                                 "not started again."),
                 qPrintable(errors.join('\n')));
        QCOMPARE(errors.size(), 3);
    }

    void bulkOperationsReachEveryCamera()
    {
        emit m_window->newCredentials(QStringLiteral("admin"), QStringLiteral("admin"));
        button("pbRefresh")->click();
        QTRY_VERIFY_WITH_TIMEOUT(model()->cameras().at(2)->categoryRow(CameraItem::AccessLists)->childCount() > 0
                                     && model()->cameras().at(2)->categoryRow(CameraItem::System)->childCount() > 0,
                                 kTimeoutMs);

        button("pbBulkProperty")->click();
        auto *bulk = m_window->findChild<QDialog *>(QStringLiteral("BulkDialog"));
        QVERIFY(bulk->isVisible());
        auto *available = bulk->findChild<QListView *>(QStringLiteral("lvCameras"));
        available->selectionModel()->select(available->model()->index(0, 0), QItemSelectionModel::Select);
        available->selectionModel()->select(available->model()->index(2, 0), QItemSelectionModel::Select);
        bulkButton(bulk, "pbAdd")->click();

        QAbstractItemModel *system = bulk->findChild<QAbstractItemView *>(QStringLiteral("tvSystemProperties"))->model();
        const QString key = system->index(0, 0).data().toString();
        QVERIFY(system->setData(system->index(0, 1), QStringLiteral("7"), Qt::EditRole));
        bulkButton(bulk, "pbSystemModify")->click();

        const QByteArray list = "AB123\n";
        FileDialog::setNextFileName(writeFile("list.txt", list));
        bulk->findChild<QToolButton *>(QStringLiteral("tbAccessFile"))->click();
        bulkButton(bulk, "pbAccessFileUpload")->click();

        bulk->findChild<QLineEdit *>(QStringLiteral("leClassifierName"))->setText(QStringLiteral("eu"));
        FileDialog::setNextFileName(writeFile("eu.cls", "classifier"));
        bulk->findChild<QToolButton *>(QStringLiteral("tbClassifierFile"))->click();
        bulkButton(bulk, "pbClassifierUpload")->click();
        bulkButton(bulk, "pbCameraReboot")->click();

        for (const QString &serial : {kSerials.at(0), kSerials.at(2)}) {
            const QString logged = "http " + serial + " PATCH /anpr/" + key + " application/x-www-form-urlencoded";
            QVERIFY2(!m_simulator.waitForLine(logged, kTimeoutMs).isNull(), qPrintable(logged));
            const QString upload = m_simulator.waitForLine("upload " + serial + " PUT /access/", kTimeoutMs);
            QVERIFY2(upload.endsWith(" list list 6 " + sha256(list)), qPrintable(upload));
            QVERIFY(!m_simulator.waitForLine("upload " + serial + " POST /classifier/file/eu classifier classifier 10 "
                                                 + sha256("classifier"), kTimeoutMs).isNull());
            QVERIFY(!m_simulator.waitForLine("http " + serial + " POST /camera/reboot", kTimeoutMs).isNull());
        }
        QVERIFY(m_simulator.lines("http UPREFUSE PATCH").isEmpty());

        FileDialog::setNextDirectory(m_files.path());
        bulkButton(bulk, "pbAccessFileDownload")->click();
        QTRY_COMPARE_WITH_TIMEOUT(QDir(m_files.path()).entryList({"Camera_*"}).size(), 2, kTimeoutMs);
    }

    void openFilesLimitIsReportedOnce()
    {
        // Cameras the window has not spoken to yet, so that reaching them takes new connections.
        const QStringList serials = {"LIMIT0", "LIMIT1", "LIMIT2"};
        SimulatorProcess network2;
        QStringList texts;
        for (int i = 0; i < serials.size(); ++i)
            texts << Lab::cameraText(2, i, serials.at(i));
        QVERIFY(network2.start(2, texts));
        MessageBox::takeAnswered();
        QList<QSharedPointer<CameraItem>> cameras;
        QString expected;
        {
            const DescriptorShortage shortage;
            QVERIFY(shortage.isActive());
            // It names the limit in force when it was reached.
            expected = OpenFilesLimit::reachedMessage();
            // The window's client logs in to each new camera at once, the availability checker at
            // its next round; neither can open a connection.
            for (int i = 0; i < serials.size(); ++i) {
                model()->addCamera(Lab::cameraIPv4(2, i), {{"S/N", serials.at(i)}}, {});
                cameras << model()->cameras().constLast();
            }
            QTRY_VERIFY_WITH_TIMEOUT(std::all_of(cameras.cbegin(), cameras.cend(),
                                                 [](const auto &camera) { return camera->isUnavailable(); }),
                                     kTimeoutMs);
        }

        // With room again, the cameras are reached.
        button("pbRefresh")->click();
        for (const QSharedPointer<CameraItem> &camera : std::as_const(cameras))
            QTRY_VERIFY_WITH_TIMEOUT(camera->categoryRow(CameraItem::System)->childCount() > 0, kTimeoutMs);
        const QList<MessageBox::Box> boxes = MessageBox::takeAnswered();
        QCOMPARE(boxes.size(), 1);
        QCOMPARE(boxes.at(0).icon, QMessageBox::Warning);
        QCOMPARE(boxes.at(0).text, expected);
    }

private:
    // Selects the rows of these cameras in the tree, and no others.
    void select(const QList<int> &cameras)
    {
        auto *view = m_window->findChild<QTreeView *>(QStringLiteral("tvCameras"));
        view->selectionModel()->clearSelection();
        for (int camera : cameras)
            view->selectionModel()->select(view->model()->index(camera, 0),
                                           QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }

    // Whether the simulator has logged this many lines starting with prefix within the time-out.
    bool waitForLines(const QString &prefix, qsizetype count)
    {
        return QTest::qWaitFor([&] { return m_simulator.lines(prefix).size() >= count; }, kTimeoutMs);
    }

    QString statusText(int camera) const
    {
        return model()->cameras().at(camera)->updateStatusRow()->data(1).toString();
    }

    QDialog *progressDialog() const { return m_window->findChild<QDialog *>(QStringLiteral("StatusDialog")); }
    QProgressBar *progressBar() const { return m_window->findChild<QProgressBar *>(QStringLiteral("pbStatus")); }

    // The lines of every box answered since the last call.
    static QStringList boxTexts()
    {
        QStringList lines;
        for (const MessageBox::Box &box : MessageBox::takeAnswered())
            lines += box.text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        return lines;
    }

    QString writeFile(const QString &name, const QByteArray &content)
    {
        QFile file(m_files.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("cannot write %s", qPrintable(name));
        return file.fileName();
    }

    QLineEdit *field(const QString &name) const { return m_window->findChild<QLineEdit *>(name); }
    QPushButton *button(const QString &name) const { return m_window->findChild<QPushButton *>(name); }
    static QPushButton *bulkButton(QDialog *bulk, const QString &name) { return bulk->findChild<QPushButton *>(name); }

    CameraModel *model() const
    {
        auto *filter = qobject_cast<CameraFilterModel *>(
            m_window->findChild<QTreeView *>(QStringLiteral("tvCameras"))->model());
        return filter->sourceModel();
    }

    QTemporaryDir m_files;
    QString m_firmware;
    SimulatorProcess m_simulator;
    std::unique_ptr<CameraClient> m_window;
};

QTEST_MAIN(tst_CameraClientLab)
#include "tst_CameraClientLab.moc"
