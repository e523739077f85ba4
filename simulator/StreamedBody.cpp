#include "StreamedBody.h"

#include <QTcpSocket>

namespace {

constexpr qint64 kPiece = 65536;
// Writes stop while this much is still waiting for the client, so a client that reads slowly
// costs the simulator no memory.
constexpr qint64 kMaxBuffered = 4 * kPiece;

QByteArray header(const QByteArray &contentType, const QByteArray &lengthHeader)
{
    return "HTTP/1.1 200 OK\r\nContent-Type: " + contentType + "\r\n" + lengthHeader + "\r\n\r\n";
}

} // namespace

StreamedBody::StreamedBody(QTcpSocket *socket, Kind kind)
    : QObject(socket)
    , m_socket(socket)
    , m_kind(kind)
{
    connect(socket, &QTcpSocket::bytesWritten, this, &StreamedBody::writeMore);
}

void StreamedBody::sendSized(QTcpSocket *socket, const QByteArray &contentType, qint64 length)
{
    auto *body = new StreamedBody(socket, Kind::Sized);
    body->m_remaining = length;
    socket->write(header(contentType, "Content-Length: " + QByteArray::number(length)));
    body->writeMore();
}

void StreamedBody::sendEndless(QTcpSocket *socket, const QByteArray &contentType)
{
    auto *body = new StreamedBody(socket, Kind::Endless);
    socket->write(header(contentType, "Transfer-Encoding: chunked"));
    body->writeMore();
}

void StreamedBody::sendTrickled(QTcpSocket *socket, const QByteArray &contentType, const QByteArray &body,
                                int periodMs)
{
    auto *stream = new StreamedBody(socket, Kind::Trickled);
    stream->m_body = body;
    socket->write(header(contentType, "Content-Length: " + QByteArray::number(body.size())));
    connect(&stream->m_trickle, &QTimer::timeout, stream, [stream] {
        if (stream->m_body.isEmpty()) {
            stream->m_trickle.stop();
            return;
        }
        stream->m_socket->write(stream->m_body.left(1));
        stream->m_body.remove(0, 1);
    });
    stream->m_trickle.start(periodMs);
}

void StreamedBody::writeMore()
{
    if (m_kind == Kind::Trickled)
        return;
    static const QByteArray zeros(kPiece, '\0');
    while (m_socket->bytesToWrite() < kMaxBuffered && m_socket->state() == QAbstractSocket::ConnectedState) {
        if (m_kind == Kind::Endless) {
            m_socket->write(QByteArray::number(kPiece, 16) + "\r\n" + zeros + "\r\n");
            continue;
        }
        if (m_remaining == 0)
            return;
        const qint64 piece = std::min(m_remaining, kPiece);
        m_socket->write(zeros.constData(), piece);
        m_remaining -= piece;
    }
}
