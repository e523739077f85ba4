#include "UpdateSession.h"

#include "EventLog.h"
#include "UpdateTokenDecoder.h"

#include <QDir>
#include <QSaveFile>
#include <QTcpSocket>
#include <QVariant>
#include <QtEndian>

namespace {

constexpr qsizetype kLengthSize = 8;
constexpr int kUnknownError = -205;
// Long enough for the first segment to leave on its own, short enough for tests not to notice.
constexpr int kSplitDelayMs = 50;
// What the socket may hold before the session reads it: the client then waits on TCP's flow
// control, and the simulator's memory stays the same for any size of update.
constexpr qint64 kReadBufferSize = 64 * 1024;

} // namespace

UpdateSession::UpdateSession(QTcpSocket *socket, const CameraConfig &camera,
                             const Settings &settings, QObject *parent)
    : QObject(parent)
    , m_socket(socket)
    , m_camera(camera)
{
    m_socket->setParent(this);
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, QVariant(1));
    m_socket->setReadBufferSize(kReadBufferSize);

    if (verifies()) {
        if (!settings.storeDirectory.isEmpty()) {
            m_file = std::make_unique<QSaveFile>(
                QDir(settings.storeDirectory).filePath(camera.serial + QStringLiteral(".bin")));
            if (!m_file->open(QIODevice::WriteOnly)) {
                qWarning("camera %s: cannot write %s: %s", qPrintable(camera.serial),
                         qPrintable(m_file->fileName()), qPrintable(m_file->errorString()));
            }
        }
        // A store that cannot be opened still lets the token be checked; the commit then fails
        // and the client hears about it.
        QIODevice *sink = m_file && m_file->isOpen() ? m_file.get() : nullptr;
        m_decoder = std::make_unique<UpdateTokenDecoder>(settings.key, sink);
    }

    m_readTimer.setSingleShot(true);
    m_readTimer.setInterval(settings.readTimeoutMs);
    connect(&m_readTimer, &QTimer::timeout, this, &UpdateSession::onReadTimeout);
    connect(m_socket, &QTcpSocket::readyRead, this, &UpdateSession::onReadyRead);
    connect(m_socket, &QTcpSocket::disconnected, this, &UpdateSession::onDisconnected);
    m_readTimer.start();

    if (m_socket->bytesAvailable() > 0)
        onReadyRead();
}

UpdateSession::~UpdateSession() = default;

void UpdateSession::onReadyRead()
{
    QByteArray data = m_socket->readAll();
    if (m_state == State::Answered)
        return;
    m_readTimer.start();

    if (m_state == State::ReadingLength) {
        const qsizetype missing = kLengthSize - m_lengthPrefix.size();
        m_lengthPrefix += data.left(missing);
        data.remove(0, missing);
        if (m_lengthPrefix.size() < kLengthSize)
            return;
        m_announced = qFromBigEndian<quint64>(m_lengthPrefix.constData());
        m_state = State::ReadingToken;
        if (m_camera.updateBehaviour == CameraConfig::UpdateBehaviour::Early) {
            EventLog::write(QStringLiteral("update-fault %1 early").arg(m_camera.serial));
            m_socket->write(QByteArray::number(UpdateTokenDecoder::kWrongPassword));
        }
    }

    // Anything beyond the announced length is not part of the token and is dropped.
    const quint64 wanted = m_announced - m_received;
    const qsizetype take =
        static_cast<qsizetype>(std::min<quint64>(wanted, static_cast<quint64>(data.size())));
    if (m_decoder)
        m_decoder->addText(QByteArrayView(data).first(take));
    m_received += static_cast<quint64>(take);
    if (m_received == m_announced)
        stopReading(true);
}

void UpdateSession::onReadTimeout()
{
    if (m_state != State::Answered)
        stopReading(false);
}

void UpdateSession::onDisconnected()
{
    if (m_state != State::Answered) {
        m_state = State::Answered;
        EventLog::write(QStringLiteral("update-received %1 %2 %3")
                            .arg(m_camera.serial)
                            .arg(m_announced)
                            .arg(m_received));
        if (verifies()) {
            EventLog::write(QStringLiteral("update-failed %1 %2")
                                .arg(m_camera.serial)
                                .arg(UpdateTokenDecoder::kDamaged));
        }
    }
    deleteLater();
}

void UpdateSession::stopReading(bool complete)
{
    m_state = State::Answered;
    m_readTimer.stop();
    EventLog::write(QStringLiteral("update-received %1 %2 %3")
                        .arg(m_camera.serial)
                        .arg(m_announced)
                        .arg(m_received));

    using Behaviour = CameraConfig::UpdateBehaviour;
    switch (m_camera.updateBehaviour) {
    case Behaviour::Verify:
        answer(QByteArray::number(verify(complete)));
        break;
    case Behaviour::Split:
        answerSplit(QByteArray::number(verify(complete)));
        break;
    case Behaviour::FixedCode:
        EventLog::write(
            QStringLiteral("update-fault %1 code:%2").arg(m_camera.serial).arg(m_camera.updateCode));
        answer(QByteArray::number(m_camera.updateCode));
        break;
    case Behaviour::Garbage:
        EventLog::write(QStringLiteral("update-fault %1 garbage").arg(m_camera.serial));
        answer(QByteArrayLiteral("OK!"));
        break;
    case Behaviour::Silent:
        EventLog::write(QStringLiteral("update-fault %1 silent").arg(m_camera.serial));
        m_socket->disconnectFromHost();
        break;
    case Behaviour::Mute:
        EventLog::write(QStringLiteral("update-fault %1 mute").arg(m_camera.serial));
        break;
    case Behaviour::Early:
        m_socket->disconnectFromHost();
        break;
    case Behaviour::Refuse:
        break;
    }
}

int UpdateSession::verify(bool complete)
{
    int code = complete ? m_decoder->finish() : UpdateTokenDecoder::kDamaged;
    if (code == UpdateTokenDecoder::kAccepted && m_file && !m_file->commit()) {
        qWarning("camera %s: cannot store %s: %s", qPrintable(m_camera.serial),
                 qPrintable(m_file->fileName()), qPrintable(m_file->errorString()));
        code = kUnknownError;
    }
    if (code == UpdateTokenDecoder::kAccepted) {
        EventLog::write(
            QStringLiteral("updated %1 %2").arg(m_camera.serial).arg(m_decoder->plaintextSize()));
    } else {
        EventLog::write(QStringLiteral("update-failed %1 %2").arg(m_camera.serial).arg(code));
    }
    return code;
}

void UpdateSession::answer(const QByteArray &text)
{
    m_socket->write(text);
    m_socket->flush();
    m_socket->disconnectFromHost();
}

void UpdateSession::answerSplit(const QByteArray &text)
{
    // A blank and the first two characters, then the rest and a line feed: for -202 the client
    // sees " -2" first and "02\n" only after a pause.
    const QByteArray whole = ' ' + text + '\n';
    m_socket->write(whole.left(3));
    m_socket->flush();
    QTimer::singleShot(kSplitDelayMs, this, [this, rest = whole.mid(3)] { answer(rest); });
}

bool UpdateSession::verifies() const
{
    return m_camera.updateBehaviour == CameraConfig::UpdateBehaviour::Verify
        || m_camera.updateBehaviour == CameraConfig::UpdateBehaviour::Split;
}
