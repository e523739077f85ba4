#include "Tool.h"

#include "DiffCommand.h"
#include "GetCommand.h"
#include "HistoryCommand.h"
#include "Output.h"
#include "ScanCommand.h"
#include "SetCommand.h"
#include "SnapshotCommand.h"
#include "UpdateCommand.h"

#include <QCommandLineParser>

Tool::Tool(QObject *parent)
    : QObject(parent)
{
    m_commands.push_back(std::make_unique<ScanCommand>());
    m_commands.push_back(std::make_unique<GetCommand>());
    m_commands.push_back(std::make_unique<SetCommand>());
    m_commands.push_back(std::make_unique<UpdateCommand>());
    m_commands.push_back(std::make_unique<SnapshotCommand>());
    m_commands.push_back(std::make_unique<HistoryCommand>());
    m_commands.push_back(std::make_unique<DiffCommand>());
    for (const std::unique_ptr<Command> &command : m_commands)
        connect(command.get(), &Command::finished, this, &Tool::finished);
}

Tool::~Tool() = default;

QString Tool::usage() const
{
    QString text = QStringLiteral("Usage: camera-cli COMMAND [OPTIONS] [SERIAL|ADDRESS...]\n\n"
                                  "Finds, reads, changes and updates cameras from scripts, and tells what changed on a "
                                  "site since an earlier visit. Commands:\n");
    for (const std::unique_ptr<Command> &command : m_commands)
        text += QStringLiteral("  %1%2\n").arg(command->name(), -10).arg(command->summary());
    text += QStringLiteral("\nSee camera-cli COMMAND --help. Exit status: 0 when every camera succeeded, 1 when any "
                           "failed (or the site memory cannot be used), 2 for a wrong command line.\n"
                           "Passwords: CAMERA_WEB_PASSWORD, CAMERA_ADMIN_PASSWORD, --password-file, or a prompt on "
                           "a terminal.\n");
    return text;
}

Command *Tool::commandNamed(const QString &name) const
{
    for (const std::unique_ptr<Command> &command : m_commands) {
        if (command->name() == name)
            return command.get();
    }
    return nullptr;
}

bool Tool::start(const QStringList &arguments, int &exitCode)
{
    const QString first = arguments.value(1);
    if (first == QLatin1String("--help") || first == QLatin1String("-h") || first == QLatin1String("help")) {
        Output::text(usage());
        exitCode = Command::kSuccess;
        return false;
    }
    Command *command = commandNamed(first);
    if (!command) {
        Output::note(first.isEmpty() ? QStringLiteral("camera-cli: no command given; see camera-cli --help")
                                     : QStringLiteral("camera-cli: unknown command '%1'; see camera-cli --help").arg(first));
        exitCode = Command::kUsage;
        return false;
    }

    QCommandLineParser parser;
    parser.setApplicationDescription(command->summary());
    const QCommandLineOption help = parser.addHelpOption();
    command->addOptions(parser);
    QStringList rest = arguments;
    rest.removeAt(1);
    if (!parser.parse(rest)) {
        Output::note(QStringLiteral("camera-cli %1: %2").arg(first, parser.errorText()));
        exitCode = Command::kUsage;
        return false;
    }
    if (parser.isSet(help)) {
        Output::text(parser.helpText().replace(QStringLiteral("camera-cli [options]"),
                                               QStringLiteral("camera-cli %1 [options]").arg(first)));
        exitCode = Command::kSuccess;
        return false;
    }
    const QString error = command->prepare(parser);
    if (!error.isEmpty()) {
        Output::note(QStringLiteral("camera-cli %1: %2").arg(first, error));
        exitCode = Command::kUsage;
        return false;
    }
    command->start();
    return true;
}
