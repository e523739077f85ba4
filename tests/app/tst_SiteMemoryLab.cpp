#include "CameraClient.h"
#include "JsonItem.h"
#include "Lab.h"
#include "MessageBox.h"
#include "SimulatorProcess.h"
#include "SiteSession.h"

#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTreeView>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using Kind = SiteChange::Kind;

namespace {

// The sanitizer build runs ten times slower and takes a smaller site (SITE_LAB_PER_NETWORK).
const int kPerNetwork = qEnvironmentVariableIsSet("SITE_LAB_PER_NETWORK") ? qEnvironmentVariableIntValue("SITE_LAB_PER_NETWORK") : 250;
// Each fleet's second camera answers without a serial number, which discovery drops.
const int kListed = 2 * (kPerNetwork - 1);
constexpr int kTimeoutMs = 180000;
// Lab addresses above the fleets, for the cameras added and moved between the visits.
const int kAddedIndex = kPerNetwork;
const int kMovedIndex = kPerNetwork + 5;

QString fleetSerial(int network, int index)
{
    return QStringLiteral("SIM%1-%2").arg(network).arg(index, 4, 10, QLatin1Char('0'));
}

} // namespace

// A site of 500 simulated cameras visited twice through the window, with 25 changes made on the
// cameras in between, and a third time unchanged.
class tst_SiteMemoryLab : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        LAB_REQUIRED();
        if (Lab::cameraCount() < kMovedIndex + 5)
            QSKIP("needs NETLAB_CAMERA_COUNT of at least 260");
        QVERIFY(m_data.isValid());
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_data.path()));
        MessageBox::reset();
    }

    void visitsOfASite()
    {
        QVERIFY(startSite({}, {}));
        DifferenceReport first = visit();
        QVERIFY(!first.hasEarlierVisit());
        QCOMPARE(first.after.cameraCount, kListed);

        QStringList changes[2];
        QStringList removals;
        QStringList added;
        QList<SiteChange> expected;
        for (int i = 0; i < 5; ++i) {
            removals << fleetSerial(1, 10 + i);
            expected.append({Kind::Missing, fleetSerial(1, 10 + i), "", Lab::cameraIPv4(1, 10 + i).toString(), ""});
            const QString serial = QStringLiteral("NEW-%1").arg(i);
            added << Lab::cameraText(1, kAddedIndex + i, serial);
            expected.append({Kind::New, serial, "", "", Lab::cameraIPv4(1, kAddedIndex + i).toString()});
            changes[0] << QStringLiteral("serial=%1,ipv4=%2,ipv6=%3")
                              .arg(fleetSerial(1, 20 + i), Lab::cameraIPv4(1, kMovedIndex + i).toString(),
                                   Lab::cameraIPv6(1, kMovedIndex + i).toString());
            expected.append({Kind::Moved, fleetSerial(1, 20 + i), "", Lab::cameraIPv4(1, 20 + i).toString(),
                             Lab::cameraIPv4(1, kMovedIndex + i).toString()});
            changes[1] << QStringLiteral("serial=%1,version=9.9.%2").arg(fleetSerial(2, 30 + i)).arg(i);
            m_firmware << fleetSerial(2, 30 + i);
            changes[1] << QStringLiteral("serial=%1,anpr.min_height=99").arg(fleetSerial(2, 40 + i));
            expected.append({Kind::ANPR, fleetSerial(2, 40 + i), "min_height", "", "99"});
        }
        QVERIFY(startSite({changes[0], changes[1]}, {removals, {}}, added));
        const DifferenceReport second = visit();
        QCOMPARE(second.before.id, first.after.id);
        QCOMPARE(second.after.cameraCount, kListed);
        QCOMPARE(second.changes.size(), 25);
        for (const SiteChange &change : second.changes) {
            if (change.kind == Kind::Firmware) {
                QVERIFY(m_firmware.removeOne(change.serial));
                QVERIFY(change.after.startsWith("9.9."));
                continue;
            }
            const auto match = std::find_if(expected.begin(), expected.end(), [&](const SiteChange &wanted) {
                return wanted.kind == change.kind && wanted.serial == change.serial && wanted.subject == change.subject
                    && wanted.after == change.after && (wanted.before.isEmpty() || wanted.before == change.before);
            });
            QVERIFY2(match != expected.end(), qPrintable(SiteChange::name(change.kind) + ' ' + change.serial + ' '
                                                         + change.subject + ' ' + change.before + ' ' + change.after));
            expected.erase(match);
        }
        QVERIFY(expected.isEmpty() && m_firmware.isEmpty());

        const DifferenceReport third = visit();
        QCOMPARE(third.before.id, second.after.id);
        QCOMPARE(third.changes, QList<SiteChange>());
    }

private:
    bool startSite(const QStringList (&changes)[2], const QStringList (&removals)[2], const QStringList &added = {})
    {
        for (int network : {1, 2}) {
            SimulatorProcess &simulator = m_simulators[network - 1];
            simulator.stop();
            QStringList arguments{"--fleet", QString::number(kPerNetwork), "--network", QString::number(network)};
            for (const QString &change : changes[network - 1])
                arguments << "--change" << change;
            for (const QString &serial : removals[network - 1])
                arguments << "--remove" << serial;
            if (!simulator.start(network, network == 1 ? added : QStringList(), arguments, 60000))
                return false;
        }
        return true;
    }

    // Runs the program once: credentials, "Scan", and every camera read; returns the report of
    // the visit once everything read is stored.
    DifferenceReport visit()
    {
        CameraClient window;
        auto *session = window.findChild<SiteSession *>();
        window.findChild<QLineEdit *>("leSite")->setText(QStringLiteral("Depot"));
        window.findChild<QLineEdit *>("leWebUser")->setText(QStringLiteral("admin"));
        window.findChild<QLineEdit *>("leWebPassword")->setText(QStringLiteral("admin"));
        MessageBox::setNextAnswer(QMessageBox::Ok);
        window.findChild<QPushButton *>("pbSetWebCredentials")->click();
        QSignalSpy stored(session, &SiteSession::visitStored);
        window.findChild<QPushButton *>("pbScan")->click();

        CameraModel *model = qobject_cast<CameraFilterModel *>(window.findChild<QTreeView *>("tvCameras")->model())->sourceModel();
        const auto allRead = [model] {
            const QList<QSharedPointer<CameraItem>> cameras = model->cameras();
            return cameras.size() == kListed
                && std::all_of(cameras.cbegin(), cameras.cend(), [](const QSharedPointer<CameraItem> &camera) {
                       for (int category = 0; category < CameraItem::CategoryCount; ++category) {
                           if (camera->categoryRow(CameraItem::Category(category))->document().isNull())
                               return false;
                       }
                       return true;
                   });
        };
        [&] { QTRY_VERIFY_WITH_TIMEOUT(allRead(), kTimeoutMs); }();
        // Whatever was stored before the last document arrived, one more store follows it.
        stored.clear();
        [&] { QTRY_VERIFY_WITH_TIMEOUT(!stored.isEmpty(), kTimeoutMs); }();
        return stored.constLast().at(0).value<DifferenceReport>();
    }

    QTemporaryDir m_data;
    SimulatorProcess m_simulators[2];
    QStringList m_firmware;
};

QTEST_MAIN(tst_SiteMemoryLab)
#include "tst_SiteMemoryLab.moc"
