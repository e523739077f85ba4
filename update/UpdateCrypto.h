#pragma once

#include <QByteArray>

#include <openssl/evp.h>

#include <memory>

struct UpdateKeyPair;

// The building blocks that the token writers share: the token's fixed parts, AES-128-CBC
// without padding of its own, HMAC-SHA256 and base64url. Failures of the crypto library
// throw std::runtime_error.
namespace UpdateCrypto {

constexpr char kVersion = char(0x80);
constexpr int kBlockSize = 16;
constexpr int kMacSize = 32;
constexpr int kHeaderSize = 1 + 8 + kBlockSize;
constexpr int kTokenOverhead = kHeaderSize + kMacSize;

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;
using MacContext = std::unique_ptr<EVP_MAC_CTX, decltype(&EVP_MAC_CTX_free)>;

// The cameras expect every IV byte below 0xFF: each byte is a 32-bit draw scaled to 0..254.
QByteArray drawIv();
// Version byte, the current time and the IV.
QByteArray tokenHeader(const QByteArray &iv);
// Token bytes before base64 for a file of fileSize bytes, counting a padding block even for
// an empty file.
qint64 rawTokenLength(qint64 fileSize);

// The context keeps the last ciphertext block, so chunks chain as one CBC stream.
CipherContext startCipher(const UpdateKeyPair &keys, const QByteArray &iv);
// Returns the number of ciphertext bytes that replaced the plain text at data.
int encryptInPlace(EVP_CIPHER_CTX *context, char *data, int length);
// PKCS#7 on the last chunk; total is the running total of plain bytes including this chunk.
qint64 appendPadding(char *chunk, qint64 count, qint64 total);

MacContext startMac(const UpdateKeyPair &keys);
void addToMac(EVP_MAC_CTX *context, const char *data, qsizetype length);
QByteArray finishMac(EVP_MAC_CTX *context);

// Writes the base64url text of length bytes to text (room for length / 3 * 4 + 5 characters, a terminating zero included)
// and returns its length. Pieces cut at multiples of 3 bytes join into the text of the whole.
qsizetype encodeBase64Url(const char *data, qsizetype length, char *text);

}
