#include "UpdateToken.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QFile>
#include <QIODevice>
#include <QPasswordDigestor>
#include <QRandomGenerator64>
#include <QTemporaryFile>
#include <QtEndian>

#include <sys/mman.h>
#include <unistd.h>

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>

namespace {

constexpr char kVersion = char(0x80);
constexpr int kBlockSize = 16;
constexpr int kKeySize = 16;
constexpr int kMacSize = 32;
constexpr int kHeaderSize = 1 + 8 + kBlockSize;
constexpr int kTokenOverhead = kHeaderSize + kMacSize;
constexpr int kDerivationRounds = 3;
constexpr int kDerivationIterations = 1000;
constexpr qint64 kStreamChunk = 6144;
constexpr qint64 kFileChunk = 4096;
// A multiple of 3, so that pieces encoded one by one join into one valid text.
constexpr qint64 kEncodePiece = 4110;

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;
using MacContext = std::unique_ptr<EVP_MAC_CTX, decltype(&EVP_MAC_CTX_free)>;
using MacAlgorithm = std::unique_ptr<EVP_MAC, decltype(&EVP_MAC_free)>;

// Only an exhausted or broken crypto library gets here; the user can do nothing but retry.
void ensure(bool ok)
{
    if (!ok)
        throw std::runtime_error("Could not encrypt update file");
}

const unsigned char *bytes(const QByteArray &data)
{
    return reinterpret_cast<const unsigned char *>(data.constData());
}

unsigned char *bytes(char *data)
{
    return reinterpret_cast<unsigned char *>(data);
}

// The cameras expect every IV byte below 0xFF: each byte is a 32-bit draw scaled to 0..254.
QByteArray drawIv()
{
    QRandomGenerator *generator = QRandomGenerator64::system();
    QByteArray iv(kBlockSize, Qt::Uninitialized);
    for (char &byte : iv) {
        const quint32 draw = generator->generate();
        byte = char((quint64(draw) * 255) >> 32);
    }
    return iv;
}

QByteArray tokenHeader(const QByteArray &iv)
{
    QByteArray header;
    header.reserve(kHeaderSize);
    header.append(kVersion);
    const qint64 timestamp = qToBigEndian(QDateTime::currentSecsSinceEpoch());
    header.append(reinterpret_cast<const char *>(&timestamp), sizeof timestamp);
    header.append(iv);
    return header;
}

// Padding is disabled because the writers pad the last chunk themselves; the context
// keeps the last ciphertext block, so chunks chain as one CBC stream.
CipherContext startCipher(const UpdateKeyPair &keys, const QByteArray &iv)
{
    CipherContext context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    ensure(context != nullptr);
    ensure(EVP_EncryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, bytes(keys.encryptionKey), bytes(iv)) == 1);
    ensure(EVP_CIPHER_CTX_set_padding(context.get(), 0) == 1);
    return context;
}

// Returns the number of ciphertext bytes that replaced the plain text at data.
int encryptInPlace(EVP_CIPHER_CTX *context, char *data, int length)
{
    int produced = 0;
    ensure(EVP_EncryptUpdate(context, bytes(data), &produced, bytes(data), length) == 1);
    return produced;
}

MacContext startMac(const UpdateKeyPair &keys)
{
    const MacAlgorithm algorithm(EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_HMAC, nullptr), &EVP_MAC_free);
    ensure(algorithm != nullptr);
    MacContext context(EVP_MAC_CTX_new(algorithm.get()), &EVP_MAC_CTX_free);
    ensure(context != nullptr);
    char digest[] = "SHA256";
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
        OSSL_PARAM_construct_end(),
    };
    ensure(EVP_MAC_init(context.get(), bytes(keys.signingKey), size_t(keys.signingKey.size()), parameters) == 1);
    return context;
}

void addToMac(EVP_MAC_CTX *context, const char *data, qsizetype length)
{
    ensure(EVP_MAC_update(context, reinterpret_cast<const unsigned char *>(data), size_t(length)) == 1);
}

