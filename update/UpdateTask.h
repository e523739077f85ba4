#pragma once

#include <QAbstractSocket>
#include <QObject>
#include <QSharedPointer>
#include <QString>

class CameraItem;
class QTcpSocket;

// Sends one update file to one camera's update port and stores the camera's answer in
// its item. Meant to live on a thread of its own: init() and every later slot run there.
class UpdateTask : public QObject
{
    Q_OBJECT

public:
    // The key is derived here, once: later changes of the credentials do not reach this task.
    UpdateTask(const QSharedPointer<CameraItem> &camera, const QString &filePath, quint16 port,
               const QString &adminUser, const QString &adminPassword);

signals:
    void sendingUpdate();
    void applyingUpdate();
    void updateStatus();
    void error(QString msg);

public slots:
    void init();
    void sendFile();
    void readStatus();
    void onError(QAbstractSocket::SocketError socketError);

private:
    QSharedPointer<CameraItem> m_camera;
    // Child of the task, made by init() on the task's thread.
    QTcpSocket *m_socket = nullptr;
    QString m_filePath;
    quint16 m_port;
    QString m_key;
};
