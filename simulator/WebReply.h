#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QList>
#include <QPair>
#include <QString>

// One answer of a camera's Web-API, before it goes out on the connection.
struct WebReply
{
    int status = 200;
    QByteArray contentType;
    QByteArray body;
    QList<QPair<QByteArray, QByteArray>> headers; // besides Content-Type and Content-Length

    static WebReply json(const QJsonDocument &document, int status = 200);
    static WebReply json(const QByteArray &compactJson, int status = 200);
    // The camera's usual answer to operations and failures: {"msg": text}.
    static WebReply message(const QString &text, int status = 200);
    static WebReply data(const QByteArray &contentType, const QByteArray &body);
};
