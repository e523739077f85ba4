#include "CameraFinder.h"

#include <QNetworkInterface>
#include <QUdpSocket>
#include <QVariant>

#include <netinet/in.h>
#include <sys/socket.h>

namespace {

constexpr QAbstractSocket::BindMode kSharedBind = QAbstractSocket::ShareAddress | QAbstractSocket::ReuseAddressHint;

// Cameras answer a probe at nearly the same moment. An answer of about a hundred bytes takes
// some 830 bytes of a socket's receive buffer, so the usual default of 208 KiB holds about 250
// of them; 4 MiB keeps the answers of thousands of cameras until they are read.
constexpr int kReceiveBufferBytes = 4 * 1024 * 1024;

} // namespace

CameraFinder::CameraFinder(QObject *parent)
    : QObject(parent)
{
}

CameraFinder::~CameraFinder() = default;

QMap<QString, QString> CameraFinder::parseAnswer(const QByteArray &datagram)
{
    const qsizetype end = datagram.indexOf('\0');
    const QString text = QString::fromUtf8(end < 0 ? datagram : datagram.left(end));

    QMap<QString, QString> properties;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QStringList parts = line.split(QStringLiteral(": "));
        if (parts.size() < 2)
            continue;
        properties.insert(parts.at(0).trimmed(), parts.at(1).trimmed());
    }
    return properties;
}

void CameraFinder::init()
{
    if (m_sender)
        return;
    m_sender = new QUdpSocket(this);
    m_listener = new QUdpSocket(this);
    connect(m_sender, &QUdpSocket::readyRead, this, &CameraFinder::read);
    connect(m_listener, &QUdpSocket::readyRead, this, &CameraFinder::readMessage);
    m_sender->bind(QHostAddress::Any, 0, kSharedBind);
    enlargeReceiveBuffer(m_sender);
}

void CameraFinder::init(const QHostAddress &address, quint16 port, int ttl)
{
    if (!m_listener)
        return;
    m_group = address;
    m_port = port;
    m_ttl = ttl;

    if (m_listener->state() == QAbstractSocket::BoundState)
        m_listener->close();

    const bool ipv4 = address.protocol() == QAbstractSocket::IPv4Protocol;
    const QHostAddress answerGroup(QLatin1String(ipv4 ? kAnswerGroupIPv4 : kAnswerGroupIPv6));
    m_listener->bind(ipv4 ? QHostAddress::AnyIPv4 : QHostAddress::AnyIPv6, kAnswerPort, kSharedBind);
    enlargeReceiveBuffer(m_listener);
    // Joining fails on interfaces without multicast; cameras behind them answer by unicast.
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &networkInterface : interfaces)
        m_listener->joinMulticastGroup(answerGroup, networkInterface);
    m_ready = true;
}

void CameraFinder::scan()
{
    if (!m_ready)
        return;

    m_sender->setSocketOption(QAbstractSocket::MulticastTtlOption, m_ttl);
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &networkInterface : interfaces) {
        m_sender->setMulticastInterface(networkInterface);
        setIPv4MulticastOptions(networkInterface.index());
        m_sender->writeDatagram(QByteArray(kProbe), m_group, m_port);
    }
}

void CameraFinder::setIPv4MulticastOptions(int interfaceIndex)
{
    // The sender is a dual-stack socket: the toolkit's options steer only its IPv6 side,
    // while IPv4 probes follow the IPv4 options of the descriptor. Without them every
    // IPv4 probe would leave through the interface of the default multicast route.
    const int descriptor = int(m_sender->socketDescriptor());
    if (descriptor < 0)
        return;
    const int ttl = m_ttl;
    ::setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_TTL, &ttl, sizeof ttl);
    ip_mreqn request{};
    request.imr_ifindex = interfaceIndex;
    ::setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_IF, &request, sizeof request);
}

void CameraFinder::enlargeReceiveBuffer(QUdpSocket *socket)
{
    socket->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, kReceiveBufferBytes);
    // Linux reports twice the size it was given, the rest being its bookkeeping, and gives an
    // ordinary user no more than net.core.rmem_max.
    const int granted = socket->socketOption(QAbstractSocket::ReceiveBufferSizeSocketOption).toInt() / 2;
    if (granted < kReceiveBufferBytes && !m_smallBufferReported) {
        m_smallBufferReported = true;
        qWarning("CameraFinder: the receive buffer holds %d bytes instead of %d; answers of many "
                 "cameras at once may be lost (raise net.core.rmem_max)",
                 granted, kReceiveBufferBytes);
    }
}

void CameraFinder::read()
{
    drain(m_sender);
}

void CameraFinder::readMessage()
{
    drain(m_listener);
}

void CameraFinder::drain(QUdpSocket *socket)
{
    while (socket->hasPendingDatagrams()) {
        const qint64 size = socket->pendingDatagramSize();
        QByteArray datagram(qMax<qint64>(size, 0), Qt::Uninitialized);
        QHostAddress sender;
        const qint64 received = socket->readDatagram(datagram.data(), datagram.size(), &sender);
        if (received < 0 || sender.isNull())
            continue;
        datagram.truncate(received);

        const std::time_t now = std::time(nullptr);
        std::tm time{};
        localtime_r(&now, &time);
        emit foundRemote(sender, parseAnswer(datagram), time);
    }
}
