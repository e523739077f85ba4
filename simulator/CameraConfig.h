#pragma once

#include <QHostAddress>
#include <QString>

// Everything one simulated camera is: what it says about itself on discovery, where it lives,
// the password its update key comes from, and how it misbehaves when a test asks it to.
struct CameraConfig
{
    enum class AnswerMode { Unicast, Multicast };

    enum class UpdateBehaviour {
        Verify,      // real verification, answers 0, -201 or -202
        FixedCode,   // reads the token, answers updateCode
        Garbage,     // reads the token, answers text that is not a number
        Split,       // real verification, answer sent in two TCP segments
        Silent,      // reads the token, closes without answering
        Refuse,      // no listener at all, connections are refused
    };

    QString serial;
    QString firmwareVersion = QStringLiteral("1.0.0");
    QString model = QStringLiteral("ANPR Cam S1");
    QString macAddress;
    QString hostname;
    QHostAddress ipv4;
    QHostAddress ipv6;
    QString adminPassword = QStringLiteral("admin");
    AnswerMode answerMode = AnswerMode::Unicast;
    bool crlfLineEnds = false;
    bool withoutSerial = false;
    UpdateBehaviour updateBehaviour = UpdateBehaviour::Verify;
    int updateCode = 0;
};
