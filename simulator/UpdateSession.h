#pragma once

#include "CameraConfig.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTimer>

#include <memory>

class QSaveFile;
class QTcpSocket;
class UpdateTokenDecoder;

// One client connection to a camera's update service: an 8-byte big-endian length L, then L
// characters of token text. The token is checked while it streams in; when L characters have
// arrived, or nothing more arrives within the read time-out (a short token), the camera answers
// with its status code and closes the connection. Deletes itself once the connection is gone.
class UpdateSession : public QObject
{
    Q_OBJECT

public:
    struct Settings
    {
        QByteArray key; // UpdateKey::derive of the camera's admin password
        QString storeDirectory;
        int readTimeoutMs = 1500;
    };

    // Takes over the socket.
    UpdateSession(QTcpSocket *socket, const CameraConfig &camera, const Settings &settings,
                  QObject *parent);
    ~UpdateSession() override;

private:
    enum class State { ReadingLength, ReadingToken, Answered };

    void onReadyRead();
    void onReadTimeout();
    void onDisconnected();
    void stopReading(bool complete);
    int verify(bool complete);
    void answer(const QByteArray &text);
    void answerSplit(const QByteArray &text);
    bool verifies() const;

    QTcpSocket *m_socket;
    CameraConfig m_camera;
    QTimer m_readTimer;
    std::unique_ptr<QSaveFile> m_file;
    std::unique_ptr<UpdateTokenDecoder> m_decoder;
    QByteArray m_lengthPrefix;
    quint64 m_announced = 0;
    quint64 m_received = 0;
    State m_state = State::ReadingLength;
};
