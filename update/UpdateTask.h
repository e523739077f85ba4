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
class QTimer;
class UpdateTokenEncoder;

// Sends one update file to one camera's update port and reports the camera's answer. Meant to
// live on a thread of its own: init() and every later slot run there. The token is produced
// only as fast as the network takes it, so a task holds a few chunks of it at a time whatever
// the size of the file. Every error text names the camera: "Camera SERIAL at ADDRESS: cause".
class UpdateTask : public QObject
{
    Q_OBJECT

public:
    // Applying firmware takes minutes; a camera is given this long to answer unless set.
    static constexpr std::chrono::seconds kDefaultStatusTimeout{15 * 60};

    // The key string is derived from the administrator's credentials by whoever starts the
    // task, once for all tasks of one start.
    UpdateTask(const QSharedPointer<CameraItem> &camera, const QString &filePath, quint16 port,
               const QString &key);
    ~UpdateTask() override;

    // How long a camera may leave sent data unacknowledged, or stay silent to keep-alive probes
    // while it applies the update, before the socket reports it lost; a minute unless set. Takes
    // effect when the connection is made; only tests shorten it.
    void setDeadPeerTimeout(std::chrono::seconds timeout);
    // How long a camera that took the whole token may take to answer its status before the
    // task gives up on it.
    void setStatusTimeout(std::chrono::seconds timeout);

signals:
    void sendingUpdate();
    void applyingUpdate();
    // The camera's status code. The task leaves the camera's item alone: the camera tree is
    // changed on the GUI thread only.
    void updateStatus(int code);
    void error(QString msg);

public slots:
    void init();
    void sendFile();
    void readStatus();
    void onError(QAbstractSocket::SocketError socketError);

private:
    enum class State { Connecting, Sending, Applying, Ended };

    void sendMore();
    void onStatusTimeout();
    void detectDeadPeer();
    void stopSending();
    // Ends the task with its one error, the cause prefixed with the camera's name.
    void fail(const QString &cause);

    QSharedPointer<CameraItem> m_camera;
    // Children of the task, made by init() on the task's thread.
    QTcpSocket *m_socket = nullptr;
    QTimer *m_statusTimer = nullptr;
    QString m_filePath;
    quint16 m_port;
    QString m_key;
    std::chrono::seconds m_deadPeerTimeout{60};
    std::chrono::seconds m_statusTimeout = kDefaultStatusTimeout;
    // Both exist while the token is being sent.
    std::unique_ptr<QFile> m_file;
    std::unique_ptr<UpdateTokenEncoder> m_encoder;
    State m_state = State::Connecting;
};
