#include "UpdateCommand.h"

#include "Output.h"
#include "UpdateStatus.h"
#include "UpdateTask.h"

#include <QCommandLineParser>
#include <QFile>

#include <chrono>

UpdateCommand::UpdateCommand(QObject *parent)
    : CameraCommand(parent)
    , m_file(QStringLiteral("file"), QStringLiteral("The update file."), QStringLiteral("FILE"))
    , m_updatePort(QStringLiteral("update-port"),
                   QStringLiteral("Update port of the cameras (default %1).").arg(UpdateLauncher::kDefaultPort),
                   QStringLiteral("port"), QString::number(UpdateLauncher::kDefaultPort))
    , m_transfers(QStringLiteral("transfers"),
                  QStringLiteral("Transfers at once (default %1).").arg(UpdateLauncher::kDefaultTransferLimit),
                  QStringLiteral("N"), QString::number(UpdateLauncher::kDefaultTransferLimit))
{
    connect(&m_launcher, &UpdateLauncher::cameraProgress, this,
            [](const QSharedPointer<CameraItem> &camera, const QString &text) {
                Output::note(QStringLiteral("Camera %1 at %2: %3").arg(camera->serial(), camera->addressText(), text));
            });
    connect(&m_launcher, &UpdateLauncher::cameraUpdated, this, [this](const QSharedPointer<CameraItem> &camera, int code) {
        const QString line =
            QStringLiteral("Camera %1 at %2: %3").arg(camera->serial(), camera->addressText(), updateStatusText(code));
        Output::note(line);
        if (code == 0)
            results().succeed(camera, line);
        else
            results().fail(camera, line);
    });
    connect(&m_launcher, &UpdateLauncher::cameraFailed, this, [this](const QSharedPointer<CameraItem> &camera, const QString &msg) {
        Output::note(msg);
        results().fail(camera, msg);
    });
}

QString UpdateCommand::name() const
{
    return QStringLiteral("update");
}

QString UpdateCommand::summary() const
{
    return QStringLiteral("Send an update file to cameras, many at once.");
}

void UpdateCommand::addCommandOptions(QCommandLineParser &parser)
{
    parser.addOptions({m_file, m_updatePort, m_transfers});
}

QString UpdateCommand::prepareCommand(const QCommandLineParser &parser)
{
    m_fileName = parser.value(m_file);
    if (m_fileName.isEmpty())
        return QStringLiteral("no update file: give --file");
    QFile file(m_fileName);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read %1: %2").arg(m_fileName, file.errorString());
    bool ok = false;
    m_port = parser.value(m_updatePort).toUShort(&ok);
    if (!ok || m_port == 0)
        return QStringLiteral("bad port '%1'").arg(parser.value(m_updatePort));
    const int transfers = parser.value(m_transfers).toInt(&ok);
    if (!ok || transfers < 1)
        return QStringLiteral("bad number of transfers '%1'").arg(parser.value(m_transfers));
    m_launcher.setTransferLimit(transfers);
    return {};
}

const char *UpdateCommand::passwordVariable() const
{
    return "CAMERA_ADMIN_PASSWORD";
}

QString UpdateCommand::passwordPrompt() const
{
    return QStringLiteral("Administrator password of %1").arg(user());
}

// Applying an update takes minutes, and the cameras wait their turn in the pool.
int UpdateCommand::defaultTimeout() const
{
    return int(UpdateTask::kDefaultStatusTimeout.count());
}

// Each task gives up on its camera by itself; a camera waiting its turn is not late.
int UpdateCommand::deadline() const
{
    return 0;
}

void UpdateCommand::work(const QList<QSharedPointer<CameraItem>> &cameras)
{
    m_launcher.setStatusTimeout(std::chrono::seconds(timeoutSeconds()));
    m_launcher.start(cameras, m_fileName, m_port, user(), password());
}
