#include "Password.h"

#include <QFile>

#include <cstdio>
#include <iostream>
#include <string>
#include <termios.h>
#include <unistd.h>

bool Password::obtain(const QString &fileName, const char *variable, const QString &prompt, QString &password,
                      QString &error)
{
    if (!fileName.isEmpty())
        return readFile(fileName, password, error);
    password = qEnvironmentVariable(variable);
    if (!password.isEmpty())
        return true;
    if (Password::prompt(prompt, password) && !password.isEmpty())
        return true;
    error = QStringLiteral("no password: set %1, give --password-file, or run on a terminal")
                .arg(QLatin1String(variable));
    return false;
}

bool Password::readFile(const QString &fileName, QString &password, QString &error)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        error = QStringLiteral("cannot read the password file %1: %2").arg(fileName, file.errorString());
        return false;
    }
    password = QString::fromUtf8(file.readLine()).remove(QLatin1Char('\n'));
    if (password.isEmpty()) {
        error = QStringLiteral("the password file %1 holds no password").arg(fileName);
        return false;
    }
    return true;
}

bool Password::prompt(const QString &text, QString &password)
{
    if (!isatty(STDIN_FILENO) || !isatty(STDERR_FILENO))
        return false;
    termios saved{};
    if (tcgetattr(STDIN_FILENO, &saved) != 0)
        return false;
    termios silent = saved;
    silent.c_lflag &= ~tcflag_t(ECHO);
    std::fputs(qPrintable(text + QStringLiteral(": ")), stderr);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    std::string line;
    std::getline(std::cin, line);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
    std::fputc('\n', stderr);
    password = QString::fromStdString(line);
    return true;
}
