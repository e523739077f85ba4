#include "UpdateToken.h"

#include <QBuffer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

// Every token the program writes must be a standard Fernet token that Debian's
// python3-cryptography opens with the program's key, and the key itself must be what
// Python's own PBKDF2 chain gives for the password.
class FernetCrossCheckTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void tokensOpenElsewhere();

private:
    void writeCase(const QString &name, const QByteArray &plain, const QByteArray &token, const QString &key);
    QStringList runChecker();

    QTemporaryDir m_directory;
    QString m_key;
};

void FernetCrossCheckTest::initTestCase()
{
    QVERIFY(m_directory.isValid());
    m_key = deriveUpdateKey(QStringLiteral("admin"), QStringLiteral("Cam3ra-Admin!"));
}

void FernetCrossCheckTest::writeCase(const QString &name, const QByteArray &plain, const QByteArray &token,
                                     const QString &key)
{
    const auto write = [this, &name](const char *suffix, const QByteArray &data) {
        QFile file(m_directory.filePath(name + QLatin1String(suffix)));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(data), qint64(data.size()));
    };
    write(".plain", plain);
    write(".token", token);
    write(".key", key.toLatin1());
}

QStringList FernetCrossCheckTest::runChecker()
{
    QProcess checker;
    checker.start(QStringLiteral("python3"), {QStringLiteral(FERNET_CHECK_SCRIPT), m_directory.path()});
    if (!checker.waitForFinished(120000) || checker.exitStatus() != QProcess::NormalExit || checker.exitCode() != 0) {
        qWarning().noquote() << "checker failed:" << checker.errorString() << checker.readAllStandardError();
        return {};
    }
    return QString::fromUtf8(checker.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

void FernetCrossCheckTest::tokensOpenElsewhere()
{
    const UpdateKeyPair keys = splitUpdateKey(m_key);
    QStringList expected;

    const QList<int> sizes = {0, 1, 15, 16, 4095, 4096, 4097, 4110, 6143, 6144, 6145, (3 << 20) + 7};
    for (int size : sizes) {
        QByteArray plain(size, Qt::Uninitialized);
        for (char &byte : plain)
            byte = char(QRandomGenerator::global()->bounded(256));
        // An empty file has no padding block, so its token is signed but holds no ciphertext.
        const QString outcome = size == 0 ? QStringLiteral("signed undecryptable") : QStringLiteral("signed same");

        QBuffer file(&plain);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QByteArray wire;
        QBuffer out(&wire);
        QVERIFY(out.open(QIODevice::WriteOnly));
        writeUpdateToken(keys, file, out);
        const QString streamed = QStringLiteral("stream-%1").arg(size, 8, 10, QLatin1Char('0'));
        writeCase(streamed, plain, wire.mid(8), m_key);
        expected << streamed + QLatin1Char(' ') + outcome;

        const QString input = m_directory.filePath(QStringLiteral("input.bin"));
        QFile inputFile(input);
        QVERIFY(inputFile.open(QIODevice::WriteOnly));
        inputFile.write(plain);
        inputFile.close();
        const QString prepared = QStringLiteral("file-%1").arg(size, 8, 10, QLatin1Char('0'));
        prepareUpdateFile(keys, input, m_directory.filePath(prepared + QStringLiteral(".token")));
        QFile preparedToken(m_directory.filePath(prepared + QStringLiteral(".token")));
        QVERIFY(preparedToken.open(QIODevice::ReadOnly));
        writeCase(prepared, plain, preparedToken.readAll(), m_key);
        expected << prepared + QLatin1Char(' ') + outcome;
    }

    // A camera with another admin password must reject the token at its signature.
    const QByteArray plain("firmware image");
    QByteArray source(plain);
    QBuffer file(&source);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QByteArray wire;
    QBuffer out(&wire);
    QVERIFY(out.open(QIODevice::WriteOnly));
    writeUpdateToken(keys, file, out);
    writeCase(QStringLiteral("wrong-password"), plain, wire.mid(8),
              deriveUpdateKey(QStringLiteral("admin"), QStringLiteral("cam3ra-admin!")));
    expected << QStringLiteral("wrong-password unsigned undecryptable");

    const QStringList passwords = {QString(), QStringLiteral("admin"), QStringLiteral("Cam3ra-Admin!"),
                                   QStringLiteral("pässwörd €"), QStringLiteral("with spaces and ?/+= signs")};
    QFile keyList(m_directory.filePath(QStringLiteral("keys.txt")));
    QVERIFY(keyList.open(QIODevice::WriteOnly));
    for (int i = 0; i < passwords.size(); ++i) {
        keyList.write(passwords[i].toUtf8().toHex() + ' ' + deriveUpdateKey(QStringLiteral("admin"), passwords[i]).toLatin1()
                      + '\n');
        expected << QStringLiteral("key %1 same").arg(i);
    }
    keyList.close();

    expected.sort();
    QStringList results = runChecker();
    results.sort();
    QCOMPARE(results, expected);
}

QTEST_GUILESS_MAIN(FernetCrossCheckTest)
#include "FernetCrossCheckTest.moc"
