#include "AnswerCheck.h"

#include "CameraFinder.h"

#include <QStringDecoder>

const QString AnswerCheck::kSerialKey = QStringLiteral("S/N");

AnswerCheck::Fault AnswerCheck::check(const QByteArray &datagram, QMap<QString, QString> *properties)
{
    if (datagram.size() > kMaxAnswerBytes)
        return Fault::TooLarge;

    // Bytes after a NUL are padding that parseAnswer ignores as well.
    const qsizetype end = datagram.indexOf('\0');
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder.decode(end < 0 ? datagram : datagram.left(end));
    if (decoder.hasError() || !isPrintable(text))
        return Fault::NotText;
    const qsizetype lines = text.count(QLatin1Char('\n')) + (text.endsWith(QLatin1Char('\n')) ? 0 : 1);
    if (lines > kMaxAnswerLines)
        return Fault::TooManyLines;

    const QMap<QString, QString> parsed = CameraFinder::parseAnswer(datagram);
    for (auto pair = parsed.cbegin(); pair != parsed.cend(); ++pair) {
        if (pair.key().size() > kMaxKeyLength || pair.value().size() > kMaxValueLength)
            return Fault::TooLong;
    }
    if (parsed.value(kSerialKey).isEmpty())
        return Fault::NoSerial;
    *properties = parsed;
    return Fault::None;
}

QString AnswerCheck::describe(Fault fault)
{
    switch (fault) {
    case Fault::None:
        break;
    case Fault::TooLarge:
        return QStringLiteral("longer than %1 bytes").arg(kMaxAnswerBytes);
    case Fault::NotText:
        return QStringLiteral("not printable text");
    case Fault::TooManyLines:
        return QStringLiteral("more than %1 lines").arg(kMaxAnswerLines);
    case Fault::TooLong:
        return QStringLiteral("a key longer than %1 or a value longer than %2 characters")
            .arg(kMaxKeyLength)
            .arg(kMaxValueLength);
    case Fault::NoSerial:
        return QStringLiteral("without a serial number");
    }
    return {};
}

bool AnswerCheck::isPrintable(const QString &text)
{
    for (const QChar c : text) {
        if (!c.isPrint() && c != QLatin1Char('\n') && c != QLatin1Char('\r') && c != QLatin1Char('\t'))
            return false;
    }
    return true;
}
