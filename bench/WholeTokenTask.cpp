#include "WholeTokenTask.h"

#include "CameraItem.h"
#include "UpdateCrypto.h"
#include "UpdateToken.h"

#include <QFile>
#include <QTcpSocket>
#include <QtEndian>

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

using namespace UpdateCrypto;

namespace {

constexpr qint64 kStreamChunk = 6144;
constexpr qint64 kEncodePiece = 4110;

qint64 writeBase64Url(QIODevice &out, const char *data, qsizetype length)
{
    std::array<char, kEncodePiece / 3 * 4 + 1> text;
    qint64 written = 0;
    for (qsizetype offset = 0; offset < length; offset += kEncodePiece) {
        const qsizetype piece = qMin<qsizetype>(kEncodePiece, length - offset);
        const qsizetype produced = encodeBase64Url(data + offset, piece, text.data());
        out.write(text.data(), produced);
        written += produced;
    }
    return written;
}

void adviseHugePages(QByteArray &buffer)
{
    const auto pageSize = quintptr(sysconf(_SC_PAGESIZE));
    const auto begin = (quintptr(buffer.data()) + pageSize - 1) & ~(pageSize - 1);
    const auto end = (quintptr(buffer.data()) + quintptr(buffer.capacity())) & ~(pageSize - 1);
    if (end > begin)
        madvise(reinterpret_cast<void *>(begin), end - begin, MADV_HUGEPAGE);
}

// The writer as it was: the pending buffer is flushed only at lengths that are multiples of 6,
// which a 25-byte header followed by 6144-byte chunks never reaches before the end.
qint64 writeWholeToken(const UpdateKeyPair &keys, QIODevice &file, QIODevice &out)
{
    const qint64 size = file.size();
    const qint64 rawLength = rawTokenLength(size);
    const qint64 announced = (rawLength + 2) / 3 * 4;
    const MacContext mac = startMac(keys);
    const QByteArray iv = drawIv();
    const CipherContext cipher = startCipher(keys, iv);

    QByteArray pending;
    pending.reserve(rawLength);
    adviseHugePages(pending);
    pending.append(tokenHeader(iv));
    addToMac(mac.get(), pending.constData(), pending.size());
    const quint64 prefix = qToBigEndian(quint64(announced));
    out.write(reinterpret_cast<const char *>(&prefix), sizeof prefix);

    qint64 written = 0;
    qint64 total = 0;
    std::array<char, kStreamChunk + kBlockSize> chunk{};
    for (;;) {
        qint64 count = file.read(chunk.data(), kStreamChunk);
        if (count == 0)
            break;
        if (count < 0) {
            file.close();
            throw std::runtime_error("Could not read update file");
        }
        total += count;
        if (total == size)
            count = appendPadding(chunk.data(), count, total);
        const int produced = encryptInPlace(cipher.get(), chunk.data(), int(count));
        pending.append(chunk.data(), produced);
        addToMac(mac.get(), chunk.data(), produced);
        if (pending.size() % 6 == 0) {
            written += writeBase64Url(out, pending.constData(), pending.size());
            pending.clear();
        }
    }
    pending.append(finishMac(mac.get()));
    written += writeBase64Url(out, pending.constData(), pending.size());
    return written;
}

}

WholeTokenTask::WholeTokenTask(const QSharedPointer<CameraItem> &camera, const QString &filePath, quint16 port,
                               const QString &key)
    : m_camera(camera)
    , m_filePath(filePath)
    , m_port(port)
    , m_key(key)
{
}

void WholeTokenTask::init()
{
    m_socket = new QTcpSocket(this);
    m_socket->moveToThread(thread());
    connect(m_socket, &QTcpSocket::errorOccurred, this, &WholeTokenTask::onError);
    connect(m_socket, &QTcpSocket::connected, this, &WholeTokenTask::sendFile);
    connect(m_socket, &QTcpSocket::readyRead, this, &WholeTokenTask::readStatus);
    m_socket->connectToHost(m_camera->address(), m_port, QIODevice::ReadWrite);
}

void WholeTokenTask::sendFile()
{
    QFile file(m_filePath);
    if (!file.open(QIODevice::ReadOnly)) {
        emit error(QStringLiteral("Could not open update file."));
        return;
    }
    emit sendingUpdate();
    try {
        writeWholeToken(splitUpdateKey(m_key), file, *m_socket);
        m_socket->flush();
        emit applyingUpdate();
    } catch (const std::exception &failure) {
        emit error(QString::fromUtf8(failure.what()));
    }
}

void WholeTokenTask::readStatus()
{
    const QByteArray reply = m_socket->readAll();
    m_socket->close();
    bool ok = false;
    const int code = reply.toInt(&ok, 10);
    if (!ok) {
        emit error(QStringLiteral("Update status could not be gathered"));
        return;
    }
    emit updateStatus(code);
}

void WholeTokenTask::onError(QAbstractSocket::SocketError socketError)
{
    if (m_socket->isOpen())
        m_socket->close();
    emit error(QStringLiteral("Camera at %0: socket error %1").arg(m_camera->addressText()).arg(int(socketError)));
}
