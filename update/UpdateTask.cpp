#include "UpdateTask.h"

#include "CameraItem.h"
#include "UpdateToken.h"

#include <QFile>
#include <QTcpSocket>

#include <stdexcept>

namespace {

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

void UpdateTask::init()
{
    m_socket = new QTcpSocket(this);
    // Keeps the socket with the task wherever the task was moved before init() ran.
    m_socket->moveToThread(thread());
    connect(m_socket, &QTcpSocket::errorOccurred, this, &UpdateTask::onError);
    connect(m_socket, &QTcpSocket::connected, this, &UpdateTask::sendFile);
    connect(m_socket, &QTcpSocket::readyRead, this, &UpdateTask::readStatus);
    m_socket->connectToHost(m_camera->address(), m_port, QIODevice::ReadWrite);
}

void UpdateTask::sendFile()
{
    QFile file(m_filePath);
    if (!file.open(QIODevice::ReadOnly)) {
        emit error(QStringLiteral("Could not open update file."));
        return;
    }
    emit sendingUpdate();
    try {
        writeUpdateToken(splitUpdateKey(m_key), file, *m_socket);
        m_socket->flush();
        emit applyingUpdate();
        file.close();
    } catch (const std::exception &failure) {
        emit error(QString::fromUtf8(failure.what()));
    }
}

void UpdateTask::readStatus()
{
    // Cameras send their status in one piece; whatever arrives first is the answer.
    const QByteArray reply = m_socket->readAll();
    m_socket->close();
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
    const QString text = socketErrorText(socketError);
    if (m_socket != nullptr && m_socket->isOpen())
        m_socket->close();
    emit error(QStringLiteral("Camera at %0: %1").arg(m_camera->addressText(), text));
}
