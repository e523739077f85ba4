#include "ReplyBody.h"

#include <QNetworkReply>

ReplyBody::ReplyBody(QNetworkReply *reply, qint64 limit, Kind kind)
    : QObject(reply)
    , m_reply(reply)
    , m_limit(limit)
    , m_kind(kind)
{
    connect(reply, &QNetworkReply::readyRead, this, &ReplyBody::onReadyRead);
}

void ReplyBody::onReadyRead()
{
    if (m_tooLarge)
        return;
    if (m_kind == Kind::Download) {
        const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (status >= 200 && status < 300)
            return;
    }
    if (m_size + m_reply->bytesAvailable() > m_limit) {
        m_tooLarge = true;
        m_pieces.clear();
        m_reply->abort();
        return;
    }
    m_pieces.append(m_reply->readAll());
    m_size += m_pieces.constLast().size();
}

QByteArray ReplyBody::take()
{
    onReadyRead();
    const QByteArray body = m_pieces.join();
    m_pieces.clear();
    return body;
}

bool ReplyBody::isTooLarge() const
{
    return m_tooLarge;
}

ReplyBody *ReplyBody::of(const QNetworkReply *reply)
{
    return reply->findChild<ReplyBody *>(QString(), Qt::FindDirectChildrenOnly);
}
