#pragma once

#include "CameraModel.h"
#include "CameraResults.h"
#include "CameraScan.h"
#include "Command.h"
#include "ProbeOptions.h"
#include "TargetList.h"

#include <QCommandLineOption>

// A command that works on chosen cameras: it scans until the cameras named have answered (or
// for the whole time with --all), hands them to the command's work, and prints one JSON
// result with each camera's outcome. The password comes from the variable the command names.
class CameraCommand : public Command
{
    Q_OBJECT

public:
    explicit CameraCommand(QObject *parent = nullptr);

    void addOptions(QCommandLineParser &parser) override;
    QString prepare(const QCommandLineParser &parser) override;
    void start() override;

protected:
    virtual void addCommandOptions(QCommandLineParser &parser) = 0;
    virtual QString prepareCommand(const QCommandLineParser &parser) = 0;
    // The environment variable that holds the password, and what the prompt asks for.
    virtual const char *passwordVariable() const = 0;
    virtual QString passwordPrompt() const = 0;
    virtual int defaultTimeout() const;
    // How long all cameras together may take before those still open fail; 0 for no limit.
    virtual int deadline() const;
    // Starts the work on the cameras; each owes one answer to results() from the start.
    virtual void work(const QList<QSharedPointer<CameraItem>> &cameras) = 0;
    // Once every camera is settled and the result printed; false when what the command does
    // after the cameras failed (it says why).
    virtual bool settled();

    // The cameras the command worked on.
    QList<QSharedPointer<CameraItem>> selected() const;

    CameraResults &results();
    CameraModel &model();
    QString user() const;
    QString password() const;
    int timeoutSeconds() const;

private:
    void onScanned();

    ProbeOptions m_probe{2};
    QCommandLineOption m_all;
    QCommandLineOption m_timeout;
    QCommandLineOption m_user;
    QCommandLineOption m_passwordFile;
    TargetList m_targets;
    QString m_userName;
    QString m_password;
    int m_timeoutSeconds = 0;
    CameraModel m_model;
    CameraScan m_scan{&m_model};
    CameraResults m_results;
    QList<QSharedPointer<CameraItem>> m_selected;
};
