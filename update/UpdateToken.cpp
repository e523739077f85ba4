#include "UpdateToken.h"

#include "UpdateCrypto.h"
#include "UpdateTokenEncoder.h"

#include <QCryptographicHash>
#include <QFile>
#include <QIODevice>
#include <QPasswordDigestor>
#include <QTemporaryFile>

#include <array>
#include <stdexcept>

using namespace UpdateCrypto;

namespace {

constexpr int kKeySize = 16;
constexpr int kDerivationRounds = 3;
constexpr int kDerivationIterations = 1000;
constexpr qint64 kFileChunk = 4096;
// A multiple of 3, so that pieces encoded one by one join into one valid text.
constexpr qint64 kEncodePiece = 4110;
constexpr const char *kSendFailure = "Could not send update file";
constexpr const char *kPrepareFailure = "Could not prepare file";
constexpr const char *kSaveFailure = "Could save file";

// A short write means a full disk or a device that gave up: what it holds is no token.
void write(QIODevice &out, const char *data, qint64 length, const char *failure)
{
    if (out.write(data, length) != length)
        throw std::runtime_error(failure);
}

void write(QIODevice &out, const QByteArray &data, const char *failure)
{
    write(out, data.constData(), data.size(), failure);
}

void flush(QFileDevice &file, const char *failure)
{
    if (!file.flush())
        throw std::runtime_error(failure);
}

}

QString deriveUpdateKey(const QString &adminUser, const QString &adminPassword)
{
    Q_UNUSED(adminUser)
    QByteArray key = adminPassword.toUtf8();
    for (int round = 0; round < kDerivationRounds; ++round)
        key = QPasswordDigestor::deriveKeyPbkdf2(QCryptographicHash::Sha1, key, QByteArray(kUpdateKeySalts[round]),
                                                 kDerivationIterations, kKeySize);
    return QString::fromLatin1((key + key).toBase64(QByteArray::Base64UrlEncoding));
}

UpdateKeyPair splitUpdateKey(const QString &key)
{
    const QByteArray decoded = QByteArray::fromBase64(key.toLatin1(), QByteArray::Base64UrlEncoding);
    if (decoded.size() < 2 * kKeySize)
        throw std::invalid_argument("Key too short");
    return {decoded.left(kKeySize), decoded.mid(kKeySize, kKeySize)};
}

qint64 writeUpdateToken(const UpdateKeyPair &keys, QIODevice &file, QIODevice &out)
{
    UpdateTokenEncoder encoder(keys, file);
    write(out, encoder.lengthPrefix(), kSendFailure);
    qint64 written = 0;
    while (!encoder.atEnd()) {
        const QByteArrayView text = encoder.nextText();
        write(out, text.data(), text.size(), kSendFailure);
        written += text.size();
    }
    return written;
}

void prepareUpdateFile(const UpdateKeyPair &keys, const QString &inputPath, const QString &outputPath)
{
    QTemporaryFile token;
    if (!token.open())
        throw std::runtime_error(kPrepareFailure);
    const QByteArray iv = drawIv();
    write(token, tokenHeader(iv), kPrepareFailure);
    flush(token, kPrepareFailure);
    const CipherContext cipher = startCipher(keys, iv);

    QFile input(inputPath);
    if (!input.open(QIODevice::ReadOnly))
        throw std::runtime_error("Could not process file");
    const qint64 size = input.size();
    qint64 total = 0;
    std::array<char, kFileChunk + kBlockSize> chunk{};
    for (;;) {
        qint64 count = input.read(chunk.data(), kFileChunk);
        if (count == 0)
            break;
        if (count < 0) {
            input.close();
            throw std::runtime_error("Could not read update file");
        }
        total += count;
        if (total == size)
            count = appendPadding(chunk.data(), count, total);
        write(token, chunk.data(), encryptInPlace(cipher.get(), chunk.data(), int(count)), kPrepareFailure);
    }
    // The signature below covers what reached the disk, so a write the disk refused must end
    // here: signed, the shortened ciphertext would pass for a whole token.
    flush(token, kPrepareFailure);
    input.close();

    QFile signedPart(token.fileName());
    if (!signedPart.open(QIODevice::ReadOnly))
        throw std::runtime_error("Could not sign file");
    const MacContext mac = startMac(keys);
    for (;;) {
        const qint64 count = signedPart.read(chunk.data(), kFileChunk);
        if (count == 0)
            break;
        if (count < 0)
            throw std::runtime_error("Could not create signature");
        addToMac(mac.get(), chunk.data(), count);
    }
    write(token, finishMac(mac.get()), kPrepareFailure);
    flush(token, kPrepareFailure);
    token.seek(0);
    signedPart.close();

    QFile output(outputPath);
    if (!output.open(QIODevice::WriteOnly))
        throw std::runtime_error(kSaveFailure);
    std::array<char, kEncodePiece> piece{};
    std::array<char, kEncodePiece / 3 * 4 + 1> text{};
    for (;;) {
        const qint64 count = token.read(piece.data(), kEncodePiece);
        if (count == 0)
            break;
        if (count < 0) {
            output.close();
            token.close();
            throw std::runtime_error("Could not secure update file");
        }
        write(output, text.data(), encodeBase64Url(piece.data(), count, text.data()), kSaveFailure);
    }
    flush(output, kSaveFailure);
    output.close();
    token.close();
}
