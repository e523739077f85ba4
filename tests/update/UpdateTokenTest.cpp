#include "FailingDevice.h"
#include "UpdateToken.h"

#include <QBuffer>
#include <QDateTime>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

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

QByteArray randomBytes(qsizetype size)
{
    QByteArray data(size, Qt::Uninitialized);
    for (char &byte : data)
        byte = char(QRandomGenerator::global()->bounded(256));
    return data;
}

struct Streamed
{
    QByteArray wire;
    qint64 returned = 0;
};

Streamed stream(const UpdateKeyPair &keys, QByteArray content)
{
    QBuffer file(&content);
    file.open(QIODevice::ReadOnly);
    QByteArray wire;
    QBuffer out(&wire);
    out.open(QIODevice::WriteOnly);
    const qint64 returned = writeUpdateToken(keys, file, out);
    return {wire, returned};
}

}

// What the writers put out, byte for byte: the length prefix, the token text and its
// header, the key texts, and what is left behind when something fails.
class UpdateTokenTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void streamedToken_data();
    void streamedToken();
    void ivBytesStayBelowFF();
    void keyDerivation();
    void keySplit_data();
    void keySplit();
    void shortKeyRefused_data();
    void shortKeyRefused();
    void readFailureLeavesPrefixOnly();
    void fileWriterText_data();
    void fileWriterText();
    void fileWriterFailures_data();
    void fileWriterFailures();

private:
    UpdateKeyPair m_keys;
};

void UpdateTokenTest::initTestCase()
{
    m_keys = splitUpdateKey(deriveUpdateKey(QStringLiteral("admin"), QStringLiteral("secret")));
}

void UpdateTokenTest::streamedToken_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QByteArray>("prefix");
    QTest::addColumn<int>("sent");
    QTest::newRow("empty") << 0 << QByteArray::fromHex("0000000000000064") << 76;
    QTest::newRow("1 byte") << 1 << QByteArray::fromHex("0000000000000064") << 100;
    QTest::newRow("15 bytes") << 15 << QByteArray::fromHex("0000000000000064") << 100;
    QTest::newRow("16 bytes") << 16 << QByteArray::fromHex("0000000000000078") << 120;
    QTest::newRow("17 bytes") << 17 << QByteArray::fromHex("0000000000000078") << 120;
    QTest::newRow("6143 bytes") << 6143 << QByteArray::fromHex("000000000000204c") << 8268;
    QTest::newRow("6144 bytes") << 6144 << QByteArray::fromHex("0000000000002064") << 8292;
    QTest::newRow("6145 bytes") << 6145 << QByteArray::fromHex("0000000000002064") << 8292;
    QTest::newRow("3 MiB + 5") << (3 << 20) + 5 << QByteArray::fromHex("0000000000400064") << 4194404;
}

void UpdateTokenTest::streamedToken()
{
    QFETCH(int, size);
    QFETCH(int, sent);
    const qint64 before = QDateTime::currentSecsSinceEpoch();
    const Streamed result = stream(m_keys, randomBytes(size));
    const qint64 after = QDateTime::currentSecsSinceEpoch();

    QTEST(result.wire.left(8), "prefix");
    QCOMPARE(result.returned, qint64(sent));
    const QByteArray text = result.wire.mid(8);
    QCOMPARE(text.size(), sent);
    static const QRegularExpression urlAlphabet(QStringLiteral("^[A-Za-z0-9_-]*={0,2}$"));
    QVERIFY(urlAlphabet.match(QString::fromLatin1(text)).hasMatch());

    // An empty file gets no padding block: header and HMAC only.
    const QByteArray token = QByteArray::fromBase64(text, QByteArray::Base64UrlEncoding);
    QCOMPARE(token.size(), size == 0 ? 57 : size - size % 16 + 16 + 57);
    QCOMPARE(quint8(token.at(0)), quint8(0x80));
    const qint64 timestamp = qFromBigEndian<qint64>(token.constData() + 1);
    QVERIFY(timestamp >= before && timestamp <= after);
}

// The cameras expect IV bytes from 0 to 254. Over 320 tokens (5120 bytes) a full-range draw
// would show 0xFF with near certainty, and the bounded one shows its top value 0xFE.
void UpdateTokenTest::ivBytesStayBelowFF()
{
    QSet<QByteArray> ivs;
    QSet<quint8> values;
    for (int i = 0; i < 320; ++i) {
        const Streamed result = stream(m_keys, QByteArray());
        const QByteArray iv = QByteArray::fromBase64(result.wire.mid(8), QByteArray::Base64UrlEncoding).mid(9, 16);
        ivs.insert(iv);
        for (char byte : iv)
            values.insert(quint8(byte));
    }
    QCOMPARE(ivs.size(), 320);
    QVERIFY(!values.contains(0xFF));
    QVERIFY(values.contains(0xFE));
    QVERIFY(values.contains(0x00));
}

void UpdateTokenTest::keyDerivation()
{
    const QString key = deriveUpdateKey(QStringLiteral("admin"), QStringLiteral("secret"));
    QCOMPARE(key.size(), 44);
    QVERIFY(key.endsWith(QLatin1Char('=')));
    QVERIFY(!key.contains(QLatin1Char('+')) && !key.contains(QLatin1Char('/')));
    QCOMPARE(deriveUpdateKey(QStringLiteral("someone else"), QStringLiteral("secret")), key);
    QVERIFY(deriveUpdateKey(QStringLiteral("admin"), QStringLiteral("Secret")) != key);
}

