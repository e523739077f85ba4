#pragma once

#include "WebCommand.h"

#include <QCommandLineOption>

// Saves each camera's current snapshot as <directory>/<serial>_<address>.png.
class SnapshotCommand : public WebCommand
{
    Q_OBJECT

public:
    explicit SnapshotCommand(QObject *parent = nullptr);

    QString name() const override;
    QString summary() const override;

protected:
    void addCommandOptions(QCommandLineParser &parser) override;
    QString prepareCommand(const QCommandLineParser &parser) override;
    int loggedIn(const QSharedPointer<CameraItem> &camera) override;

private:
    void save(const QSharedPointer<CameraItem> &camera, const QSharedPointer<QByteArray> &image);

    QCommandLineOption m_directory;
    QString m_folder;
};
