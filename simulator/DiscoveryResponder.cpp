#include "DiscoveryResponder.h"

#include "EventLog.h"

#include <QNetworkDatagram>
#include <QRandomGenerator>
#include <QTimer>
#include <QUdpSocket>
#include <QVariant>

#include <cerrno>
#include <cstring>
#include <iterator>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

const QByteArray DiscoveryResponder::kProbe = QByteArrayLiteral("Hello there!");

namespace {

constexpr auto kShared = QAbstractSocket::ShareAddress | QAbstractSocket::ReuseAddressHint;

QNetworkInterface interfaceOf(const QList<QNetworkInterface> &interfaces,
                              const QHostAddress &address)
{
    for (const QNetworkInterface &candidate : interfaces) {
        const QList<QNetworkAddressEntry> entries = candidate.addressEntries();
        for (const QNetworkAddressEntry &entry : entries) {
            if (entry.ip().isEqual(address))
                return candidate;
        }
    }
    return {};
}

} // namespace

DiscoveryResponder::DiscoveryResponder(const CameraConfig &camera, const Settings &settings,
                                       QObject *parent)
    : QObject(parent)
    , m_camera(camera)
    , m_settings(settings)
{
}

bool DiscoveryResponder::start(QString *error)
{
    if (!m_camera.ipv4.isNull()
        && !openChannel(m_camera.ipv4, m_settings.probeGroupIPv4,
                        QHostAddress(QStringLiteral("239.192.13.231")), error)) {
        return false;
    }
    if (!m_camera.ipv6.isNull()
        && !openChannel(m_camera.ipv6, m_settings.probeGroupIPv6,
                        QHostAddress(QStringLiteral("ff68::57a7")), error)) {
        return false;
    }
    return true;
}

QByteArray DiscoveryResponder::answerText() const
{
    using Mode = CameraConfig::DiscoveryBehaviour;
    const QString end = m_camera.crlfLineEnds ? QStringLiteral("\r\n") : QStringLiteral("\n");
    QString model = m_camera.model;
    if (m_camera.discoveryBehaviour == Mode::Control)
        model += QStringLiteral("\x1b[2J\x1b[31m");
    else if (m_camera.discoveryBehaviour == Mode::Overlong)
        model = QString(kOverlongValueLength, QLatin1Char('M'));
    QString text;
    if (!m_camera.withoutSerial)
        text += QStringLiteral("S/N: ") + m_camera.serial + end;
    text += QStringLiteral("Model: ") + model + end;
    text += QStringLiteral("Firmware: ") + m_camera.firmwareVersion + end;
    text += QStringLiteral("MAC: ") + m_camera.macAddress + end;
    text += QStringLiteral("Hostname: ") + m_camera.hostname + end;
    return text.toUtf8();
}

QList<QByteArray> DiscoveryResponder::answerDatagrams() const
{
    using Mode = CameraConfig::DiscoveryBehaviour;
    if (m_camera.discoveryBehaviour == Mode::Random) {
        // Starts with a byte that is never UTF-8, whatever follows.
        QByteArray bytes(200, Qt::Uninitialized);
        QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
        bytes[0] = char(0xff);
        return {bytes};
    }
    if (m_camera.discoveryBehaviour != Mode::Flood)
        return {answerText()};

    QList<QByteArray> answers;
    const QByteArray text = answerText();
    const QByteArray serialLine = "S/N: " + m_camera.serial.toUtf8();
    for (int i = 1; i <= kFloodSerials; ++i)
        answers.append(QByteArray(text).replace(serialLine, serialLine + '-' + QByteArray::number(i)));
    return answers;
}

bool DiscoveryResponder::openChannel(const QHostAddress &address, const QHostAddress &probeGroup,
                                     const QHostAddress &answerGroup, QString *error)
{
    const QNetworkInterface interface = interfaceOf(m_settings.interfaces, address);
    if (!interface.isValid()) {
        *error = describe(address) + QStringLiteral(": no interface has this address (is the "
                                                    "simulator running inside the lab?)");
        return false;
    }

    Channel channel;
    channel.answerGroup = answerGroup;
    const QHostAddress any = address.protocol() == QAbstractSocket::IPv4Protocol
        ? QHostAddress(QHostAddress::AnyIPv4)
        : QHostAddress(QHostAddress::AnyIPv6);

    channel.listener = new QUdpSocket(this);
    if (!channel.listener->bind(any, m_settings.probePort, kShared)
        || !channel.listener->joinMulticastGroup(probeGroup, interface)) {
        *error = describe(address) + QStringLiteral(": cannot listen for probes to %1 on %2: %3")
                                         .arg(probeGroup.toString(), interface.name(),
                                              channel.listener->errorString());
        return false;
    }

    channel.answerer = new QUdpSocket(this);
    const bool forged = m_camera.forgedSender.protocol() == address.protocol();
    if (!bindAnswerer(channel.answerer, forged ? m_camera.forgedSender : address, error))
        return false;
    channel.answerer->setMulticastInterface(interface);
    channel.answerer->setSocketOption(QAbstractSocket::MulticastLoopbackOption, QVariant(0));

    for (QUdpSocket *socket : {channel.listener, channel.answerer}) {
        connect(socket, &QUdpSocket::readyRead, this,
                [this, channel, socket] { onReadyRead(channel, socket); });
    }
    if (m_camera.discoveryBehaviour == CameraConfig::DiscoveryBehaviour::Unsolicited) {
        auto *timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this,
                [this, channel] { answer(channel, channel.answerGroup, kAnswerPort); });
        timer->start(kUnsolicitedIntervalMs);
    }
    return true;
}