void UpdateTokenTest::keySplit_data()
{
    QTest::addColumn<QByteArray>("decoded");
    QTest::addColumn<bool>("withoutPadding");
    QByteArray distinct;
    for (int i = 0; i < 48; ++i)
        distinct.append(char(i * 5));
    QTest::newRow("32 bytes") << distinct.left(32) << false;
    QTest::newRow("48 bytes, cut to 32") << distinct << false;
    QTest::newRow("32 bytes in 43 characters") << distinct.left(32) << true;
}

void UpdateTokenTest::keySplit()
{
    QFETCH(QByteArray, decoded);
    QFETCH(bool, withoutPadding);
    const auto options = withoutPadding ? QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals
                                        : QByteArray::Base64UrlEncoding;
    const QString key = QString::fromLatin1(decoded.toBase64(options));
    const UpdateKeyPair pair = splitUpdateKey(key);
    QCOMPARE(pair.signingKey, decoded.left(16));
    QCOMPARE(pair.encryptionKey, decoded.mid(16, 16));
}

void UpdateTokenTest::shortKeyRefused_data()
{
    QTest::addColumn<QString>("key");
    const QString derived = deriveUpdateKey(QString(), QStringLiteral("secret"));
    QTest::newRow("empty") << QString();
    QTest::newRow("42 characters") << derived.left(42);
    QTest::newRow("16 bytes") << QString::fromLatin1(QByteArray(16, 'k').toBase64(QByteArray::Base64UrlEncoding));
    QTest::newRow("not base64") << QStringLiteral("!!!! ????");
}

void UpdateTokenTest::shortKeyRefused()
{
    QFETCH(QString, key);
    QCOMPARE(thrownText<std::invalid_argument>([&] { splitUpdateKey(key); }), QStringLiteral("Key too short"));
}

// Nothing is rolled back: the prefix is already out, and no token text follows it,
// because the writer holds the token until its end.
void UpdateTokenTest::readFailureLeavesPrefixOnly()
{
    FailingDevice file(randomBytes(20000), 2 * 6144);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    QByteArray wire;
    QBuffer out(&wire);
    out.open(QIODevice::WriteOnly);
    QCOMPARE(thrownText<std::runtime_error>([&] { writeUpdateToken(m_keys, file, out); }),
             QStringLiteral("Could not read update file"));
    QVERIFY(!file.isOpen());
    QCOMPARE(wire, QByteArray::fromHex("000000000000688c"));
}

void UpdateTokenTest::fileWriterText_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("characters");
    QTest::newRow("empty") << 0 << 76;
    QTest::newRow("1 byte") << 1 << 100;
    QTest::newRow("4095 bytes") << 4095 << 5540;
    QTest::newRow("4096 bytes") << 4096 << 5560;
    QTest::newRow("4110 bytes") << 4110 << 5560;
    QTest::newRow("1 MiB") << (1 << 20) << 1398200;
}

void UpdateTokenTest::fileWriterText()
{
    QFETCH(int, size);
    QTemporaryDir directory;
    QVERIFY(directory.isValid());
    const QString input = directory.filePath(QStringLiteral("update.bin"));
    const QString output = directory.filePath(QStringLiteral("update.token"));
    QFile file(input);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(randomBytes(size));
    file.close();

    prepareUpdateFile(m_keys, input, output);
    QFile token(output);
    QVERIFY(token.open(QIODevice::ReadOnly));
    const QByteArray text = token.readAll();
    QTEST(int(text.size()), "characters");
    const QByteArray raw = QByteArray::fromBase64(text, QByteArray::Base64UrlEncoding);
    QCOMPARE(raw.size(), size == 0 ? 57 : size - size % 16 + 16 + 57);
    QCOMPARE(quint8(raw.at(0)), quint8(0x80));
    QVERIFY(!raw.mid(9, 16).contains(char(0xFF)));
}

void UpdateTokenTest::fileWriterFailures_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("temporaryDirectory");
    QTest::addColumn<QString>("text");
    QTest::newRow("no input") << "missing.bin" << "update.token" << QString() << "Could not process file";
    QTest::newRow("output folder missing") << "update.bin" << "missing/update.token" << QString() << "Could save file";
    // The temporary folder named by TMPDIR is a plain file, so no temporary file can be made in it.
    QTest::newRow("no temporary file") << "update.bin" << "update.token" << "update.bin" << "Could not prepare file";
}

void UpdateTokenTest::fileWriterFailures()
{
    QFETCH(QString, input);
    QFETCH(QString, output);
    QFETCH(QString, temporaryDirectory);
    QTemporaryDir directory;
    QVERIFY(directory.isValid());
    QFile file(directory.filePath(QStringLiteral("update.bin")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(randomBytes(100));
    file.close();

    const bool tempWasSet = qEnvironmentVariableIsSet("TMPDIR");
    const QByteArray savedTemp = qgetenv("TMPDIR");
    const auto restoreTemp = qScopeGuard([&] {
        if (tempWasSet)
            qputenv("TMPDIR", savedTemp);
        else
            qunsetenv("TMPDIR");
    });
    if (!temporaryDirectory.isEmpty())
        qputenv("TMPDIR", directory.filePath(temporaryDirectory).toLocal8Bit());

    const QString outputPath = directory.filePath(output);
    QTEST(thrownText<std::runtime_error>([&] { prepareUpdateFile(m_keys, directory.filePath(input), outputPath); }),
          "text");
    QVERIFY(!QFile::exists(outputPath));
}

QTEST_GUILESS_MAIN(UpdateTokenTest)
#include "UpdateTokenTest.moc"
