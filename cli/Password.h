#pragma once

#include <QString>

// Where a password comes from: never the command line, where other users of the machine see it.
// In order: a file named with --password-file (its first line), the environment variable, and
// on a terminal a prompt that does not echo.
class Password
{
public:
    // False with a message in error when none of them gives a password.
    static bool obtain(const QString &fileName, const char *variable, const QString &prompt, QString &password,
                       QString &error);

private:
    static bool readFile(const QString &fileName, QString &password, QString &error);
    static bool prompt(const QString &text, QString &password);
};
