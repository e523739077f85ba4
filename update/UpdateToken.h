#pragma once

#include <QByteArray>
#include <QString>

#include <array>

class QIODevice;

// The two halves of a decoded update key. They are equal in practice, because the
// derivation repeats its 16 bytes, but the token format keeps them apart.
struct UpdateKeyPair
{
    QByteArray signingKey;
    QByteArray encryptionKey;
};

// Shared with the cameras' update service: both sides must hold the same entries in
// the same order. Only the first three take part in the derivation; the rest stay
// reserved so the table matches the cameras' copy.
inline constexpr std::array<const char *, 10> kUpdateKeySalts = {
    "qT4mzw8Lrb", "Vn72hcePx5", "mW9ktR3yQa", "71Kbnv4sXe", "ruP5?Wgj2c",
    "Zpq3n6Tbwe", "gxe4ct9uy2", "cLOQBm2pyv", "wnbtrsez4M", "KsMPybw35r",
};

// The base64url key string of the admin password. The user name does not enter the
// key; it is taken so that callers hand over the credentials as a pair.
QString deriveUpdateKey(const QString &adminUser, const QString &adminPassword);

// Throws std::invalid_argument("Key too short") when the key decodes to fewer than 32 bytes.
UpdateKeyPair splitUpdateKey(const QString &key);

// Writes the 8-byte big-endian length and the token text of file to out as it is produced, and
// returns the number of token characters written. Throws std::runtime_error with "Could not
// read update file" or, when out takes less than it is given, "Could not send update file".
qint64 writeUpdateToken(const UpdateKeyPair &keys, QIODevice &file, QIODevice &out);

// Writes the token text of the input file into the output file, without a length prefix.
// Throws std::runtime_error with the user-visible reason, also when a write or flush fails.
void prepareUpdateFile(const UpdateKeyPair &keys, const QString &inputPath, const QString &outputPath);
