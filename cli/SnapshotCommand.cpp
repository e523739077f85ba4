#include "SnapshotCommand.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QFileInfo>

SnapshotCommand::SnapshotCommand(QObject *parent)
    : WebCommand(parent)
    , m_directory(QStringLiteral("directory"), QStringLiteral("Folder for the snapshots (default the current one)."),
                  QStringLiteral("DIR"), QStringLiteral("."))
{
    connect(&api(), &CameraAPI::liveImage, this, &SnapshotCommand::save);
}

QString SnapshotCommand::name() const
{
    return QStringLiteral("snapshot");
}

QString SnapshotCommand::summary() const
{
    return QStringLiteral("Save each camera's current snapshot to a folder.");
}

void SnapshotCommand::addCommandOptions(QCommandLineParser &parser)
{
    parser.addOption(m_directory);
}

QString SnapshotCommand::prepareCommand(const QCommandLineParser &parser)
{
    m_folder = QDir(parser.value(m_directory)).absolutePath();
    const QFileInfo folder(m_folder);
    if (!folder.isDir() || !folder.isWritable())
        return QStringLiteral("cannot write into %1").arg(m_folder);
    return {};
}

int SnapshotCommand::loggedIn(const QSharedPointer<CameraItem> &camera)
{
    api().fetchLiveSnapshot(camera);
    return 1;
}

void SnapshotCommand::save(const QSharedPointer<CameraItem> &camera, const QSharedPointer<QByteArray> &image)
{
    // A colon is no friend of file names elsewhere, so IPv6 addresses are written with dashes.
    QString address = camera->addressText();
    address.replace(QLatin1Char(':'), QLatin1Char('-'));
    const QString fileName = QDir(m_folder).filePath(QStringLiteral("%1_%2.png").arg(camera->serial(), address));
    const QString prefix = QStringLiteral("Camera %1 at %2: ").arg(camera->serial(), camera->addressText());
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(*image) != image->size()) {
        results().fail(camera, prefix + QStringLiteral("Could not write snapshot to file: %1")
                                            .arg(CameraAPI::fileErrorText(file.error())));
        return;
    }
    results().succeed(camera, prefix + QStringLiteral("Snapshot saved to %1").arg(fileName));
}
