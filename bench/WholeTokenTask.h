#pragma once

#include <QAbstractSocket>
#include <QObject>
#include <QSharedPointer>
#include <QString>

class CameraItem;
class QTcpSocket;

// The update task as it was before the token was streamed, kept only to be measured against:
// the writer builds the whole token in memory, and the socket's write buffer then takes the
// whole token text, before anything goes out. Same signals and slots as UpdateTask.
class WholeTokenTask : public QObject
{
    Q_OBJECT

public:
    WholeTokenTask(const QSharedPointer<CameraItem> &camera, const QString &filePath, quint16 port,
                   const QString &key);

signals:
    void sendingUpdate();
    void applyingUpdate();
    void updateStatus(int code);
    void error(QString msg);

public slots:
    void init();
    void sendFile();
    void readStatus();
    void onError(QAbstractSocket::SocketError socketError);

private:
    QSharedPointer<CameraItem> m_camera;
    QTcpSocket *m_socket = nullptr;
    QString m_filePath;
    quint16 m_port;
    QString m_key;
};
