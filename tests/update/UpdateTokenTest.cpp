#include "FailingDevice.h"
#include "UpdateToken.h"

#include <QBuffer>
#include <QDateTime>
#include <QRandomGenerator>
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

qint64 stream(const UpdateKeyPair &keys, QIODevice &file, QByteArray *wire)
{
    QBuffer out(wire);
    out.open(QIODevice::WriteOnly);
    return writeUpdateToken(keys, file, out);
}

}

// What the writers put out, byte for byte, and what they leave behind and say when they fail.
// That the tokens decrypt is shown by FernetCrossCheckTest.
class UpdateTokenTest : public QObject
{
    Q_OBJECT

private slots:
    void streamedToken_data();
    void streamedToken();
    void ivBytesStayBelowFF();
    void keySplit_data();
    void keySplit();
    void readFailureLeavesPrefixOnly();
    void fileWriterFailures_data();
    void fileWriterFailures();

private:
    const UpdateKeyPair m_keys = splitUpdateKey(deriveUpdateKey(QStringLiteral("admin"), QStringLiteral("secret")));
};

void UpdateTokenTest::streamedToken_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QByteArray>("prefix");
    QTest::addColumn<int>("sent");
    QTest::addColumn<int>("tokenBytes");
    // An empty file announces 100 characters but sends 76: header and HMAC, no padding block.
    QTest::newRow("empty") << 0 << QByteArray::fromHex("0000000000000064") << 76 << 57;
    QTest::newRow("1") << 1 << QByteArray::fromHex("0000000000000064") << 100 << 73;
    QTest::newRow("15") << 15 << QByteArray::fromHex("0000000000000064") << 100 << 73;
    QTest::newRow("16") << 16 << QByteArray::fromHex("0000000000000078") << 120 << 89;
    QTest::newRow("6143") << 6143 << QByteArray::fromHex("000000000000204c") << 8268 << 6201;
    QTest::newRow("6144") << 6144 << QByteArray::fromHex("0000000000002064") << 8292 << 6217;
    QTest::newRow("6145") << 6145 << QByteArray::fromHex("0000000000002064") << 8292 << 6217;
}

void UpdateTokenTest::streamedToken()
{
    QFETCH(int, size);
    QByteArray content(size, 'u');
    QBuffer file(&content);
    file.open(QIODevice::ReadOnly);
    const qint64 before = QDateTime::currentSecsSinceEpoch();
    QByteArray wire;
    const qint64 returned = stream(m_keys, file, &wire);

    QTEST(wire.left(8), "prefix");
    QTEST(int(returned), "sent");
    QTEST(int(wire.size() - 8), "sent");
    const QByteArray token = QByteArray::fromBase64(wire.mid(8), QByteArray::Base64UrlEncoding);
    QCOMPARE(token.toBase64(QByteArray::Base64UrlEncoding), wire.mid(8));
    QTEST(int(token.size()), "tokenBytes");
    QCOMPARE(quint8(token.at(0)), quint8(0x80));
    const qint64 timestamp = qFromBigEndian<qint64>(token.constData() + 1);
    QVERIFY(timestamp >= before && timestamp <= QDateTime::currentSecsSinceEpoch());
}

// The cameras expect IV bytes from 0 to 254. Over 320 tokens (5120 bytes) a full-range draw
// would show 0xFF with near certainty; the bounded one shows its top value 0xFE.
void UpdateTokenTest::ivBytesStayBelowFF()
{
    QSet<QByteArray> ivs;
    QSet<quint8> values;
    for (int i = 0; i < 320; ++i) {
        QBuffer empty;
        empty.open(QIODevice::ReadOnly);
        QByteArray wire;
        stream(m_keys, empty, &wire);
        const QByteArray iv = QByteArray::fromBase64(wire.mid(8), QByteArray::Base64UrlEncoding).mid(9, 16);
        ivs.insert(iv);
        for (char byte : iv)
            values.insert(quint8(byte));
    }
    QCOMPARE(ivs.size(), 320);
    QVERIFY(!values.contains(0xFF));
    QVERIFY(values.contains(0xFE) && values.contains(0x00));
}

