#pragma once

#include <QByteArray>
#include <QString>

// The camera's side of the update key: three chained PBKDF2-HMAC-SHA1 rounds over the admin
// password. Computed with OpenSSL rather than Qt so that the client's derivation is checked
// against an independent implementation.
class UpdateKey
{
public:
    static constexpr int kKeySize = 16;

    // The 16-byte key that both signs and encrypts tokens for this password.
    static QByteArray derive(const QString &adminPassword);
};
