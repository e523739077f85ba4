#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QObject>

class QNetworkReply;

// Collects a reply's body while it arrives, up to a limit: a camera that sends more is cut off
// at once instead of filling the memory. The body of a successful download is left to its file.
class ReplyBody : public QObject
{
    Q_OBJECT

public:
    enum class Kind { Held, Download };

    // Becomes a child of the reply and follows it from here on.
    ReplyBody(QNetworkReply *reply, qint64 limit, Kind kind);

    // The whole body of a finished reply; the reply holds none of it any more.
    QByteArray take();
    bool isTooLarge() const;

    static ReplyBody *of(const QNetworkReply *reply);

private:
    void onReadyRead();

    QNetworkReply *m_reply;
    qint64 m_limit;
    Kind m_kind;
    // Pieces as they came: one growing array would take up to twice the limit while it grows.
    QByteArrayList m_pieces;
    qint64 m_size = 0;
    bool m_tooLarge = false;
};
