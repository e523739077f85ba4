#pragma once

#include "DroppedAnswers.h"

#include <QDeadlineTimer>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QMap>
#include <QNetworkAddressEntry>
#include <QObject>
#include <QSet>

#include <ctime>

class QNetworkDatagram;
class QTimer;
class QUdpSocket;

// Finds cameras by sending a text probe to a multicast group out of every network
// interface and turning each text answer into a key/value map. Answers arrive on the
// sending socket (unicast replies) or on a listener joined to the answer group.
// Whatever sits on the cameras' network may send to the answer port, so an answer is taken only
// while a scan runs, only from an address of the network it arrived on, and only when it is a
// well-formed answer (AnswerCheck); one address gives no more than a few serial numbers per scan.
// What is dropped is counted and told once, when the scan's answers are in.
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
    // Answers are taken until this long after the last probe; cameras answer within a fraction
    // of a second.
    static constexpr int kAnswerGraceMs = 3000;
    // A camera has one serial number, a recorder with a few cameras behind it a few.
    static constexpr int kMaxSerialsPerSender = 8;

    explicit CameraFinder(QObject *parent = nullptr);
    ~CameraFinder() override;

    // Lines of "key: value"; the text ends at the first NUL and later keys win.
    static QMap<QString, QString> parseAnswer(const QByteArray &datagram);
    // Whether sender lies in one of the networks of an interface with these address entries.
    // A link-local sender is on the link of the interface its datagram arrived on by definition.
    static bool isOnNetwork(const QHostAddress &sender, const QList<QNetworkAddressEntry> &entries);

    // Sets where probes go and (re)binds the listener for the group's family. Reached from
    // the window's initFinder signal; an overload, so it is connected by function pointer.
    void init(const QHostAddress &address, quint16 port, int ttl);

signals:
    void foundRemote(QHostAddress address, QMap<QString, QString> properties, std::tm time);
    // One line per scan, naming how many answers were dropped and why.
    void answersDropped(QString summary);

public slots:
    void init();
    void scan();
    void read();
    void readMessage();

private:
    void drain(QUdpSocket *socket);
    // The reason the datagram is not taken, or an empty string.
    QString rejection(const QNetworkDatagram &datagram, const QHostAddress &sender,
                      QMap<QString, QString> *properties);
    void reportDropped();
    void enlargeReceiveBuffer(QUdpSocket *socket);
    void setIPv4MulticastOptions(int interfaceIndex);

    QUdpSocket *m_sender = nullptr;
    QUdpSocket *m_listener = nullptr;
    QHostAddress m_group;
    quint16 m_port = 0;
    int m_ttl = 0;
    bool m_ready = false;
    bool m_smallBufferReported = false;
    QDeadlineTimer m_answerDeadline;
    QTimer *m_reportTimer;
    // Address entries by interface index, read at each probe.
    QHash<int, QList<QNetworkAddressEntry>> m_networks;
    QHash<QHostAddress, QSet<QString>> m_serialsBySender;
    DroppedAnswers m_dropped;
};
