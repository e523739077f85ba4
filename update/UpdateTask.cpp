#include "UpdateTask.h"

#include "CameraItem.h"
#include "UpdateToken.h"
#include "UpdateTokenEncoder.h"

#include <QFile>
#include <QTcpSocket>

#ifdef Q_OS_LINUX
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#endif

#include <algorithm>
#include <stdexcept>

namespace {

// The next piece is produced only while less than this waits in the socket: a few chunks'
// text, enough to keep the connection busy between two turns of the event loop.
constexpr qint64 kPendingLimit = 8 * UpdateTokenEncoder::kChunk;
constexpr int kKeepAliveProbes = 4;

QString socketErrorText(QAbstractSocket::SocketError socketError)
{
    switch (socketError) {
    case QAbstractSocket::UnknownSocketError:
        return QStringLiteral("Unknown socket error");
    case QAbstractSocket::ConnectionRefusedError:
        return QStringLiteral("Connection refused by peer.");
    case QAbstractSocket::RemoteHostClosedError:
        return QStringLiteral("Remote host closed connection.");
    case QAbstractSocket::HostNotFoundError:
        return QStringLiteral("Host address not found.");
    case QAbstractSocket::SocketAccessError:
        return QStringLiteral("Socket acces denied. Lacking privileges.");
    case QAbstractSocket::SocketResourceError:
        return QStringLiteral("Ran out of resources (e.g. too many sockets).");
    case QAbstractSocket::SocketTimeoutError:
        return QStringLiteral("Connection timeout");
    case QAbstractSocket::DatagramTooLargeError:
        return QStringLiteral("Datagramm too large");
    case QAbstractSocket::NetworkError:
        return QStringLiteral("Network error");
    case QAbstractSocket::AddressInUseError:
        return QStringLiteral("Address already in use.");
    case QAbstractSocket::SocketAddressNotAvailableError:
        return QStringLiteral("Address does not belong to host.");
    case QAbstractSocket::UnsupportedSocketOperationError:
        return QStringLiteral("Unsupported operation");
    case QAbstractSocket::UnfinishedSocketOperationError:
        return QStringLiteral("Unfinished socket operation in progress.");
    case QAbstractSocket::ProxyAuthenticationRequiredError:
        return QStringLiteral("Authentication required by proxy.");
    case QAbstractSocket::SslHandshakeFailedError:
        return QStringLiteral("SSL/TLS handshake failed, no secured connection could be established.");
    case QAbstractSocket::ProxyConnectionRefusedError:
        return QStringLiteral("Proxy refused connection.");
    case QAbstractSocket::ProxyConnectionClosedError:
        return QStringLiteral("Proxy closed connection.");
    case QAbstractSocket::ProxyConnectionTimeoutError:
        return QStringLiteral("Proxy timed out.");
    case QAbstractSocket::ProxyNotFoundError:
        return QStringLiteral("Proxy not found.");
    case QAbstractSocket::ProxyProtocolError:
        return QStringLiteral("Proxy response could not be understood.");
    case QAbstractSocket::OperationError:
        return QStringLiteral("Operation not permitted.");
    case QAbstractSocket::SslInternalError:
        return QStringLiteral("Internal SSL error.");
    case QAbstractSocket::SslInvalidUserDataError:
        return QStringLiteral("Invalid SSL data (certificate, key, cypher, etc.).");
    case QAbstractSocket::TemporaryError:
        return QStringLiteral("A temporary error occured.");
    }
    return QStringLiteral("Error: %1").arg(int(socketError));
}

}

UpdateTask::UpdateTask(const QSharedPointer<CameraItem> &camera, const QString &filePath, quint16 port,
                       const QString &adminUser, const QString &adminPassword)
    : m_camera(camera)
    , m_filePath(filePath)
    , m_port(port)
    , m_key(deriveUpdateKey(adminUser, adminPassword))
{
}

UpdateTask::~UpdateTask() = default;

void UpdateTask::setDeadPeerTimeout(std::chrono::seconds timeout)
{
    m_deadPeerTimeout = timeout;
}

