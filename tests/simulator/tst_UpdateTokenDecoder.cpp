#include "UpdateKey.h"
#include "UpdateTokenDecoder.h"

#include <QBuffer>
#include <QMessageAuthenticationCode>
#include <QTest>

// Known answers made by an independent implementation of the token format, so that the camera
// side is checked against something other than this project's own client.
namespace {

const QByteArray kFirmware = QByteArrayLiteral("camera firmware 1.0\n");
const QByteArray kTwoBlocks = QByteArrayLiteral("0123456789abcdef0123456789abcdef");

const QByteArray kAdminFirmware = QByteArrayLiteral(
    "gAAAAABlU_EAAAECAwQFBgcICQoLDA0OD7xWQhyQWw4A-d5s1__hJPAEnqit5XTVDWiAYksaywyuyD3uKyDKUq2KWy7"
    "s83-46VijOCXiv99dt_Tqa3Mu91A=");
const QByteArray kAdminTwoBlocks = QByteArrayLiteral(
    "gAAAAABlU_EAEBESExQVFhcYGRobHB0eH_-OnjT-u0zDsuyJissANLa76Rdtna9gFrkiEra_H5z9PX1ItHLzgXVSRcW"
    "trNDW79muSdWknIvtoKMXCIsJexoXNR5T54bI5a6VfICVp5Wc");
const QByteArray kAdminEmpty = QByteArrayLiteral(
    "gAAAAABlU_EAAAECAwQFBgcICQoLDA0OD4Ab4wS9Ft7H7hHcLftiYMZeDKRZ5IbdtYBfCARduJqvHG_rlWiBbirQHXp"
    "CCznvMg==");
const QByteArray kUmlautFirmware = QByteArrayLiteral(
    "gAAAAABlU_EAAAECAwQFBgcICQoLDA0OD-uWx-hbK4DinvkeqLi3vKA6hRZFIuJuf42OTAJjqylVf-6XL4KdsMg7pS1"
    "8vNb8c1G87sWf3yFQZ5FnCLfLNsQ=");

struct Outcome
{
    int code;
    QByteArray plaintext;
};

Outcome decode(const QString &password, const QByteArray &text, qsizetype pieceSize)
{
    QBuffer sink;
    sink.open(QIODevice::WriteOnly);
    UpdateTokenDecoder decoder(UpdateKey::derive(password), &sink);
    for (qsizetype offset = 0; offset < text.size(); offset += pieceSize)
        decoder.addText(text.mid(offset, pieceSize));
    return {decoder.finish(), sink.data()};
}

} // namespace

class tst_UpdateTokenDecoder : public QObject
{
    Q_OBJECT

private slots:
    void derivesKey_data();
    void derivesKey();
    void decodes_data();
    void decodes();
};

void tst_UpdateTokenDecoder::derivesKey_data()
{
    QTest::addColumn<QString>("password");
    QTest::addColumn<QByteArray>("key");
    QTest::newRow("ascii") << QStringLiteral("admin")
                           << QByteArray::fromHex("ee5f29987f18635ba2472df7878d5a4a");
    QTest::newRow("utf-8") << QStringLiteral("P\u00e4ssw\u00f6rd")
                           << QByteArray::fromHex("3005baf1d66cc33dd1be1d90bad1129b");
}

void tst_UpdateTokenDecoder::derivesKey()
{
    QFETCH(QString, password);
    QFETCH(QByteArray, key);
    QCOMPARE(UpdateKey::derive(password), key);
}

void tst_UpdateTokenDecoder::decodes_data()
{
    QTest::addColumn<QString>("password");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("plaintext");

    const QString admin = QStringLiteral("admin");
    QByteArray otherVersion = QByteArray::fromBase64(kAdminFirmware, QByteArray::Base64UrlEncoding);
    otherVersion[0] = char(0x81);
    QByteArray standardAlphabet = kAdminFirmware;
    standardAlphabet.replace('_', '/');
    // What the client sends for an empty file: a correctly signed token without any cipher block.
    const QByteArray header =
        QByteArray::fromBase64(kAdminEmpty, QByteArray::Base64UrlEncoding).left(25);
    const QByteArray signedHeader =
        header + QMessageAuthenticationCode::hash(header, UpdateKey::derive(admin),
                                                  QCryptographicHash::Sha256);

    QTest::newRow("file") << admin << kAdminFirmware << 0 << kFirmware;
    QTest::newRow("full padding block") << admin << kAdminTwoBlocks << 0 << kTwoBlocks;
    QTest::newRow("empty file") << admin << kAdminEmpty << 0 << QByteArray();
    QTest::newRow("utf-8 password") << QStringLiteral("P\u00e4ssw\u00f6rd") << kUmlautFirmware << 0
                                    << kFirmware;
    QTest::newRow("wrong password") << QStringLiteral("admin2") << kAdminFirmware << -201
                                    << QByteArray();
    QTest::newRow("empty text") << admin << QByteArray() << -202 << QByteArray();
    QTest::newRow("header and signature only")
        << admin << signedHeader.toBase64(QByteArray::Base64UrlEncoding) << -202 << QByteArray();
    // Cut at a group boundary the text stays well-formed; only the signature can tell, and the
    // update session catches the shortfall against the announced length before it gets here.
    QTest::newRow("cut at a group boundary") << admin << kAdminFirmware.chopped(8) << -201
                                             << QByteArray();
    QTest::newRow("cut inside a group") << admin << kAdminFirmware.chopped(2) << -202 << QByteArray();
    QTest::newRow("text after padding") << admin << kAdminFirmware + "AAAA" << -202 << QByteArray();
    QTest::newRow("standard alphabet") << admin << standardAlphabet << -202 << QByteArray();
    QTest::newRow("other version")
        << admin << otherVersion.toBase64(QByteArray::Base64UrlEncoding) << -202 << QByteArray();
    QTest::newRow("shorter than header and signature")
        << admin << kAdminEmpty.left(72) << -202 << QByteArray();
}

void tst_UpdateTokenDecoder::decodes()
{
    QFETCH(QString, password);
    QFETCH(QByteArray, text);
    QFETCH(int, code);
    QFETCH(QByteArray, plaintext);

    // Whole, in single characters and in pieces that cut groups apart must all agree.
    for (const qsizetype pieceSize : {qsizetype(1), qsizetype(7), qsizetype(1) << 20}) {
        const Outcome outcome = decode(password, text, pieceSize);
        QCOMPARE(outcome.code, code);
        if (code == 0)
            QCOMPARE(outcome.plaintext, plaintext);
    }
}

QTEST_GUILESS_MAIN(tst_UpdateTokenDecoder)
#include "tst_UpdateTokenDecoder.moc"
