#include "DiscoveryResponder.h"

#include "EventLog.h"

#include <QNetworkDatagram>
#include <QRandomGenerator>
#include <QTimer>
#include <QUdpSocket>
#include <QVariant>

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
    const QString end = m_camera.crlfLineEnds ? QStringLiteral("\r\n") : QStringLiteral("\n");
    QString text;
    if (!m_camera.withoutSerial)
        text += QStringLiteral("S/N: ") + m_camera.serial + end;
    text += QStringLiteral("Model: ") + m_camera.model + end;
    text += QStringLiteral("Firmware: ") + m_camera.firmwareVersion + end;
    text += QStringLiteral("MAC: ") + m_camera.macAddress + end;
    text += QStringLiteral("Hostname: ") + m_camera.hostname + end;
    return text.toUtf8();
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
    if (!channel.answerer->bind(address, m_settings.probePort, kShared)) {
        *error = describe(address) + QStringLiteral(": cannot bind: %1")
                                         .arg(channel.answerer->errorString());
        return false;
    }
    channel.answerer->setMulticastInterface(interface);
    channel.answerer->setSocketOption(QAbstractSocket::MulticastLoopbackOption, QVariant(0));

    for (QUdpSocket *socket : {channel.listener, channel.answerer}) {
        connect(socket, &QUdpSocket::readyRead, this,
                [this, channel, socket] { onReadyRead(channel, socket); });
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
        if (datagram.data() != kProbe)
            continue;

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
    if (channel.answerer->writeDatagram(answerText(), destination, port) < 0) {
        qWarning("camera %s: answer to %s failed: %s", qPrintable(m_camera.serial),
                 qPrintable(destination.toString()), qPrintable(channel.answerer->errorString()));
        return;
    }
    EventLog::write(QStringLiteral("answer %1 %2 %3")
                        .arg(m_camera.serial, destination.toString())
                        .arg(port));
}

QString DiscoveryResponder::describe(const QHostAddress &address) const
{
    return QStringLiteral("camera %1 at %2").arg(m_camera.serial, address.toString());
}
