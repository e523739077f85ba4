#include "CameraFinder.h"

#include "AnswerCheck.h"

#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QTimer>
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

// Unicast answers to IPv4 probes reach the dual-stack sender socket as IPv4-mapped addresses.
QHostAddress plain(const QHostAddress &address)
{
    bool mapped = false;
    const quint32 ipv4 = address.toIPv4Address(&mapped);
    return mapped ? QHostAddress(ipv4) : address;
}

} // namespace

CameraFinder::CameraFinder(QObject *parent)
    : QObject(parent)
    , m_answerDeadline(0)
    , m_reportTimer(new QTimer(this))
{
    m_reportTimer->setSingleShot(true);
    m_reportTimer->setInterval(kAnswerGraceMs);
    connect(m_reportTimer, &QTimer::timeout, this, &CameraFinder::reportDropped);
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

bool CameraFinder::isOnNetwork(const QHostAddress &sender, const QList<QNetworkAddressEntry> &entries)
{
    const QHostAddress address = plain(sender);
    for (const QNetworkAddressEntry &entry : entries) {
        if (entry.ip().protocol() != address.protocol())
            continue;
        if (address.isLinkLocal() && address.protocol() == QAbstractSocket::IPv6Protocol)
            return true;
        if (address.isInSubnet(entry.ip(), entry.prefixLength()))
            return true;
    }
    return false;
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

    if (m_answerDeadline.hasExpired())
        m_serialsBySender.clear();
    m_answerDeadline.setRemainingTime(kAnswerGraceMs);
    m_reportTimer->start();

    m_sender->setSocketOption(QAbstractSocket::MulticastTtlOption, m_ttl);
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    m_networks.clear();
    for (const QNetworkInterface &networkInterface : interfaces) {
        m_networks.insert(networkInterface.index(), networkInterface.addressEntries());
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
        // One byte more than an answer may have tells a longer datagram without reading it all.
        const QNetworkDatagram datagram = socket->receiveDatagram(AnswerCheck::kMaxAnswerBytes + 1);
        const QHostAddress sender = datagram.senderAddress();
        if (!datagram.isValid() || sender.isNull())
            continue;

        QMap<QString, QString> properties;
        const QString reason = rejection(datagram, sender, &properties);
        if (!reason.isEmpty()) {
            m_dropped.add(reason);
            if (!m_reportTimer->isActive())
                m_reportTimer->start();
            continue;
        }

        const std::time_t now = std::time(nullptr);
        std::tm time{};
        localtime_r(&now, &time);
        emit foundRemote(sender, properties, time);
    }
}

QString CameraFinder::rejection(const QNetworkDatagram &datagram, const QHostAddress &sender,
                                QMap<QString, QString> *properties)
{
    if (m_answerDeadline.hasExpired())
        return QStringLiteral("outside a scan");
    if (!isOnNetwork(sender, m_networks.value(datagram.interfaceIndex())))
        return QStringLiteral("from an address outside the network it arrived on");

    const AnswerCheck::Fault fault = AnswerCheck::check(datagram.data(), properties);
    if (fault != AnswerCheck::Fault::None)
        return AnswerCheck::describe(fault);

    const QHostAddress address = plain(sender);
    QSet<QString> &serials = m_serialsBySender[address];
    const QString serial = properties->value(AnswerCheck::kSerialKey);
    if (!serials.contains(serial)) {
        if (serials.size() >= kMaxSerialsPerSender)
            return QStringLiteral("beyond %1 serial numbers from one address").arg(kMaxSerialsPerSender);
        serials.insert(serial);
    }
    return {};
}

void CameraFinder::reportDropped()
{
    if (m_dropped.isEmpty())
        return;
    emit answersDropped(m_dropped.summary());
    m_dropped.clear();
}
