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
    if (m_body.size() + m_reply->bytesAvailable() > m_limit) {
        m_tooLarge = true;
        m_body.clear();
        m_reply->abort();
        return;
    }
    m_body += m_reply->readAll();
}

QByteArray ReplyBody::take()
{
    onReadyRead();
    return std::move(m_body);
}

bool ReplyBody::isTooLarge() const
{
    return m_tooLarge;
}

ReplyBody *ReplyBody::of(const QNetworkReply *reply)
{
    return reply->findChild<ReplyBody *>(QString(), Qt::FindDirectChildrenOnly);
}