void UpdateTask::init()
{
    m_socket = new QTcpSocket(this);
    // Keeps the socket with the task wherever the task was moved before init() ran.
    m_socket->moveToThread(thread());
    connect(m_socket, &QTcpSocket::errorOccurred, this, &UpdateTask::onError);
    connect(m_socket, &QTcpSocket::connected, this, &UpdateTask::sendFile);
    connect(m_socket, &QTcpSocket::readyRead, this, &UpdateTask::readStatus);
    connect(m_socket, &QTcpSocket::bytesWritten, this, &UpdateTask::sendMore);
    m_socket->connectToHost(m_camera->address(), m_port, QIODevice::ReadWrite);
}

void UpdateTask::sendFile()
{
    detectDeadPeer();
    m_file = std::make_unique<QFile>(m_filePath);
    if (!m_file->open(QIODevice::ReadOnly)) {
        fail(QStringLiteral("Could not open update file."));
        return;
    }
    emit sendingUpdate();
    try {
        m_encoder = std::make_unique<UpdateTokenEncoder>(splitUpdateKey(m_key), *m_file);
    } catch (const std::exception &failure) {
        fail(QString::fromUtf8(failure.what()));
        return;
    }
    const QByteArray prefix = m_encoder->lengthPrefix();
    if (m_socket->write(prefix) != prefix.size()) {
        onError(m_socket->error());
        return;
    }
    sendMore();
}

// Runs again whenever the socket has handed data to the network. The camera applies the
// update once the whole token has left, not when it has merely been queued here.
void UpdateTask::sendMore()
{
    if (!m_encoder)
        return;
    try {
        while (!m_encoder->atEnd() && m_socket->bytesToWrite() < kPendingLimit) {
            const QByteArrayView text = m_encoder->nextText();
            if (m_socket->write(text.data(), text.size()) != text.size()) {
                onError(m_socket->error());
                return;
            }
        }
    } catch (const std::exception &failure) {
        fail(QString::fromUtf8(failure.what()));
        return;
    }
    if (!m_encoder->atEnd() || m_socket->bytesToWrite() > 0)
        return;
    stopSending();
    emit applyingUpdate();
    if (m_socket->bytesAvailable() > 0)
        readStatus();
}

// The kernel watches the connection, so that a camera that lost power or link ends the task
// with the socket's own error: keep-alive probes while the camera applies the update (a live
// camera answers them however long that takes), and a bound on unacknowledged data while the
// token is sent, when keep-alive probes do not run. A camera that is slow to read keeps
// acknowledging and is never cut off.
void UpdateTask::detectDeadPeer()
{
    m_socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
#ifdef Q_OS_LINUX
    const int descriptor = int(m_socket->socketDescriptor());
    const int total = int(m_deadPeerTimeout.count());
    const int idle = std::max(1, total / 3);
    const int interval = std::max(1, (total - idle) / kKeepAliveProbes);
    const unsigned int unacknowledgedMs = unsigned(total) * 1000;
    setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle);
    setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval);
    setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPCNT, &kKeepAliveProbes, sizeof kKeepAliveProbes);
    setsockopt(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, &unacknowledgedMs, sizeof unacknowledgedMs);
#endif
}

void UpdateTask::stopSending()
{
    m_encoder.reset();
    m_file.reset();
}

void UpdateTask::fail(const QString &text)
{
    stopSending();
    m_ended = true;
    emit error(text);
}

void UpdateTask::readStatus()
{
    // A camera that answers before the whole token has left is heard once it has.
    if (m_encoder || m_ended)
        return;
    // Cameras send their status in one piece; whatever arrives first is the answer.
    const QByteArray reply = m_socket->readAll();
    m_socket->close();
    m_ended = true;
    bool ok = false;
    const int code = reply.toInt(&ok, 10);
    if (!ok) {
        emit error(QStringLiteral("Update status could not be gathered"));
        return;
    }
    m_camera->setUpdateStatus(code);
    emit updateStatus();
}

void UpdateTask::onError(QAbstractSocket::SocketError socketError)
{
    if (m_ended)
        return;
    const QString text = socketErrorText(socketError);
    if (m_socket != nullptr && m_socket->isOpen())
        m_socket->close();
    fail(QStringLiteral("Camera at %0: %1").arg(m_camera->addressText(), text));
}
