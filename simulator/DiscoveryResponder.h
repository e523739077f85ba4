#pragma once

#include "CameraConfig.h"

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QNetworkInterface>
#include <QObject>
#include <QString>

class QUdpSocket;

// A camera's discovery side. For each of its address families it has a listener on the probe
// port, joined to the probe group on the camera's interface, and an answerer bound to the
// camera's own address and the probe port. Several cameras in one process each hold a listener
// on the shared port, and the kernel hands every one of them its own copy of each probe; the
// answerer makes sure that a camera's answer leaves from that camera's address.
// Like a real camera, each one answers a probe after a random delay below kAnswerSpreadMs: the
// answers of a fleet of hundreds then reach the prober spread out instead of in one burst that
// overflows its receive buffer.
class DiscoveryResponder : public QObject
{
    Q_OBJECT

public:
    struct Settings
    {
        quint16 probePort = 4800;
        QHostAddress probeGroupIPv4;
        QHostAddress probeGroupIPv6;
        // The interfaces of the camera namespace; each camera listens on the one holding its
        // address.
        QList<QNetworkInterface> interfaces;
    };

    static constexpr quint16 kAnswerPort = 4900;
    static constexpr int kAnswerSpreadMs = 50;
    static const QByteArray kProbe;
    // Hostile discovery modes (CameraConfig::DiscoveryBehaviour).
    static constexpr int kFloodSerials = 200;
    static constexpr int kOverlongValueLength = 1000;
    static constexpr int kUnsolicitedIntervalMs = 200;

    DiscoveryResponder(const CameraConfig &camera, const Settings &settings, QObject *parent);

    bool start(QString *error);
    QByteArray answerText() const;
    // What the camera sends for one probe: its answer, or what its discovery mode sends instead.
    QList<QByteArray> answerDatagrams() const;

private:
    struct Channel
    {
        QUdpSocket *listener = nullptr;
        QUdpSocket *answerer = nullptr;
        QHostAddress answerGroup;
    };

    bool openChannel(const QHostAddress &address, const QHostAddress &probeGroup,
                     const QHostAddress &answerGroup, QString *error);
    void onReadyRead(const Channel &channel, QUdpSocket *socket);
    void answer(const Channel &channel, const QHostAddress &destination, quint16 port);
    bool bindAnswerer(QUdpSocket *answerer, const QHostAddress &address, QString *error);
    QString describe(const QHostAddress &address) const;

    CameraConfig m_camera;
    Settings m_settings;
};
