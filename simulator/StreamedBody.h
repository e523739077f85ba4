#pragma once

#include <QByteArray>
#include <QObject>
#include <QTimer>

class QTcpSocket;

// Writes an answer to a connection piece by piece, for the fault modes whose answer is too
// large to hold or too slow to send at once: a body of a given length, an endless chunked
// body, or a body dribbled out one byte at a time. Lives as long as its connection.
class StreamedBody : public QObject
{
    Q_OBJECT

public:
    // Zeros up to `length` bytes after a header that announces them.
    static void sendSized(QTcpSocket *socket, const QByteArray &contentType, qint64 length);
    // Chunks of zeros until the client goes away.
    static void sendEndless(QTcpSocket *socket, const QByteArray &contentType);
    // The whole body, one byte every periodMs.
    static void sendTrickled(QTcpSocket *socket, const QByteArray &contentType, const QByteArray &body,
                             int periodMs);

private:
    enum class Kind { Sized, Endless, Trickled };
    StreamedBody(QTcpSocket *socket, Kind kind);
    void writeMore();

    QTcpSocket *m_socket;
    Kind m_kind;
    qint64 m_remaining = 0;
    QByteArray m_body;
    QTimer m_trickle;
};
