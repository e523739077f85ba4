#pragma once

#include <QFile>
#include <QObject>
#include <QString>

class QNetworkReply;

// Writes a download to its file while it arrives, so that an export of any size costs no more
// memory than one piece of it. The file is made when the first byte of a successful answer
// arrives, never over an existing one; an error answer leaves no file behind.
class DownloadFile : public QObject
{
    Q_OBJECT

public:
    // Becomes a child of the reply and follows it from here on.
    DownloadFile(const QString &fileName, QNetworkReply *reply);

    // Writes what is left of a finished reply and closes the file.
    QFileDevice::FileError finish();
    // Removes what was written of a download that failed.
    void discard();
    // The first error met while writing; the reply was aborted then.
    QFileDevice::FileError error() const;

private:
    void onReadyRead();
    bool open();
    bool writeAvailable();

    QNetworkReply *m_reply;
    QFile m_file;
    QFileDevice::FileError m_error = QFileDevice::NoError;
};
