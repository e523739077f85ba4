// Measures the streaming token writer against the same work done with OpenSSL calls only,
// on one 256 MiB file, and reports the peak memory while each of them writes.

#include "NullDevice.h"
#include "UpdateToken.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTextStream>
#include <QtEndian>

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

constexpr qint64 kFileSize = qint64(256) << 20;
constexpr qint64 kChunk = 6144;
constexpr int kRounds = 7;

struct Measurement
{
    double seconds = 0;
    qint64 characters = 0;
    qint64 peakKiB = 0;
    long pageFaults = 0;
};

void ensure(bool ok, const char *what)
{
    if (!ok)
        throw std::runtime_error(what);
}

// Resets the kernel's record of the peak resident size, so each measurement reports its own peak.
void resetPeak()
{
    QFile clearRefs(QStringLiteral("/proc/self/clear_refs"));
    if (clearRefs.open(QIODevice::WriteOnly))
        clearRefs.write("5");
}

long pageFaults()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt + usage.ru_majflt;
}

qint64 peakKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    ensure(status.open(QIODevice::ReadOnly | QIODevice::Text), "cannot read /proc/self/status");
    for (QByteArray line = status.readLine(); !line.isEmpty(); line = status.readLine()) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

void makeInput(const QString &path)
{
    QFile file(path);
    ensure(file.open(QIODevice::WriteOnly), "cannot create the input file");
    std::array<quint32, 1 << 16> block{};
    for (qint64 written = 0; written < kFileSize; written += qint64(sizeof block)) {
        QRandomGenerator::global()->fillRange(block.data(), block.size());
        ensure(file.write(reinterpret_cast<const char *>(block.data()), sizeof block) == qint64(sizeof block),
               "cannot write the input file");
    }
}

// Times one writer over the file into a null device, with the peak memory of that run alone.
Measurement measure(const QString &path, const std::function<qint64(QIODevice &, QIODevice &)> &writeToken)
{
    QFile file(path);
    ensure(file.open(QIODevice::ReadOnly), "cannot open the input file");
    NullDevice out;
    out.open(QIODevice::WriteOnly);
    resetPeak();
    const long faultsBefore = pageFaults();
    QElapsedTimer timer;
    timer.start();
    Measurement result;
    result.characters = writeToken(file, out);
    result.seconds = double(timer.nsecsElapsed()) / 1e9;
    result.pageFaults = pageFaults() - faultsBefore;
    result.peakKiB = peakKiB();
    return result;
}

// Base64 by EVP_EncodeBlock, with the alphabet turned into the URL-safe one.
qint64 encodeAndWrite(QIODevice &out, const unsigned char *data, int length, std::array<unsigned char, 2 * kChunk> &text)
{
    const int produced = EVP_EncodeBlock(text.data(), data, length);
    for (int i = 0; i < produced; ++i) {
        const unsigned char c = text[i];
        text[i] = c == '+' ? '-' : (c == '/' ? '_' : c);
    }
    out.write(reinterpret_cast<const char *>(text.data()), produced);
    return produced;
}

