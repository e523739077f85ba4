#include "UpdateKey.h"

#include <openssl/evp.h>

#include <array>

QByteArray UpdateKey::derive(const QString &adminPassword)
{
    static constexpr std::array<const char *, 3> salts = {"qT4mzw8Lrb", "Vn72hcePx5", "mW9ktR3yQa"};
    static constexpr int kIterations = 1000;
    static constexpr int kSaltLength = 10;

    QByteArray key = adminPassword.toUtf8();
    for (const char *salt : salts) {
        QByteArray next(kKeySize, '\0');
        PKCS5_PBKDF2_HMAC_SHA1(key.constData(), static_cast<int>(key.size()),
                               reinterpret_cast<const unsigned char *>(salt), kSaltLength,
                               kIterations, kKeySize, reinterpret_cast<unsigned char *>(next.data()));
        key = next;
    }
    return key;
}
