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
const QStringList kSerials = {"UPOK", "UPREFUSE", "UPFAIL"};
const QStringList kOptions = {"", "update=refuse", "update=code:-201"};

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
        m_window = std::make_unique<CameraClient>();
        for (int i = 0; i < kSerials.size(); ++i)
            model()->addCamera(Lab::cameraIPv4(1, i), {{"S/N", kSerials.at(i)}}, {});
        // Every box the window opens is answered and recorded: gathered results included.
        for (int i = 0; i < 100; ++i)
            MessageBox::setNextAnswer(QMessageBox::Ok);
    }

    void updatesRunInParallel()
    {
        field("leUser")->setText(QStringLiteral("admin"));
        field("lePassword")->setText(QStringLiteral("admin"));
        button("pbSetAdminCredentials")->click();
        const QString firmware = writeFile("firmware.bin", QByteArray(40000, 'x'));
        FileDialog::setNextFileName(firmware);
        MessageBox::takeAnswered();

        button("pbUpdateAll")->click();

        // The refusal skips its camera's steps by the dialog's own arithmetic, which lands short
        // of the end when it comes first (at 5 of 9) and at most on the end otherwise.
        auto *progress = m_window->findChild<QProgressBar *>(QStringLiteral("pbStatus"));
        QCOMPARE(progress->maximum(), 9);
        const QStringList expected = {"Updated (at ", "Unknown", "Invalid user/password (at "};
        for (int i = 0; i < kSerials.size(); ++i) {
            QTRY_VERIFY_WITH_TIMEOUT(model()->cameras().at(i)->updateStatusRow()->data(1).toString().startsWith(expected.at(i)),
                                     kTimeoutMs);
        }
        QTRY_VERIFY_WITH_TIMEOUT(progress->value() >= 5, kTimeoutMs);
        QCOMPARE(m_simulator.storedFile("UPOK"), QByteArray(40000, 'x'));
        const QList<MessageBox::Box> boxes = MessageBox::takeAnswered();
        QCOMPARE(boxes.size(), 1);
        QCOMPARE(boxes.at(0).text, QStringLiteral("Camera at 10.77.0.11: Connection refused by peer."));
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
    SimulatorProcess m_simulator;
    std::unique_ptr<CameraClient> m_window;
};

QTEST_MAIN(tst_CameraClientLab)
#include "tst_CameraClientLab.moc"
