#include "UpdateTokenEncoder.h"

#include "UpdateToken.h"

#include <QIODevice>
#include <QtEndian>

#include <algorithm>
#include <stdexcept>

using namespace UpdateCrypto;

UpdateTokenEncoder::UpdateTokenEncoder(const UpdateKeyPair &keys, QIODevice &file)
    : m_file(file)
    , m_size(file.size())
    , m_cipher(nullptr, &EVP_CIPHER_CTX_free)
    , m_mac(startMac(keys))
{
    const QByteArray iv = drawIv();
    m_cipher = startCipher(keys, iv);
    const QByteArray header = tokenHeader(iv);
    std::copy(header.begin(), header.end(), m_plain.begin());
    m_held = header.size();
    addToMac(m_mac.get(), header.constData(), header.size());
}

QByteArray UpdateTokenEncoder::lengthPrefix() const
{
    // The announced length always counts a padding block, also for an empty file, which gets
    // none: such a camera waits for characters that never come and rejects the file as
    // damaged, which is how cameras have always seen an empty update.
    const quint64 announced = qToBigEndian(quint64((rawTokenLength(m_size) + 2) / 3 * 4));
    return QByteArray(reinterpret_cast<const char *>(&announced), sizeof announced);
}

QByteArrayView UpdateTokenEncoder::nextText()
{
    if (m_finished)
        return {};
    char *chunk = m_plain.data() + m_held;
    qint64 count = m_file.read(chunk, kChunk);
    if (count < 0) {
        m_file.close();
        throw std::runtime_error("Could not read update file");
    }
    if (count == 0) {
        const QByteArray mac = finishMac(m_mac.get());
        std::copy(mac.begin(), mac.end(), chunk);
        m_finished = true;
        return {m_text.data(), encodeBase64Url(m_plain.data(), m_held + mac.size(), m_text.data())};
    }
    m_total += count;
    if (m_total == m_size)
        count = appendPadding(chunk, count, m_total);
    const int produced = encryptInPlace(m_cipher.get(), chunk, int(count));
    addToMac(m_mac.get(), chunk, produced);
    m_held += produced;
    // Whole 3-byte groups go out now; the rest waits in front of the next chunk.
    const qsizetype whole = m_held - m_held % 3;
    const qsizetype length = encodeBase64Url(m_plain.data(), whole, m_text.data());
    std::copy(m_plain.begin() + whole, m_plain.begin() + m_held, m_plain.begin());
    m_held -= whole;
    return {m_text.data(), length};
}