void UpdateTokenTest::keySplit_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QByteArray>("signingKey");
    QTest::addColumn<QByteArray>("encryptionKey");
    QByteArray bytes;
    for (int i = 0; i < 48; ++i)
        bytes.append(char(i * 5));
    const auto text = [](const QByteArray &data, QByteArray::Base64Options options = {}) {
        return QString::fromLatin1(data.toBase64(QByteArray::Base64UrlEncoding | options));
    };
    QTest::newRow("32 bytes") << text(bytes.left(32)) << bytes.left(16) << bytes.mid(16, 16);
    QTest::newRow("48 bytes, cut") << text(bytes) << bytes.left(16) << bytes.mid(16, 16);
    QTest::newRow("32 bytes, 43 characters") << text(bytes.left(32), QByteArray::OmitTrailingEquals) << bytes.left(16)
                                             << bytes.mid(16, 16);
    QTest::newRow("42 characters") << text(bytes.left(32)).left(42) << QByteArray() << QByteArray();
    QTest::newRow("empty") << QString() << QByteArray() << QByteArray();
    QTest::newRow("not base64") << QStringLiteral("!!!! ????") << QByteArray() << QByteArray();
}

void UpdateTokenTest::keySplit()
{
    QFETCH(QString, key);
    QFETCH(QByteArray, signingKey);
    if (signingKey.isEmpty()) {
        QCOMPARE(thrownText<std::invalid_argument>([&] { splitUpdateKey(key); }), QStringLiteral("Key too short"));
        return;
    }
    const UpdateKeyPair pair = splitUpdateKey(key);
    QCOMPARE(pair.signingKey, signingKey);
    QTEST(pair.encryptionKey, "encryptionKey");
}

// Nothing is rolled back: the prefix is already out, and no token text follows it
// because the writer holds the token until its end.
void UpdateTokenTest::readFailureLeavesPrefixOnly()
{
    FailingDevice file(20000, 2 * 6144);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    QByteArray wire;
    QCOMPARE(thrownText<std::runtime_error>([&] { stream(m_keys, file, &wire); }),
             QStringLiteral("Could not read update file"));
    QVERIFY(!file.isOpen());
    QCOMPARE(wire, QByteArray::fromHex("000000000000688c"));
}

void UpdateTokenTest::fileWriterFailures_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("tmpdir");
    QTest::addColumn<QString>("text");
    QTest::newRow("no input") << "missing.bin" << "out.token" << QString() << "Could not process file";
    QTest::newRow("no output folder") << "in.bin" << "missing/out.token" << QString() << "Could save file";
    // TMPDIR names a plain file, so no temporary file can be made in it.
    QTest::newRow("no temporary file") << "in.bin" << "out.token" << "in.bin" << "Could not prepare file";
}

void UpdateTokenTest::fileWriterFailures()
{
    QFETCH(QString, tmpdir);
    QTemporaryDir directory;
    QFile existing(directory.filePath(QStringLiteral("in.bin")));
    QVERIFY(existing.open(QIODevice::WriteOnly) && existing.write("firmware") == 8);
    existing.close();
    const QByteArray savedTmpdir = qgetenv("TMPDIR");
    const bool tmpdirWasSet = qEnvironmentVariableIsSet("TMPDIR");
    const auto restore = qScopeGuard([&] { tmpdirWasSet ? qputenv("TMPDIR", savedTmpdir) : qunsetenv("TMPDIR"); });
    if (!tmpdir.isEmpty())
        qputenv("TMPDIR", directory.filePath(tmpdir).toLocal8Bit());

    QFETCH(QString, input);
    QFETCH(QString, output);
    QTEST(thrownText<std::runtime_error>(
              [&] { prepareUpdateFile(m_keys, directory.filePath(input), directory.filePath(output)); }),
          "text");
    QVERIFY(!QFile::exists(directory.filePath(output)));
}

QTEST_GUILESS_MAIN(UpdateTokenTest)
#include "UpdateTokenTest.moc"
