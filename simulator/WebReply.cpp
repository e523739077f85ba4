#include "WebReply.h"

#include <QJsonObject>

WebReply WebReply::json(const QJsonDocument &document, int status)
{
    return json(document.toJson(QJsonDocument::Compact), status);
}

WebReply WebReply::json(const QByteArray &compactJson, int status)
{
    WebReply reply;
    reply.status = status;
    reply.contentType = QByteArrayLiteral("application/json");
    reply.body = compactJson;
    return reply;
}

WebReply WebReply::message(const QString &text, int status)
{
    return json(QJsonDocument(QJsonObject{{QStringLiteral("msg"), text}}), status);
}

WebReply WebReply::data(const QByteArray &contentType, const QByteArray &body)
{
    WebReply reply;
    reply.contentType = contentType;
    reply.body = body;
    return reply;
}