bool DiscoveryResponder::bindAnswerer(QUdpSocket *answerer, const QHostAddress &address,
                                      QString *error)
{
    if (address != m_camera.forgedSender) {
        if (answerer->bind(address, m_settings.probePort, kShared))
            return true;
        *error = describe(address) + QStringLiteral(": cannot bind: %1").arg(answerer->errorString());
        return false;
    }

    // An address that is not the namespace's own: only a transparent socket may send from it,
    // which the lab's user namespace allows.
    const bool ipv4 = address.protocol() == QAbstractSocket::IPv4Protocol;
    const int descriptor = ::socket(ipv4 ? AF_INET : AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    sockaddr_storage storage{};
    socklen_t length = 0;
    if (ipv4) {
        auto *in = reinterpret_cast<sockaddr_in *>(&storage);
        in->sin_family = AF_INET;
        in->sin_port = htons(m_settings.probePort);
        in->sin_addr.s_addr = htonl(address.toIPv4Address());
        length = sizeof *in;
    } else {
        auto *in6 = reinterpret_cast<sockaddr_in6 *>(&storage);
        in6->sin6_family = AF_INET6;
        in6->sin6_port = htons(m_settings.probePort);
        const Q_IPV6ADDR bytes = address.toIPv6Address();
        std::copy(std::begin(bytes.c), std::end(bytes.c), in6->sin6_addr.s6_addr);
        length = sizeof *in6;
    }
    // Shared like the other sockets on the probe port, which the listeners hold on any address.
    if (descriptor < 0
        || ::setsockopt(descriptor, ipv4 ? SOL_IP : SOL_IPV6, ipv4 ? IP_TRANSPARENT : IPV6_TRANSPARENT,
                        &on, sizeof on) != 0
        || ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0
        || ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEPORT, &on, sizeof on) != 0
        || ::bind(descriptor, reinterpret_cast<sockaddr *>(&storage), length) != 0
        || !answerer->setSocketDescriptor(descriptor, QAbstractSocket::BoundState)) {
        *error = describe(address) + QStringLiteral(": cannot send from the forged address: %1")
                                         .arg(QString::fromLocal8Bit(std::strerror(errno)));
        if (descriptor >= 0)
            ::close(descriptor);
        return false;
    }
    return true;
}

void DiscoveryResponder::onReadyRead(const Channel &channel, QUdpSocket *socket)
{
    while (socket->hasPendingDatagrams()) {
        const QNetworkDatagram datagram = socket->receiveDatagram();
        if (!datagram.isValid())
            continue;
        EventLog::write(QStringLiteral("datagram %1 %2 %3")
                            .arg(m_camera.serial, datagram.senderAddress().toString(),
                                 QString::fromLatin1(datagram.data().toHex())));
        // An unsolicited camera sends on its own schedule only.
        if (datagram.data() != kProbe
            || m_camera.discoveryBehaviour == CameraConfig::DiscoveryBehaviour::Unsolicited) {
            continue;
        }

        const bool unicast = m_camera.answerMode == CameraConfig::AnswerMode::Unicast;
        const QHostAddress destination = unicast ? datagram.senderAddress() : channel.answerGroup;
        const quint16 port = unicast ? static_cast<quint16>(datagram.senderPort()) : kAnswerPort;
        const int delayMs = int(QRandomGenerator::global()->bounded(kAnswerSpreadMs));
        QTimer::singleShot(delayMs, this, [this, channel, destination, port] {
            answer(channel, destination, port);
        });
    }
}

void DiscoveryResponder::answer(const Channel &channel, const QHostAddress &destination,
                                quint16 port)
{
    const QList<QByteArray> datagrams = answerDatagrams();
    for (const QByteArray &datagram : datagrams) {
        if (channel.answerer->writeDatagram(datagram, destination, port) < 0) {
            qWarning("camera %s: answer to %s failed: %s", qPrintable(m_camera.serial),
                     qPrintable(destination.toString()), qPrintable(channel.answerer->errorString()));
            return;
        }
    }
    EventLog::write(QStringLiteral("answer %1 %2 %3")
                        .arg(m_camera.serial, destination.toString())
                        .arg(port));
}

QString DiscoveryResponder::describe(const QHostAddress &address) const
{
    return QStringLiteral("camera %1 at %2").arg(m_camera.serial, address.toString());
}
