#include "UpdateToken.h"

#include <QBuffer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

// Every token either writer produces must be a standard Fernet token that Debian's
// python3-cryptography opens with the program's key string, and that key string must be what
// Python's own PBKDF2 chain gives for the password (fernet_check.py).
class tst_FernetCrossCheck : public QObject
{
    Q_OBJECT

private slots:
    void tokensAndKeysAgreeWithPython();

private:
    void writeFile(const QString &name, const QByteArray &data);

    QTemporaryDir m_directory;
};

void tst_FernetCrossCheck::writeFile(const QString &name, const QByteArray &data)
{
    QFile file(m_directory.filePath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(data), qint64(data.size()));
}

void tst_FernetCrossCheck::tokensAndKeysAgreeWithPython()
{
    const QString key = deriveUpdateKey(QStringLiteral("admin"), QStringLiteral("Cam3ra-Admin!"));
    const UpdateKeyPair keys = splitUpdateKey(key);
    writeFile(QStringLiteral("key"), key.toLatin1());
    const QString input = m_directory.filePath(QStringLiteral("input.bin"));
    const QString prepared = m_directory.filePath(QStringLiteral("prepared"));
    QStringList expected;
    // Around the read chunks of both writers (4096, 6144) and the encoder's pieces (4110).
    for (int size : {0, 1, 15, 16, 4095, 4096, 4097, 4110, 6143, 6144, 6145, (3 << 20) + 7}) {
        QByteArray plain(size, '\0');
        QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(plain.data()), size / 4);
        const QString number = QStringLiteral("%1").arg(size, 8, 10, QLatin1Char('0'));
        writeFile(number + ".plain", plain);

        QBuffer file(&plain);
        QByteArray wire;
        QBuffer out(&wire);
        QVERIFY(file.open(QIODevice::ReadOnly) && out.open(QIODevice::WriteOnly));
        writeUpdateToken(keys, file, out);
        writeFile(number + ".stream.token", wire.mid(8));

        writeFile(QStringLiteral("input.bin"), plain);
        prepareUpdateFile(keys, input, prepared);
        QVERIFY(QFile::rename(prepared, m_directory.filePath(number + ".file.token")));
        // An empty file gets no padding block: its token is signed but holds no ciphertext.
        const QString outcome = size == 0 ? QStringLiteral(" signed") : QStringLiteral(" same");
        expected << number + ".stream" + outcome << number + ".file" + outcome;
    }

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
    QStringList results = QString::fromUtf8(checker.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
    results.sort();
    expected.sort();
    QCOMPARE(results, expected);
}

QTEST_GUILESS_MAIN(tst_FernetCrossCheck)
#include "tst_FernetCrossCheck.moc"
