#pragma once

#include "UpdateCrypto.h"

#include <QByteArray>
#include <QByteArrayView>

#include <array>

class QIODevice;
struct UpdateKeyPair;

// Produces the token text of one update file piece by piece, so that neither the token nor
// its text is ever held whole: every piece but the last is the text of whole 3-byte groups,
// and the pieces join into the base64url text of the whole token. The file is read in
// 6144-byte chunks as the pieces are asked for; it must stay open while the encoder runs.
class UpdateTokenEncoder
{
public:
    static constexpr qint64 kChunk = 6144;

    // Draws the IV and reads the clock. Throws std::runtime_error when the crypto library fails.
    UpdateTokenEncoder(const UpdateKeyPair &keys, QIODevice &file);
    UpdateTokenEncoder(const UpdateTokenEncoder &) = delete;
    UpdateTokenEncoder &operator=(const UpdateTokenEncoder &) = delete;

    // The 8-byte big-endian number of characters announced for the token.
    QByteArray lengthPrefix() const;
    // The text of the next chunk, valid until the next call; the last piece carries the HMAC.
    // Throws std::runtime_error("Could not read update file") and closes the file when a read fails.
    QByteArrayView nextText();
    bool atEnd() const { return m_finished; }

private:
    QIODevice &m_file;
    qint64 m_size;
    qint64 m_total = 0;
    UpdateCrypto::CipherContext m_cipher;
    UpdateCrypto::MacContext m_mac;
    // Up to two bytes left over from the last piece, then the next chunk with its padding and,
    // at the end, the HMAC.
    std::array<char, 2 + UpdateCrypto::kHeaderSize + kChunk + UpdateCrypto::kBlockSize + UpdateCrypto::kMacSize>
        m_plain{};
    qsizetype m_held = 0;
    std::array<char, sizeof m_plain / 3 * 4 + 5> m_text{};
    bool m_finished = false;
};
