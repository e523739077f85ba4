#pragma once

#include <QAbstractSocket>
#include <QObject>
#include <QSharedPointer>
#include <QString>

#include <chrono>
#include <memory>

class CameraItem;
class QFile;
class QTcpSocket;
class UpdateTokenEncoder;

// Sends one update file to one camera's update port and stores the camera's answer in
// its item. Meant to live on a thread of its own: init() and every later slot run there.
// The token is produced only as fast as the network takes it, so a task holds a few chunks of
// it at a time whatever the size of the file.
class UpdateTask : public QObject
{
    Q_OBJECT

public:
    // The key is derived here, once: later changes of the credentials do not reach this task.
    UpdateTask(const QSharedPointer<CameraItem> &camera, const QString &filePath, quint16 port,
               const QString &adminUser, const QString &adminPassword);
    ~UpdateTask() override;

    // How long a camera may leave sent data unacknowledged, or stay silent to keep-alive probes
    // while it applies the update, before the socket reports it lost; a minute unless set. Takes
    // effect when the connection is made; only tests shorten it.
    void setDeadPeerTimeout(std::chrono::seconds timeout);

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
    void sendMore();
    void detectDeadPeer();
    void stopSending();
    // Ends the task with its one error.
    void fail(const QString &text);

    QSharedPointer<CameraItem> m_camera;
    // Child of the task, made by init() on the task's thread.
    QTcpSocket *m_socket = nullptr;
    QString m_filePath;
    quint16 m_port;
    QString m_key;
    std::chrono::seconds m_deadPeerTimeout{60};
    // Both exist while the token is being sent.
    std::unique_ptr<QFile> m_file;
    std::unique_ptr<UpdateTokenEncoder> m_encoder;
    // Set by the last signal a task emits, its status or its error.
    bool m_ended = false;
};
