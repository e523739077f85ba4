#include "CameraModel.h"
#include "TaskRunner.h"

#include <QFile>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>
#include <memory>

// UpdateTask on its own thread against a stand-in camera on 127.0.0.1: the bytes it sends, the
// replies it accepts and the texts of socket errors.
class tst_UpdateTask : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void statusReplies_data();
    void statusReplies();
    void socketErrorTexts_data();
    void socketErrorTexts();

private:
    QTemporaryDir m_directory;
    CameraModel m_model;
    QSharedPointer<CameraItem> m_camera;
};

void tst_UpdateTask::initTestCase()
{
    const std::time_t now = std::time(nullptr);
    m_model.addCamera(QHostAddress::LocalHost, {{QStringLiteral("S/N"), QStringLiteral("X1")}}, *std::localtime(&now));
    m_camera = m_model.cameras().value(0);
    QVERIFY(m_camera);
    QFile file(m_directory.filePath(QStringLiteral("update.bin")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("u") == 1);
}

void tst_UpdateTask::statusReplies_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("last");
    QTest::addColumn<int>("code");
    QTest::newRow("blanks around the number") << QByteArray(" -202\n") << "status" << -202;
    // The first segment of " -201\n"; the task reads it and never waits for the rest.
    QTest::newRow("first segment only") << QByteArray(" -2") << "status" << -2;
    QTest::newRow("letters") << QByteArray("OK!") << "error: Camera X1 at 127.0.0.1: Update status could not be gathered"
                             << kNoUpdateStatus;
    // Only the first 64 bytes are read: a camera that says more is not heard out.
    QTest::newRow("more than a status") << QByteArray(64, ' ') + '0' << "error: Camera X1 at 127.0.0.1: Update status "
                                                                        "could not be gathered" << kNoUpdateStatus;
}

void tst_UpdateTask::statusReplies()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    TaskRunner runner(m_camera, m_directory.filePath(QStringLiteral("update.bin")), server.serverPort(),
                      QStringLiteral("secret"));
    QVERIFY(server.waitForNewConnection(10000));
    const std::unique_ptr<QTcpSocket> peer(server.nextPendingConnection());
    // The whole token of a 1-byte file is in before the camera answers.
    QByteArray received;
    QVERIFY(QTest::qWaitFor([&] { return (received += peer->readAll()).size() >= 8 + 100; }, 10000));
    QCOMPARE(received.left(8), QByteArray::fromHex("0000000000000064"));
    QCOMPARE(received.size(), 8 + 100);
    QFETCH(QByteArray, reply);
    peer->write(reply);
    QFETCH(QString, last);
    QCOMPARE(runner.events(), QStringList({"sending", "applying", last}));
    QTEST(runner.code(), "code");
}

void tst_UpdateTask::socketErrorTexts_data()
{
    QTest::addColumn<int>("socketError");
    QTest::addColumn<QString>("text");
    QTest::newRow("-1") << -1 << "Unknown socket error";
    QTest::newRow("0") << 0 << "Connection refused by peer.";
    QTest::newRow("3") << 3 << "Socket acces denied. Lacking privileges.";
    QTest::newRow("6") << 6 << "Datagramm too large";
    QTest::newRow("22") << 22 << "A temporary error occured.";
    QTest::newRow("99") << 99 << "Error: 99";
}

void tst_UpdateTask::socketErrorTexts()
{
    QFETCH(int, socketError);
    UpdateTask task(m_camera, QString(), 4799, QString());
    QSignalSpy errors(&task, &UpdateTask::error);
    task.onError(QAbstractSocket::SocketError(socketError));
    QCOMPARE(errors.count(), 1);
    QFETCH(QString, text);
    QCOMPARE(errors.first().first().toString(), "Camera X1 at 127.0.0.1: " + text);
}

QTEST_GUILESS_MAIN(tst_UpdateTask)
#include "tst_UpdateTask.moc"
