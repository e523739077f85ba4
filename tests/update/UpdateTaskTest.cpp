#include "CameraModel.h"
#include "TaskRunner.h"
#include "UpdateTask.h"

#include <QFile>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>
#include <memory>

// UpdateTask on its own thread against a stand-in camera on the loopback interface: the bytes
// it puts on the wire, the replies it accepts, and the texts of socket errors.
class UpdateTaskTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void statusReplies_data();
    void statusReplies();
    void socketErrorTexts_data();
    void socketErrorTexts();

private:
    // Runs a task that sends a 1-byte file to a local listener, which answers reply once the
    // whole token is in; returns all bytes the task sent and fills events with its signals.
    QByteArray exchange(const QByteArray &reply, QStringList *events);

    QTemporaryDir m_directory;
    QString m_file;
    CameraModel m_model;
    QSharedPointer<CameraItem> m_camera;
};

void UpdateTaskTest::initTestCase()
{
    QVERIFY(m_directory.isValid());
    const std::time_t now = std::time(nullptr);
    m_model.addCamera(QHostAddress::LocalHost, {{QStringLiteral("S/N"), QStringLiteral("X1")}}, *std::localtime(&now));
    QCOMPARE(m_model.cameras().size(), 1);
    m_camera = m_model.cameras().first();
    m_file = m_directory.filePath(QStringLiteral("update.bin"));
    QFile file(m_file);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("u") == 1);
}

QByteArray UpdateTaskTest::exchange(const QByteArray &reply, QStringList *events)
{
    QTcpServer server;
    if (!server.listen(QHostAddress::LocalHost))
        return {};
    TaskRunner runner(m_camera, m_file, server.serverPort(), QStringLiteral("secret"));
    runner.start();
    if (!server.waitForNewConnection(10000))
        return {};
    const std::unique_ptr<QTcpSocket> peer(server.nextPendingConnection());

    QByteArray received;
    const bool complete = QTest::qWaitFor(
        [&] {
            received += peer->readAll();
            return received.size() >= 8 + 100;
        },
        10000);
    if (!complete)
        return received;
    peer->write(reply);
    if (!runner.waitForEnd(10000))
        return received;
    // The task closes after the answer, so everything it sent is in once the peer sees the end.
    if (!QTest::qWaitFor([&] { return peer->state() == QAbstractSocket::UnconnectedState; }, 10000))
        return received;
    received += peer->readAll();
    *events = runner.events();
    if (!runner.emittedOnlyFromTaskThread())
        *events << QStringLiteral("signal from a foreign thread");
    return received;
}

void UpdateTaskTest::statusReplies_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::newRow("blanks around the number") << QByteArray(" -202\n") << -202 << "Update file damaged/truncated (at ";
    // The first segment of " -201\n"; the task reads it, closes and never waits for the rest.
    QTest::newRow("first segment only") << QByteArray(" -2") << -2 << "Unknown Error: -2 (at ";
}

void UpdateTaskTest::statusReplies()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, text);
    QStringList events;
    const QByteArray received = exchange(reply, &events);
    QCOMPARE(received.left(8), QByteArray::fromHex("0000000000000064"));
    QCOMPARE(received.size(), 8 + 100);
    QCOMPARE(events, QStringList({"sending", "applying", "status"}));
    QTEST(m_camera->updateStatus(), "code");
    QVERIFY2(m_camera->updateStatusRow()->data(1).toString().startsWith(text),
             qPrintable(m_camera->updateStatusRow()->data(1).toString()));
}

void UpdateTaskTest::socketErrorTexts_data()
{
    QTest::addColumn<int>("socketError");
    QTest::addColumn<QString>("text");
    const QStringList texts = {
        "Unknown socket error",
        "Connection refused by peer.",
        "Remote host closed connection.",
        "Host address not found.",
        "Socket acces denied. Lacking privileges.",
        "Ran out of resources (e.g. too many sockets).",
        "Connection timeout",
        "Datagramm too large",
        "Network error",
        "Address already in use.",
        "Address does not belong to host.",
        "Unsupported operation",
        "Unfinished socket operation in progress.",
        "Authentication required by proxy.",
        "SSL/TLS handshake failed, no secured connection could be established.",
        "Proxy refused connection.",
        "Proxy closed connection.",
        "Proxy timed out.",
        "Proxy not found.",
        "Proxy response could not be understood.",
        "Operation not permitted.",
        "Internal SSL error.",
        "Invalid SSL data (certificate, key, cypher, etc.).",
        "A temporary error occured.",
    };
    for (int value = -1; value <= 22; ++value)
        QTest::addRow("%d", value) << value << texts.at(value + 1);
    QTest::newRow("99") << 99 << "Error: 99";
}

void UpdateTaskTest::socketErrorTexts()
{
    QFETCH(int, socketError);
    QFETCH(QString, text);
    UpdateTask task(m_camera, QString(), 4799, QStringLiteral("admin"), QStringLiteral("secret"));
    QSignalSpy errors(&task, &UpdateTask::error);
    task.onError(QAbstractSocket::SocketError(socketError));
    QCOMPARE(errors.count(), 1);
    QCOMPARE(errors.first().first().toString(), QStringLiteral("Camera at 127.0.0.1: ") + text);
}

QTEST_GUILESS_MAIN(UpdateTaskTest)
#include "UpdateTaskTest.moc"
