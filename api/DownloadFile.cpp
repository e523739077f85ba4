#include "DownloadFile.h"

#include <QNetworkReply>

namespace {

constexpr qint64 kPiece = 65536;

bool isSuccess(const QNetworkReply *reply)
{
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    return status >= 200 && status < 300;
}

} // namespace

DownloadFile::DownloadFile(const QString &fileName, QNetworkReply *reply)
    : QObject(reply)
    , m_reply(reply)
    , m_file(fileName)
{
    connect(reply, &QNetworkReply::readyRead, this, &DownloadFile::onReadyRead);
}

void DownloadFile::onReadyRead()
{
    // The body of an error answer is the reply's, for its message.
    if (m_error != QFileDevice::NoError || !isSuccess(m_reply))
        return;
    if ((!m_file.isOpen() && !open()) || !writeAvailable())
        m_reply->abort();
}

bool DownloadFile::open()
{
    if (m_file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return true;
    m_error = m_file.error();
    return false;
}

bool DownloadFile::writeAvailable()
{
    for (QByteArray piece = m_reply->read(kPiece); !piece.isEmpty(); piece = m_reply->read(kPiece)) {
        if (m_file.write(piece) != piece.size()) {
            m_error = m_file.error();
            return false;
        }
    }
    return true;
}

QFileDevice::FileError DownloadFile::finish()
{
    if (m_error != QFileDevice::NoError)
        return m_error;
    // An empty body never said readyRead.
    if ((!m_file.isOpen() && !open()) || !writeAvailable())
        return m_error;
    m_file.close();
    return m_file.error();
}

void DownloadFile::discard()
{
    if (!m_file.isOpen())
        return;
    m_file.close();
    m_file.remove();
}

QFileDevice::FileError DownloadFile::error() const
{
    return m_error;
}
