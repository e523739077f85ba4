#include "UpdateTokenDecoder.h"

#include <QIODevice>

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include <memory>

namespace {

constexpr char kVersion = '\x80';
constexpr qsizetype kHeaderSize = 1 + 8 + 16;
constexpr qsizetype kIvOffset = 1 + 8;
constexpr qsizetype kMacSize = 32;
constexpr int kBlockSize = 16;

const unsigned char *bytes(const QByteArray &data)
{
    return reinterpret_cast<const unsigned char *>(data.constData());
}

// OpenSSL's HMAC and base64 rather than Qt's, which are several times slower: a simulator that
// serves many cameras from one thread must not be what a benchmark of the client measures.
evp_mac_ctx_st *startMac(const QByteArray &key)
{
    const std::unique_ptr<EVP_MAC, decltype(&EVP_MAC_free)> hmac(
        EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_HMAC, nullptr), &EVP_MAC_free);
    EVP_MAC_CTX *context = EVP_MAC_CTX_new(hmac.get());
    char digest[] = "SHA256";
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
        OSSL_PARAM_construct_end(),
    };
    EVP_MAC_init(context, bytes(key), static_cast<size_t>(key.size()), parameters);
    return context;
}

} // namespace

void UpdateTokenDecoder::CipherFree::operator()(evp_cipher_ctx_st *context) const
{
    EVP_CIPHER_CTX_free(context);
}

void UpdateTokenDecoder::MacFree::operator()(evp_mac_ctx_st *context) const
{
    EVP_MAC_CTX_free(context);
}

UpdateTokenDecoder::UpdateTokenDecoder(const QByteArray &key, QIODevice *sink)
    : m_key(key)
    , m_sink(sink)
    , m_cipher(EVP_CIPHER_CTX_new())
    , m_mac(startMac(key))
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

    QByteArray expected(kMacSize, '\0');
    size_t length = 0;
    EVP_MAC_final(m_mac.get(), reinterpret_cast<unsigned char *>(expected.data()), &length,
                  static_cast<size_t>(expected.size()));
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

// groups holds whole 4-character groups, padding only at its very end.
void UpdateTokenDecoder::decodeGroups(QByteArrayView groups)
{
    if (groups.isEmpty())
        return;
    // EVP_DecodeBlock knows the standard alphabet only, in which '+' and '/' stand where the
    // URL-safe one has '-' and '_'.
    QByteArray standard = groups.toByteArray();
    for (char &c : standard) {
        if (c == '+' || c == '/') {
            m_damaged = true;
            return;
        }
        c = c == '-' ? '+' : (c == '_' ? '/' : c);
    }
    const qsizetype padding = standard.endsWith("==") ? 2 : (standard.endsWith('=') ? 1 : 0);
    const qsizetype start = m_token.size();
    m_token.resize(start + standard.size() / 4 * 3);
    const int decoded = EVP_DecodeBlock(reinterpret_cast<unsigned char *>(m_token.data()) + start,
                                        bytes(standard), static_cast<int>(standard.size()));
    if (decoded < 0) {
        m_damaged = true;
        return;
    }
    m_token.resize(start + decoded - padding);
    m_tokenSize += decoded - padding;
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
        EVP_MAC_update(m_mac.get(), bytes(m_token), kHeaderSize);
        EVP_DecryptInit_ex(m_cipher.get(), EVP_aes_128_cbc(), nullptr, bytes(m_key),
                           bytes(m_token) + kIvOffset);
        m_token.remove(0, kHeaderSize);
        m_headerDone = true;
    }

    // The last 32 bytes seen so far may be the signature, so they wait for more text.
    const qsizetype ready = m_token.size() - kMacSize;
    if (ready <= 0)
        return;
    EVP_MAC_update(m_mac.get(), bytes(m_token), static_cast<size_t>(ready));
    QByteArray plain(ready + kBlockSize, '\0');
    int written = 0;
    EVP_DecryptUpdate(m_cipher.get(), reinterpret_cast<unsigned char *>(plain.data()), &written,
                      bytes(m_token), static_cast<int>(ready));
    if (m_sink)
        m_sink->write(plain.constData(), written);
    m_plaintextSize += written;
    m_token.remove(0, ready);
}
