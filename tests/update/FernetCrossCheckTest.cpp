#include "UpdateToken.h"

#include <QBuffer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

// Every token the program writes must be a standard Fernet token that Debian's
// python3-cryptography opens with the program's key string, and that key string must be
// what Python's own PBKDF2 chain gives for the password (fernet_check.py).
class FernetCrossCheckTest : public QObject
{
    Q_OBJECT

private slots:
    void tokensAndKeysAgreeWithPython();

private:
    void writeFile(const QString &name, const QByteArray &data);
    void writeCase(const QString &name, const QByteArray &plain, const QByteArray &token, const QString &key);

    QTemporaryDir m_directory;
};

void FernetCrossCheckTest::writeFile(const QString &name, const QByteArray &data)
{
    QFile file(m_directory.filePath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(data), qint64(data.size()));
}

void FernetCrossCheckTest::writeCase(const QString &name, const QByteArray &plain, const QByteArray &token,
                                     const QString &key)
{
    writeFile(name + QStringLiteral(".plain"), plain);
    writeFile(name + QStringLiteral(".token"), token);
    writeFile(name + QStringLiteral(".key"), key.toLatin1());
}

void FernetCrossCheckTest::tokensAndKeysAgreeWithPython()
{
    const QString key = deriveUpdateKey(QStringLiteral("admin"), QStringLiteral("Cam3ra-Admin!"));
    const UpdateKeyPair keys = splitUpdateKey(key);
    const QString input = m_directory.filePath(QStringLiteral("input.bin"));
    QStringList expected;
    QByteArray oneByteToken;
    for (int size : {0, 1, 15, 16, 4095, 4096, 4097, 4110, 6143, 6144, 6145, (3 << 20) + 7}) {
        QByteArray plain(size, '\0');
        QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(plain.data()), size / 4);
        // An empty file gets no padding block: its token is signed but holds no ciphertext.
        const QString outcome = size == 0 ? QStringLiteral(" signed undecryptable") : QStringLiteral(" signed same");
        const QString number = QStringLiteral("%1").arg(size, 8, 10, QLatin1Char('0'));

        QBuffer file(&plain);
        QByteArray wire;
        QBuffer out(&wire);
        QVERIFY(file.open(QIODevice::ReadOnly) && out.open(QIODevice::WriteOnly));
        writeUpdateToken(keys, file, out);
        writeCase("stream-" + number, plain, wire.mid(8), key);
        if (size == 1)
            oneByteToken = wire.mid(8);

        writeFile(QStringLiteral("input.bin"), plain);
        prepareUpdateFile(keys, input, m_directory.filePath(QStringLiteral("prepared")));
        QFile prepared(m_directory.filePath(QStringLiteral("prepared")));
        QVERIFY(prepared.open(QIODevice::ReadOnly));
        writeCase("file-" + number, plain, prepared.readAll(), key);
        expected << "stream-" + number + outcome << "file-" + number + outcome;
    }
    // A camera with another admin password rejects the token at its signature.
    writeCase(QStringLiteral("wrong-password"), QByteArray(), oneByteToken,
              deriveUpdateKey(QStringLiteral("admin"), QStringLiteral("cam3ra-admin!")));
    expected << QStringLiteral("wrong-password unsigned undecryptable");

    // The user name takes no part; multi-byte characters enter as UTF-8.
    const QStringList passwords = {QString(), QStringLiteral("admin"), QStringLiteral("pässwörd €"),
                                   QStringLiteral("with spaces and ?/+= signs")};
    QByteArray keyList;
    for (int i = 0; i < passwords.size(); ++i) {
        const QString user = i % 2 ? QStringLiteral("admin") : QStringLiteral("installer");
        keyList += passwords[i].toUtf8().toHex() + ' ' + deriveUpdateKey(user, passwords[i]).toLatin1() + '\n';
        expected << QStringLiteral("key %1 same").arg(i);
    }
    writeFile(QStringLiteral("keys.txt"), keyList);

    QProcess checker;
    checker.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    checker.start(QStringLiteral("python3"), {QStringLiteral(FERNET_CHECK_SCRIPT), m_directory.path()});
    QVERIFY2(checker.waitForFinished(120000), qPrintable(checker.errorString()));
    QCOMPARE(checker.exitCode(), 0);
    QStringList results = QString::fromUtf8(checker.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    results.sort();
    expected.sort();
    QCOMPARE(results, expected);
}

QTEST_GUILESS_MAIN(FernetCrossCheckTest)
#include "FernetCrossCheckTest.moc"
