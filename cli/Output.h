#pragma once

#include <QJsonObject>
#include <QString>

// What the tool prints: JSON on standard output, lines for people on standard error.
class Output
{
public:
    static bool stdoutIsTerminal();
    static void json(const QJsonDocument &document);
    // One object on a line of its own, flushed at once so that a reader sees it as it comes.
    static void jsonLine(const QJsonObject &object);
    static void text(const QString &text);
    static void note(const QString &line);
};
