#include "Output.h"

#include <QJsonDocument>

#include <cstdio>
#include <unistd.h>

bool Output::stdoutIsTerminal()
{
    return isatty(STDOUT_FILENO) != 0;
}

void Output::json(const QJsonDocument &document)
{
    const QByteArray text = document.toJson(QJsonDocument::Indented);
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    std::fflush(stdout);
}

void Output::jsonLine(const QJsonObject &object)
{
    const QByteArray text = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    std::fflush(stdout);
}

void Output::text(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fflush(stdout);
}

void Output::note(const QString &line)
{
    std::fprintf(stderr, "%s\n", qPrintable(line));
}
