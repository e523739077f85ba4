#include "UpdateCrypto.h"

#include "UpdateToken.h"

#include <QDateTime>
#include <QRandomGenerator64>
#include <QtEndian>

#include <openssl/core_names.h>
#include <openssl/params.h>

#include <algorithm>
#include <stdexcept>

namespace UpdateCrypto {

namespace {

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

}

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

qint64 rawTokenLength(qint64 fileSize)
{
    return fileSize - fileSize % kBlockSize + kBlockSize + kTokenOverhead;
}

// Padding is disabled because the writers pad the last chunk themselves.
CipherContext startCipher(const UpdateKeyPair &keys, const QByteArray &iv)
{
    CipherContext context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    ensure(context != nullptr);
    ensure(EVP_EncryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, bytes(keys.encryptionKey), bytes(iv)) == 1);
    ensure(EVP_CIPHER_CTX_set_padding(context.get(), 0) == 1);
    return context;
}

int encryptInPlace(EVP_CIPHER_CTX *context, char *data, int length)
{
    int produced = 0;
    ensure(EVP_EncryptUpdate(context, bytes(data), &produced, bytes(data), length) == 1);
    return produced;
}

// A file that ends on a block boundary still gets a whole block of padding. The pad length
// follows the running total rather than the last read alone, so a short read in the middle
// of a file cannot misalign the final block.
qint64 appendPadding(char *chunk, qint64 count, qint64 total)
{
    const int padding = kBlockSize - int(total % kBlockSize);
    std::fill_n(chunk + count, padding, char(padding));
    return count + padding;
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

}
