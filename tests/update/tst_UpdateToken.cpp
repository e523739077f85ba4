#include "UpdateToken.h"

#include <QBuffer>
#include <QDateTime>
#include <QScopeGuard>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <stdexcept>

namespace {

template <typename Exception, typename Call>
QString thrownText(Call call)
{
    try {
        call();
    } catch (const Exception &failure) {
        return QString::fromUtf8(failure.what());
    }
    return QStringLiteral("<nothing thrown>");
}

QByteArray stream(const UpdateKeyPair &keys, QByteArray content, qint64 *sent = nullptr)
{
    QBuffer file(&content);
    QByteArray wire;
    QBuffer out(&wire);
    file.open(QIODevice::ReadOnly);
    out.open(QIODevice::WriteOnly);
    const qint64 written = writeUpdateToken(keys, file, out);
    if (sent)
        *sent = written;
    return wire;
}

// Announces its whole size but fails every read past failAt, like a disk breaking mid-file.
class FailingDevice : public QIODevice
{
public:
    FailingDevice(qint64 size, qint64 failAt) : m_size(size), m_failAt(failAt) {}
    qint64 size() const override { return m_size; }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const qint64 count = std::min(maxSize, m_failAt - pos());
        std::fill_n(data, count, 'f');
        return count > 0 ? count : -1;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    qint64 m_size;
    qint64 m_failAt;
};

}

// What the writers put out, byte for byte, and what they leave behind and say when they fail.
// That the tokens decrypt is shown by tst_FernetCrossCheck.
class tst_UpdateToken : public QObject
{
    Q_OBJECT

private slots:
    void streamedToken_data();
    void streamedToken();
    void ivBytesStayBelowFF();
    void failures();
    void fileWriterFailures_data();
    void fileWriterFailures();

private:
    const UpdateKeyPair m_keys = splitUpdateKey(deriveUpdateKey(QStringLiteral("admin"), QStringLiteral("secret")));
};

void tst_UpdateToken::streamedToken_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QByteArray>("prefix");
    QTest::addColumn<int>("sent");
    // An empty file announces 100 characters but sends 76: header and HMAC, no padding block.
    QTest::newRow("empty") << 0 << QByteArray::fromHex("0000000000000064") << 76;
    QTest::newRow("1") << 1 << QByteArray::fromHex("0000000000000064") << 100;
    QTest::newRow("15") << 15 << QByteArray::fromHex("0000000000000064") << 100;
    QTest::newRow("16") << 16 << QByteArray::fromHex("0000000000000078") << 120;
    QTest::newRow("6143") << 6143 << QByteArray::fromHex("000000000000204c") << 8268;
    QTest::newRow("6144") << 6144 << QByteArray::fromHex("0000000000002064") << 8292;
    QTest::newRow("6145") << 6145 << QByteArray::fromHex("0000000000002064") << 8292;
    QTest::newRow("18437") << 18437 << QByteArray::fromHex("0000000000006064") << 24676;
}

void tst_UpdateToken::streamedToken()
{
    QFETCH(int, size);
    const qint64 before = QDateTime::currentSecsSinceEpoch();
    qint64 sent = 0;
    const QByteArray wire = stream(m_keys, QByteArray(size, 'u'), &sent);
    QTEST(wire.left(8), "prefix");
    QTEST(int(sent), "sent");
    QTEST(int(wire.size() - 8), "sent");
    const QByteArray token = QByteArray::fromBase64(wire.mid(8), QByteArray::Base64UrlEncoding);
    // The text sent piece by piece is the text of the whole token encoded at once.
    QCOMPARE(wire.mid(8), token.toBase64(QByteArray::Base64UrlEncoding));
    QCOMPARE(quint8(token.at(0)), quint8(0x80));
    const qint64 timestamp = qFromBigEndian<qint64>(token.constData() + 1);
    QVERIFY(timestamp >= before && timestamp <= QDateTime::currentSecsSinceEpoch());
}

// The cameras expect IV bytes from 0 to 254. Over 320 tokens (5120 bytes) a full-range draw
// would show 0xFF with near certainty; the bounded one shows its top value 0xFE.
void tst_UpdateToken::ivBytesStayBelowFF()
{
    QSet<QByteArray> ivs;
    QSet<quint8> values;
    for (int i = 0; i < 320; ++i) {
        const QByteArray wire = stream(m_keys, QByteArray());
        const QByteArray iv = QByteArray::fromBase64(wire.mid(8), QByteArray::Base64UrlEncoding).mid(9, 16);
        ivs.insert(iv);
        for (char byte : iv)
            values.insert(quint8(byte));
    }
    QCOMPARE(ivs.size(), 320);
    QVERIFY(!values.contains(0xFF));
    QVERIFY(values.contains(0xFE) && values.contains(0x00));
}

