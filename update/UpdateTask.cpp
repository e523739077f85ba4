#include "UpdateTask.h"

#include "CameraItem.h"
#include "UpdateToken.h"
#include "UpdateTokenEncoder.h"

#include <QFile>
#include <QTcpSocket>
#include <QTimer>

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
// A status is a few digits. A camera that says more, or talks while it is sent the token, is
// not listened to any further, so what it sends takes no more memory than this.
constexpr qint64 kReadLimit = 64;

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

QString durationText(std::chrono::seconds duration)
{
    const auto count = duration.count();
    return count >= 60 && count % 60 == 0 ? QStringLiteral("%1 min").arg(count / 60) : QStringLiteral("%1 s").arg(count);
}

// What a camera said, fit for a one-line message whatever the bytes were.
QString quoted(const QByteArray &said)
{
    QString text;
    for (char c : said.trimmed())
        text += c >= 0x20 && c < 0x7f ? QLatin1Char(c) : QLatin1Char('?');
    return QLatin1Char('"') + text + QLatin1Char('"');
}

}

UpdateTask::UpdateTask(const QSharedPointer<CameraItem> &camera, const QString &filePath, quint16 port,
                       const QString &key)
    : m_camera(camera)
    , m_filePath(filePath)
    , m_port(port)
    , m_key(key)
{
}

UpdateTask::~UpdateTask() = default;

void UpdateTask::setDeadPeerTimeout(std::chrono::seconds timeout)
{
    m_deadPeerTimeout = timeout;
}

void UpdateTask::setStatusTimeout(std::chrono::seconds timeout)
{
    m_statusTimeout = timeout;
}

void UpdateTask::init()
{
    m_socket = new QTcpSocket(this);
    // Keeps the socket with the task wherever the task was moved before init() ran.
    m_socket->moveToThread(thread());
    m_socket->setReadBufferSize(kReadLimit);
    m_statusTimer = new QTimer(this);
    m_statusTimer->moveToThread(thread());
    m_statusTimer->setSingleShot(true);
    connect(m_statusTimer, &QTimer::timeout, this, &UpdateTask::onStatusTimeout);
    connect(m_socket, &QTcpSocket::errorOccurred, this, &UpdateTask::onError);
    connect(m_socket, &QTcpSocket::connected, this, &UpdateTask::sendFile);
    connect(m_socket, &QTcpSocket::readyRead, this, &UpdateTask::readStatus);
    connect(m_socket, &QTcpSocket::bytesWritten, this, &UpdateTask::sendMore);
    m_socket->connectToHost(m_camera->address(), m_port, QIODevice::ReadWrite);
}

void UpdateTask::sendFile()
{
    detectDeadPeer();
    m_state = State::Sending;
    m_file = std::make_unique<QFile>(m_filePath);
    if (!m_file->open(QIODevice::ReadOnly)) {
        // Without free file descriptors the file is fine; the program is not.
        fail(m_file->error() == QFileDevice::ResourceError
                 ? QStringLiteral("out of resources: ") + m_file->errorString()
                 : QStringLiteral("Could not open update file: ") + m_file->errorString());
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
    if (m_state != State::Sending)
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
    m_state = State::Applying;
    m_statusTimer->start(m_statusTimeout);
    emit applyingUpdate();
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

void UpdateTask::fail(const QString &cause)
{
    stopSending();
    m_state = State::Ended;
    if (m_statusTimer != nullptr)
        m_statusTimer->stop();
    if (m_socket != nullptr && m_socket->isOpen())
        m_socket->abort();
    emit error(QStringLiteral("Camera %0 at %1: %2").arg(m_camera->serial(), m_camera->addressText(), cause));
}

void UpdateTask::readStatus()
{
    if (m_state == State::Sending) {
        fail(QStringLiteral("answered before the whole update was sent (%1)").arg(quoted(m_socket->read(kReadLimit))));
        return;
    }
    if (m_state != State::Applying)
        return;
    // Cameras send their status in one piece; whatever arrives first is the answer.
    bool ok = false;
    const int code = m_socket->read(kReadLimit).toInt(&ok, 10);
    if (!ok) {
        fail(QStringLiteral("Update status could not be gathered"));
        return;
    }
    m_statusTimer->stop();
    m_socket->close();
    m_state = State::Ended;
    emit updateStatus(code);
}

void UpdateTask::onStatusTimeout()
{
    if (m_state == State::Applying)
        fail(QStringLiteral("no answer within %1 after the update was sent").arg(durationText(m_statusTimeout)));
}

void UpdateTask::onError(QAbstractSocket::SocketError socketError)
{
    if (m_state == State::Ended)
        return;
    // The kernel gives up on a camera that stopped taking the token, but Qt's write path
    // passes that on as whatever its socket last noted.
    const bool stoppedTaking = m_state == State::Sending
        && (socketError == QAbstractSocket::UnfinishedSocketOperationError
            || socketError == QAbstractSocket::SocketTimeoutError);
    fail(stoppedTaking ? QStringLiteral("stopped accepting data while the update was sent")
                       : socketErrorText(socketError));
}
