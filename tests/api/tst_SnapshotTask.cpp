#include "CameraAPI.h"
#include "CameraModel.h"
#include "SnapshotTask.h"

#include <QSignalSpy>
#include <QTest>

namespace {

constexpr int kTimeoutMs = 5000;

// Lets the event loop run its pending work, timers due now included, without waiting for time.
void settle()
{
    for (int i = 0; i < 10; ++i)
        QCoreApplication::processEvents();
}

} // namespace

// The snapshot fetcher against a client that is never started: the test plays the client's
// answers itself and counts the requests the task asks for.
class tst_SnapshotTask : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_model = std::make_unique<CameraModel>();
        for (const char *serial : {"A", "B"})
            m_model->addCamera(QHostAddress(QStringLiteral("10.77.0.%1").arg(serial[0] == 'A' ? 10 : 11)),
                               {{"S/N", serial}}, std::tm{});
        m_client = std::make_unique<CameraAPI>();
        m_task = std::make_unique<SnapshotTask>(m_client.get());
        m_requests = std::make_unique<QSignalSpy>(m_task.get(), &SnapshotTask::fetchingImage);
    }

    void rateZeroAsksOnlyAfterEachAnswer()
    {
        m_task->setCamera(camera(0));
        m_task->setInterval(0);
        m_task->start();
        QCOMPARE(m_requests->count(), 1);
        settle();
        m_task->fetchImage();
        QCOMPARE(m_requests->count(), 1);

        emit m_client->liveImage(camera(0), picture());
        QTRY_COMPARE_WITH_TIMEOUT(m_requests->count(), 2, kTimeoutMs);
        settle();
        QCOMPARE(m_requests->count(), 2);

        // After a failure the camera is left alone for a while, not hammered.
        emit m_client->liveImageFailed(camera(0), "Camera A at 10.77.0.10: Connection refused");
        settle();
        QCOMPARE(m_requests->count(), 2);
        QTRY_COMPARE_WITH_TIMEOUT(m_requests->count(), 3, kTimeoutMs);
    }

    void anotherCamerasAnswerIsNotOurs()
    {
        QSignalSpy pictures(m_task.get(), &SnapshotTask::gotImage);
        m_task->setCamera(camera(0));
        m_task->fetchImage();
        emit m_client->liveImage(camera(1), picture());
        m_task->fetchImage();
        QCOMPARE(pictures.count(), 0);
        QCOMPARE(m_requests->count(), 1);
        emit m_client->liveImage(camera(0), picture());
        m_task->fetchImage();
        QCOMPARE(pictures.count(), 1);
        QCOMPARE(m_requests->count(), 2);
    }

    void outageIsToldOnce()
    {
        QSignalSpy failures(m_task.get(), &SnapshotTask::failed);
        m_task->setCamera(camera(0));
        for (int i = 0; i < 3; ++i) {
            m_task->fetchImage();
            emit m_client->liveImageFailed(camera(0), "Camera A at 10.77.0.10: did not answer for 15 s");
        }
        QCOMPARE(failures.count(), 1);
        QCOMPARE(failures.at(0).at(0).toString(), QStringLiteral("Camera A at 10.77.0.10: did not answer for 15 s"));
        QVERIFY(m_task->isStale());

        m_task->fetchImage();
        emit m_client->liveImage(camera(0), picture());
        QVERIFY(!m_task->isStale());
        m_task->fetchImage();
        emit m_client->liveImageFailed(camera(0), "Camera A at 10.77.0.10: Connection refused");
        QCOMPARE(failures.count(), 2);
    }

    void newCameraStartsAfresh()
    {
        m_task->setCamera(camera(0));
        m_task->fetchImage();
        emit m_client->liveImageFailed(camera(0), "Camera A at 10.77.0.10: Connection refused");
        m_task->fetchImage();
        m_task->setCamera(camera(1));
        QVERIFY(!m_task->isStale());
        m_task->fetchImage();
        QCOMPARE(m_requests->count(), 3);
        QCOMPARE(m_requests->at(2).at(0).value<QSharedPointer<CameraItem>>(), camera(1));
    }

private:
    QSharedPointer<CameraItem> camera(int row) const { return m_model->cameras().at(row); }
    static QSharedPointer<QByteArray> picture() { return QSharedPointer<QByteArray>::create("picture"); }

    std::unique_ptr<CameraModel> m_model;
    std::unique_ptr<CameraAPI> m_client;
    std::unique_ptr<SnapshotTask> m_task;
    std::unique_ptr<QSignalSpy> m_requests;
};

QTEST_GUILESS_MAIN(tst_SnapshotTask)
#include "tst_SnapshotTask.moc"
