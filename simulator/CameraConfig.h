#pragma once

#include <QHostAddress>
#include <QJsonObject>
#include <QString>

// Everything one simulated camera is: what it says about itself on discovery, where it lives,
// the password its update key comes from, who may log in to its Web-API, and how it misbehaves
// when a test asks it to.
struct CameraConfig
{
    enum class AnswerMode { Unicast, Multicast };

    enum class UpdateBehaviour {
        Verify,      // real verification, answers 0, -201 or -202
        FixedCode,   // reads the token, answers updateCode
        Garbage,     // reads the token, answers text that is not a number
        Split,       // real verification, answer sent in two TCP segments
        Silent,      // reads the token, closes without answering
        Mute,        // reads the token, keeps the connection open and never answers
        Early,       // answers -201 as soon as the length has arrived, then reads the token
        Refuse,      // no listener at all, connections are refused
    };

    enum class WebBehaviour {
        Ok,            // a working Web-API
        Refuse,        // no listener at all, connections are refused
        Hang,          // accepts and reads requests, never answers
        Error500,      // every request answers 500 with a JSON message
        Error500Plain, // every request answers 500 with an empty body
        Malformed,     // logins work, JSON resources arrive cut in half
        HangReads,     // logins work, nothing else is ever answered
        Endless,       // logins work, everything else answers an endless chunked body
        Huge,          // logins work, everything else answers hugeBytes of zeros
        Trickle,       // logins work, everything else arrives one byte every trickleMs
        Redirect,      // every request, the login too, is redirected to redirectTo
        Html,          // logins work, resources answer an HTML page
        Empty,         // logins work, resources answer 200 with an empty body
    };

    enum class DiscoveryBehaviour {
        Answer,      // a well-formed answer to each probe
        Random,      // random bytes instead of the answer
        Control,     // the answer with terminal control characters in the model name
        Overlong,    // the answer with a model name of kOverlongValueLength characters
        Flood,       // kFloodSerials answers to each probe, each with a serial of its own
        Unsolicited, // no answer to probes, the answer to the answer group every kUnsolicitedIntervalMs
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
    DiscoveryBehaviour discoveryBehaviour = DiscoveryBehaviour::Answer;
    // Answers leave from this address instead of the camera's own address of its family.
    QHostAddress forgedSender;
    UpdateBehaviour updateBehaviour = UpdateBehaviour::Verify;
    int updateCode = 0;
    QString webUser = QStringLiteral("admin");
    QString webPassword = QStringLiteral("admin");
    int sessionSeconds = 3600;
    WebBehaviour webBehaviour = WebBehaviour::Ok;
    qint64 hugeBytes = qint64(2) * 1024 * 1024 * 1024;
    int trickleMs = 300;
    QString redirectTo;
    // The Web-API stops listening silentAfterMs after start for silentForMs (0: for good);
    // a negative silentAfterMs keeps it listening.
    qint64 silentAfterMs = -1;
    qint64 silentForMs = 0;
    // ANPR properties that differ from the ones the camera makes up from its serial.
    QJsonObject anprChanges;
};
