#pragma once

#include <QHostAddress>
#include <QMap>
#include <QObject>

#include <ctime>

class QUdpSocket;

// Finds cameras by sending a text probe to a multicast group out of every network
// interface and turning each text answer into a key/value map. Answers arrive on the
// sending socket (unicast replies) or on a listener joined to the answer group.
class CameraFinder : public QObject
{
    Q_OBJECT

public:
    // Groups as the user types them; the defaults are offered in the main window.
    static constexpr const char *kDefaultProbeGroupIPv4 = "239.192.13.230";
    static constexpr const char *kDefaultProbeGroupIPv6 = "ff18::CADA:DEE0";
    static constexpr const char *kAnswerGroupIPv4 = "239.192.13.231";
    static constexpr const char *kAnswerGroupIPv6 = "ff68::57A7";
    static constexpr quint16 kAnswerPort = 4900;
    static constexpr const char *kProbe = "Hello there!";

    explicit CameraFinder(QObject *parent = nullptr);
    ~CameraFinder() override;

    // Lines of "key: value"; the text ends at the first NUL and later keys win.
    static QMap<QString, QString> parseAnswer(const QByteArray &datagram);

    // Sets where probes go and (re)binds the listener for the group's family. Reached from
    // the window's initFinder signal; an overload, so it is connected by function pointer.
    void init(const QHostAddress &address, quint16 port, int ttl);

signals:
    void foundRemote(QHostAddress address, QMap<QString, QString> properties, std::tm time);

public slots:
    void init();
    void scan();
    void read();
    void readMessage();

private:
    void drain(QUdpSocket *socket);
    void enlargeReceiveBuffer(QUdpSocket *socket);
    void setIPv4MulticastOptions(int interfaceIndex);

    QUdpSocket *m_sender = nullptr;
    QUdpSocket *m_listener = nullptr;
    QHostAddress m_group;
    quint16 m_port = 0;
    int m_ttl = 0;
    bool m_ready = false;
    bool m_smallBufferReported = false;
};