QByteArray finishMac(EVP_MAC_CTX *context)
{
    QByteArray mac(kMacSize, Qt::Uninitialized);
    size_t length = 0;
    ensure(EVP_MAC_final(context, reinterpret_cast<unsigned char *>(mac.data()), &length, size_t(mac.size())) == 1);
    ensure(length == size_t(kMacSize));
    return mac;
}

// PKCS#7: a file that ends on a block boundary still gets a whole block of padding.
// The pad length follows the running total rather than the last read alone, so a short
// read in the middle of a file cannot misalign the final block.
qint64 appendPadding(char *chunk, qint64 count, qint64 total)
{
    const int padding = kBlockSize - int(total % kBlockSize);
    std::fill_n(chunk + count, padding, char(padding));
    return count + padding;
}

// EVP_EncodeBlock writes the standard alphabet; the token uses the URL-safe one, which
// differs only in the two characters for 62 and 63.
qsizetype encodeBase64Url(const char *data, qsizetype length, char *text)
{
    const int produced = EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text),
                                         reinterpret_cast<const unsigned char *>(data), int(length));
    for (int i = 0; i < produced; ++i) {
        const char c = text[i];
        text[i] = c == '+' ? '-' : (c == '/' ? '_' : c);
    }
    return produced;
}

// Encodes in pieces of whole 3-byte groups: the text is the same as encoding all at
// once, without a second copy of the token in memory.
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

// The streaming writer holds the whole token until its end. Backing that buffer with huge
// pages spares the many small page faults of filling it, which otherwise cost as much as
// the encryption. Only whole pages inside the reserved capacity are advised.
void adviseHugePages(QByteArray &buffer)
{
#ifdef MADV_HUGEPAGE
    const auto pageSize = quintptr(sysconf(_SC_PAGESIZE));
    const auto begin = (quintptr(buffer.data()) + pageSize - 1) & ~(pageSize - 1);
    const auto end = (quintptr(buffer.data()) + quintptr(buffer.capacity())) & ~(pageSize - 1);
    if (end > begin)
        madvise(reinterpret_cast<void *>(begin), end - begin, MADV_HUGEPAGE);
#else
    Q_UNUSED(buffer)
#endif
}

qint64 rawTokenLength(qint64 fileSize)
{
    return fileSize - fileSize % kBlockSize + kBlockSize + kTokenOverhead;
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
    const qint64 size = file.size();
    const qint64 rawLength = rawTokenLength(size);
    // The announced length always counts a padding block, also for an empty file, which
    // gets none: such a camera waits for characters that never come and rejects the file
    // as damaged, which is how cameras have always seen an empty update.
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
        // Only whole 6-byte groups are sent early, so the pieces join into one text.
        if (pending.size() % 6 == 0) {
            written += writeBase64Url(out, pending.constData(), pending.size());
            pending.clear();
        }
    }
    pending.append(finishMac(mac.get()));
    written += writeBase64Url(out, pending.constData(), pending.size());
    return written;
}

void prepareUpdateFile(const UpdateKeyPair &keys, const QString &inputPath, const QString &outputPath)
{
    QTemporaryFile token;
    if (!token.open())
        throw std::runtime_error("Could not prepare file");
    const QByteArray iv = drawIv();
    token.write(tokenHeader(iv));
    token.flush();
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
        token.write(chunk.data(), encryptInPlace(cipher.get(), chunk.data(), int(count)));
    }
    token.flush();
    input.close();

    // The signature covers what actually reached the disk, read back through a second handle.
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
    token.write(finishMac(mac.get()));
    token.flush();
    token.seek(0);
    signedPart.close();

    QFile output(outputPath);
    if (!output.open(QIODevice::WriteOnly))
        throw std::runtime_error("Could save file");
    std::array<char, kEncodePiece> piece{};
    for (;;) {
        const qint64 count = token.read(piece.data(), kEncodePiece);
        if (count == 0)
            break;
        if (count < 0) {
            output.close();
            token.close();
            throw std::runtime_error("Could not secure update file");
        }
        writeBase64Url(output, piece.data(), count);
    }
    output.flush();
    output.close();
    token.close();
}