// A failure rolls nothing back: the prefix and the text of the chunks read so far, all but the
// last byte of them (25 + 2 * 6144 is one more than a multiple of 3), are already out.
void tst_UpdateToken::failures()
{
    // Derived keys repeat their half; a key with distinct halves shows which one signs.
    QByteArray halves(16, 's');
    halves.append(QByteArray(16, 'e')).append("ignored beyond 32");
    const UpdateKeyPair split = splitUpdateKey(QString::fromLatin1(halves.toBase64(QByteArray::Base64UrlEncoding)));
    QCOMPARE(split.signingKey, QByteArray(16, 's'));
    QCOMPARE(split.encryptionKey, QByteArray(16, 'e'));

    const QString key = deriveUpdateKey(QStringLiteral("admin"), QStringLiteral("secret"));
    QCOMPARE(deriveUpdateKey(QStringLiteral("someone else"), QStringLiteral("secret")), key);
    for (const QString &shortKey : {QString(), key.left(42), QStringLiteral("!!!! ????")})
        QCOMPARE(thrownText<std::invalid_argument>([&] { splitUpdateKey(shortKey); }), QStringLiteral("Key too short"));

    FailingDevice file(20000, 2 * 6144);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    QByteArray wire;
    QBuffer out(&wire);
    out.open(QIODevice::WriteOnly);
    QCOMPARE(thrownText<std::runtime_error>([&] { writeUpdateToken(m_keys, file, out); }),
             QStringLiteral("Could not read update file"));
    QVERIFY(!file.isOpen());
    QCOMPARE(wire.left(8), QByteArray::fromHex("000000000000688c"));
    QCOMPARE(wire.size(), 8 + (25 + 2 * 6144) / 3 * 4);

    QBuffer content;
    content.setData(QByteArray(100, 'u'));
    QVERIFY(content.open(QIODevice::ReadOnly));
    FailingDevice refusing(0, 0);
    QVERIFY(refusing.open(QIODevice::WriteOnly));
    QCOMPARE(thrownText<std::runtime_error>([&] { writeUpdateToken(m_keys, content, refusing); }),
             QStringLiteral("Could not send update file"));
}

void tst_UpdateToken::fileWriterFailures_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("tmpdir");
    QTest::addColumn<QString>("text");
    QTest::newRow("no input") << "missing.bin" << "out.token" << QString() << "Could not process file";
    QTest::newRow("no output folder") << "in.bin" << "missing/out.token" << QString() << "Could save file";
    // TMPDIR names a plain file, so no temporary file can be made in it.
    QTest::newRow("no temporary file") << "in.bin" << "out.token" << "in.bin" << "Could not prepare file";
    // Files may grow to 8 KiB only: the ciphertext does not fit, and must not be signed.
    QTest::newRow("full disk for the token") << "big.bin" << "out.token" << QString() << "Could not prepare file";
    QTest::newRow("full disk for the output") << "in.bin" << "/dev/full" << QString() << "Could save file";
}

void tst_UpdateToken::fileWriterFailures()
{
    QFETCH(QString, tmpdir);
    QFETCH(QString, input);
    QFETCH(QString, output);
    QTemporaryDir directory;
    QFile existing(directory.filePath(QStringLiteral("in.bin")));
    QVERIFY(existing.open(QIODevice::WriteOnly) && existing.write("firmware") == 8);
    existing.close();
    QFile big(directory.filePath(QStringLiteral("big.bin")));
    QVERIFY(big.open(QIODevice::WriteOnly) && big.write(QByteArray(1 << 16, 'b')) == 1 << 16);
    big.close();
    const QByteArray savedTmpdir = qgetenv("TMPDIR");
    const bool tmpdirWasSet = qEnvironmentVariableIsSet("TMPDIR");
    const auto restore = qScopeGuard([&] { tmpdirWasSet ? qputenv("TMPDIR", savedTmpdir) : qunsetenv("TMPDIR"); });
    if (!tmpdir.isEmpty())
        qputenv("TMPDIR", directory.filePath(tmpdir).toLocal8Bit());
    const QString outputPath = output.startsWith('/') ? output : directory.filePath(output);
    rlimit fileSize{};
    getrlimit(RLIMIT_FSIZE, &fileSize);
    const auto restoreLimit = qScopeGuard([&] { setrlimit(RLIMIT_FSIZE, &fileSize); });
    if (QTest::currentDataTag() == QLatin1String("full disk for the token")) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit small{8192, fileSize.rlim_max};
        QVERIFY(setrlimit(RLIMIT_FSIZE, &small) == 0);
    }

    QTEST(thrownText<std::runtime_error>(
              [&] { prepareUpdateFile(m_keys, directory.filePath(input), outputPath); }),
          "text");
    if (!output.startsWith('/'))
        QVERIFY(!QFile::exists(outputPath));
}

QTEST_GUILESS_MAIN(tst_UpdateToken)
#include "tst_UpdateToken.moc"
