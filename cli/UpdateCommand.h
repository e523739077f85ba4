#pragma once

#include "CameraCommand.h"
#include "UpdateLauncher.h"

#include <QCommandLineOption>

// Sends one update file to the cameras through the window's bounded pool of update tasks,
// telling each camera's steps on standard error as they happen.
class UpdateCommand : public CameraCommand
{
    Q_OBJECT

public:
    explicit UpdateCommand(QObject *parent = nullptr);

    QString name() const override;
    QString summary() const override;

protected:
    void addCommandOptions(QCommandLineParser &parser) override;
    QString prepareCommand(const QCommandLineParser &parser) override;
    const char *passwordVariable() const override;
    QString passwordPrompt() const override;
    int defaultTimeout() const override;
    int deadline() const override;
    void work(const QList<QSharedPointer<CameraItem>> &cameras) override;

private:
    QCommandLineOption m_file;
    QCommandLineOption m_updatePort;
    QCommandLineOption m_transfers;
    QString m_fileName;
    quint16 m_port = UpdateLauncher::kDefaultPort;
    UpdateLauncher m_launcher{&model()};
};