// The same token built with OpenSSL alone and written as it goes, without holding it in memory.
qint64 writeBaselineToken(const UpdateKeyPair &keys, QIODevice &file, QIODevice &out)
{
    const auto *encryptionKey = reinterpret_cast<const unsigned char *>(keys.encryptionKey.constData());
    const auto *signingKey = reinterpret_cast<const unsigned char *>(keys.signingKey.constData());
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> cipher(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    std::unique_ptr<EVP_MAC, decltype(&EVP_MAC_free)> macAlgorithm(EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_HMAC, nullptr),
                                                                  &EVP_MAC_free);
    std::unique_ptr<EVP_MAC_CTX, decltype(&EVP_MAC_CTX_free)> mac(EVP_MAC_CTX_new(macAlgorithm.get()), &EVP_MAC_CTX_free);
    char digest[] = "SHA256";
    const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
                                     OSSL_PARAM_construct_end()};
    ensure(EVP_MAC_init(mac.get(), signingKey, 16, parameters) == 1, "HMAC init");

    std::array<unsigned char, 25> header{};
    header[0] = 0x80;
    qToBigEndian(qint64(QDateTime::currentSecsSinceEpoch()), header.data() + 1);
    ensure(RAND_bytes(header.data() + 9, 16) == 1, "IV");
    ensure(EVP_EncryptInit_ex(cipher.get(), EVP_aes_128_cbc(), nullptr, encryptionKey, header.data() + 9) == 1, "AES init");
    ensure(EVP_CIPHER_CTX_set_padding(cipher.get(), 0) == 1, "AES padding");
    ensure(EVP_MAC_update(mac.get(), header.data(), header.size()) == 1, "HMAC header");

    const qint64 size = file.size();
    const quint64 prefix = qToBigEndian(quint64(((size - size % 16 + 16 + 57) + 2) / 3 * 4));
    out.write(reinterpret_cast<const char *>(&prefix), sizeof prefix);

    // Text goes out in whole 3-byte groups; up to two bytes wait in front of the next chunk.
    std::array<unsigned char, 2 + kChunk + 16 + 32> pending{};
    std::array<unsigned char, 2 * kChunk> text{};
    std::copy(header.begin(), header.end(), pending.begin());
    int held = int(header.size());
    qint64 characters = 0;
    qint64 total = 0;
    std::array<unsigned char, kChunk + 16> chunk{};
    for (;;) {
        qint64 count = file.read(reinterpret_cast<char *>(chunk.data()), kChunk);
        ensure(count >= 0, "read");
        if (count == 0)
            break;
        total += count;
        if (total == size) {
            const int padding = 16 - int(total % 16);
            std::fill_n(chunk.begin() + count, padding, static_cast<unsigned char>(padding));
            count += padding;
        }
        int produced = 0;
        ensure(EVP_EncryptUpdate(cipher.get(), chunk.data(), &produced, chunk.data(), int(count)) == 1, "AES");
        ensure(EVP_MAC_update(mac.get(), chunk.data(), size_t(produced)) == 1, "HMAC");
        std::copy_n(chunk.begin(), produced, pending.begin() + held);
        held += produced;
        const int whole = held - held % 3;
        characters += encodeAndWrite(out, pending.data(), whole, text);
        std::copy(pending.begin() + whole, pending.begin() + held, pending.begin());
        held -= whole;
    }
    size_t macLength = 0;
    ensure(EVP_MAC_final(mac.get(), pending.data() + held, &macLength, 32) == 1, "HMAC final");
    held += int(macLength);
    return characters + encodeAndWrite(out, pending.data(), held, text);
}

double mibPerSecond(const Measurement &measurement)
{
    return double(kFileSize) / double(1 << 20) / measurement.seconds;
}

}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    try {
        QTemporaryDir directory;
        ensure(directory.isValid(), "cannot create a temporary directory");
        const QString path = directory.filePath(QStringLiteral("update.bin"));
        makeInput(path);
        const UpdateKeyPair keys = splitUpdateKey(deriveUpdateKey(QString(), QStringLiteral("benchmark")));
        out << "input: " << kFileSize << " bytes in " << directory.path() << ", " << kRounds
            << " rounds, each the baseline first, then the writer\n";

        std::vector<double> writerRates;
        std::vector<double> baselineRates;
        qint64 writerPeak = 0;
        qint64 baselinePeak = 0;
        out << Qt::fixed << qSetRealNumberPrecision(1);
        for (int round = 1; round <= kRounds; ++round) {
            const Measurement base = measure(path, [&](QIODevice &file, QIODevice &out) {
                return writeBaselineToken(keys, file, out);
            });
            const Measurement token = measure(path, [&](QIODevice &file, QIODevice &out) {
                return writeUpdateToken(keys, file, out);
            });
            ensure(base.characters == token.characters, "writer and baseline wrote different lengths");
            writerRates.push_back(mibPerSecond(token));
            baselineRates.push_back(mibPerSecond(base));
            writerPeak = qMax(writerPeak, token.peakKiB);
            baselinePeak = qMax(baselinePeak, base.peakKiB);
            out << "round " << round << ": writeUpdateToken " << writerRates.back() << " MiB/s (" << token.pageFaults
                << " page faults), OpenSSL baseline " << baselineRates.back() << " MiB/s (" << base.pageFaults
                << " page faults)\n";
            out.flush();
        }
        const auto best = [](std::vector<double> rates) { return *std::max_element(rates.begin(), rates.end()); };
        const auto median = [](std::vector<double> rates) {
            std::sort(rates.begin(), rates.end());
            return rates[rates.size() / 2];
        };
        out << "writeUpdateToken:  best " << best(writerRates) << " MiB/s, median " << median(writerRates) << " MiB/s\n"
            << "OpenSSL baseline:  best " << best(baselineRates) << " MiB/s, median " << median(baselineRates)
            << " MiB/s\n"
            << qSetRealNumberPrecision(3) << "ratio:             best " << best(writerRates) / best(baselineRates)
            << ", median " << median(writerRates) / median(baselineRates) << "\n"
            << "peak memory (VmHWM) while writeUpdateToken writes: " << writerPeak << " KiB\n"
            << "peak memory (VmHWM) while the baseline writes:     " << baselinePeak << " KiB\n";
    } catch (const std::exception &failure) {
        out << "benchmark failed: " << failure.what() << '\n';
        return 1;
    }
    return 0;
}
