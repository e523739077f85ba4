#pragma once

#include "Command.h"

#include <QList>
#include <QStringList>

#include <memory>
#include <vector>

// The tool's commands and the first word of the command line that picks one.
class Tool : public QObject
{
    Q_OBJECT

public:
    explicit Tool(QObject *parent = nullptr);
    ~Tool() override;

    // Checks the command line and starts the command; false when the exit status is already
    // known (help, or a bad command line), then given in exitCode.
    bool start(const QStringList &arguments, int &exitCode);

signals:
    void finished(int exitCode);

private:
    QString usage() const;
    Command *commandNamed(const QString &name) const;

    std::vector<std::unique_ptr<Command>> m_commands;
};
