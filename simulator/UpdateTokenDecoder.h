#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <memory>

class QIODevice;
struct evp_cipher_ctx_st;
struct evp_mac_ctx_st;

// Checks and decrypts one update token while its base64url text is still arriving, so that
// files of any size pass through in constant memory. The plaintext goes to a sink as it is
// decrypted; it only counts once finish() has returned kAccepted, because the signature at
// the very end decides whether any of it was genuine.
//
// Token: 0x80, 8-byte timestamp, 16-byte IV, AES-128-CBC ciphertext (PKCS#7), 32-byte
// HMAC-SHA256 over everything before it.
class UpdateTokenDecoder
{
public:
    static constexpr int kAccepted = 0;
    static constexpr int kWrongPassword = -201;
    static constexpr int kDamaged = -202;

    // sink may be null when the plaintext is not kept.
    UpdateTokenDecoder(const QByteArray &key, QIODevice *sink);
    ~UpdateTokenDecoder();
    UpdateTokenDecoder(const UpdateTokenDecoder &) = delete;
    UpdateTokenDecoder &operator=(const UpdateTokenDecoder &) = delete;

    void addText(QByteArrayView text);
    // Call once, after the last text: kAccepted, kWrongPassword or kDamaged.
    int finish();
    qint64 plaintextSize() const { return m_plaintextSize; }

private:
    struct CipherFree
    {
        void operator()(evp_cipher_ctx_st *context) const;
    };
    struct MacFree
    {
        void operator()(evp_mac_ctx_st *context) const;
    };

    void decodeGroups(QByteArrayView groups);
    void consumeToken();

    QByteArray m_key;
    QIODevice *m_sink;
    std::unique_ptr<evp_cipher_ctx_st, CipherFree> m_cipher;
    std::unique_ptr<evp_mac_ctx_st, MacFree> m_mac;
    QByteArray m_text;
    QByteArray m_token;
    qint64 m_tokenSize = 0;
    qint64 m_plaintextSize = 0;
    bool m_headerDone = false;
    bool m_padded = false;
    bool m_damaged = false;
};
