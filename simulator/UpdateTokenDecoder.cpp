#include "UpdateTokenDecoder.h"

#include <QIODevice>

#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace {

constexpr char kVersion = '\x80';
constexpr qsizetype kHeaderSize = 1 + 8 + 16;
constexpr qsizetype kIvOffset = 1 + 8;
constexpr qsizetype kMacSize = 32;
constexpr int kBlockSize = 16;
constexpr auto kBase64Options =
    QByteArray::Base64UrlEncoding | QByteArray::AbortOnBase64DecodingErrors;

const unsigned char *bytes(const QByteArray &data)
{
    return reinterpret_cast<const unsigned char *>(data.constData());
}

} // namespace

void UpdateTokenDecoder::CipherFree::operator()(evp_cipher_ctx_st *context) const
{
    EVP_CIPHER_CTX_free(context);
}

UpdateTokenDecoder::UpdateTokenDecoder(const QByteArray &key, QIODevice *sink)
    : m_key(key)
    , m_sink(sink)
    , m_cipher(EVP_CIPHER_CTX_new())
    , m_mac(QCryptographicHash::Sha256, key)
{
}

UpdateTokenDecoder::~UpdateTokenDecoder() = default;

void UpdateTokenDecoder::addText(QByteArrayView text)
{
    if (m_damaged || text.isEmpty())
        return;
    if (m_padded) {
        // Padding may only end the text.
        m_damaged = true;
        return;
    }
    m_text.append(text.data(), text.size());

    const qsizetype complete = m_text.size() - m_text.size() % 4;
    const qsizetype padding = QByteArrayView(m_text).first(complete).indexOf('=');
    if (padding >= 0) {
        const qsizetype end = padding - padding % 4 + 4;
        m_padded = true;
        if (end != m_text.size()) {
            m_damaged = true;
            return;
        }
        decodeGroups(QByteArrayView(m_text));
        m_text.clear();
        return;
    }
    decodeGroups(QByteArrayView(m_text).first(complete));
    m_text.remove(0, complete);
}

int UpdateTokenDecoder::finish()
{
    if (!m_text.isEmpty())
        m_damaged = true;
    if (m_damaged || m_tokenSize < kHeaderSize + kMacSize)
        return kDamaged;

    const QByteArray expected = m_mac.result();
    if (CRYPTO_memcmp(expected.constData(), m_token.constData(), kMacSize) != 0)
        return kWrongPassword;

    QByteArray last(kBlockSize, '\0');
    int written = 0;
    if (EVP_DecryptFinal_ex(m_cipher.get(), reinterpret_cast<unsigned char *>(last.data()), &written)
        != 1) {
        return kDamaged;
    }
    if (m_sink)
        m_sink->write(last.constData(), written);
    m_plaintextSize += written;
    return kAccepted;
}

void UpdateTokenDecoder::decodeGroups(QByteArrayView groups)
{
    if (groups.isEmpty())
        return;
    const QByteArray::FromBase64Result decoded =
        QByteArray::fromBase64Encoding(groups.toByteArray(), kBase64Options);
    if (!decoded) {
        m_damaged = true;
        return;
    }
    m_token.append(decoded.decoded);
    m_tokenSize += decoded.decoded.size();
    consumeToken();
}

void UpdateTokenDecoder::consumeToken()
{
    if (!m_headerDone) {
        if (m_token.size() < kHeaderSize)
            return;
        if (m_token.at(0) != kVersion) {
            m_damaged = true;
            return;
        }
        m_mac.addData(m_token.constData(), kHeaderSize);
        EVP_DecryptInit_ex(m_cipher.get(), EVP_aes_128_cbc(), nullptr, bytes(m_key),
                           bytes(m_token) + kIvOffset);
        m_token.remove(0, kHeaderSize);
        m_headerDone = true;
    }

    // The last 32 bytes seen so far may be the signature, so they wait for more text.
    const qsizetype ready = m_token.size() - kMacSize;
    if (ready <= 0)
        return;
    m_mac.addData(m_token.constData(), ready);
    QByteArray plain(ready + kBlockSize, '\0');
    int written = 0;
    EVP_DecryptUpdate(m_cipher.get(), reinterpret_cast<unsigned char *>(plain.data()), &written,
                      bytes(m_token), static_cast<int>(ready));
    if (m_sink)
        m_sink->write(plain.constData(), written);
    m_plaintextSize += written;
    m_token.remove(0, ready);
}
