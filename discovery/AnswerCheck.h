#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

// Decides whether a datagram is a camera's answer at all. Anything on the cameras' network may
// send to the answer port, and every answer taken becomes a camera that the program logs in to,
// so only short, printable text with a serial number passes.
class AnswerCheck
{
public:
    // Real answers are a few hundred bytes of a handful of short lines; one Ethernet frame
    // holds more than any of them.
    static constexpr qsizetype kMaxAnswerBytes = 1400;
    static constexpr qsizetype kMaxAnswerLines = 32;
    static constexpr qsizetype kMaxKeyLength = 64;
    static constexpr qsizetype kMaxValueLength = 256;
    static const QString kSerialKey;

    enum class Fault {
        None,
        TooLarge,
        NotText,
        TooManyLines,
        TooLong,
        NoSerial,
    };

    // The answer's key/value pairs in *properties when the datagram is a well-formed answer.
    static Fault check(const QByteArray &datagram, QMap<QString, QString> *properties);
    // Why answers with this fault were dropped, as the window's message says it.
    static QString describe(Fault fault);

private:
    static bool isPrintable(const QString &text);
};
