#pragma once

#include "CameraModel.h"
#include "CameraScan.h"
#include "Command.h"
#include "ProbeOptions.h"
#include "SiteVisit.h"

#include <QCommandLineOption>

// Lists the cameras that answer a scan: a JSON array, JSON Lines as they answer, or a table on
// a terminal.
class ScanCommand : public Command
{
    Q_OBJECT

public:
    explicit ScanCommand(QObject *parent = nullptr);

    QString name() const override;
    QString summary() const override;
    void addOptions(QCommandLineParser &parser) override;
    QString prepare(const QCommandLineParser &parser) override;
    void start() override;

    // Serial, addresses, last connection and every property of the discovery answer.
    static QJsonObject describe(const CameraItem &camera);

private:
    enum class Format { Json, Lines, Table };

    void onFinished();
    void printTable() const;

    ProbeOptions m_probe{10};
    QCommandLineOption m_json;
    QCommandLineOption m_jsonl;
    Format m_format = Format::Json;
    SiteVisit m_visit;
    CameraModel m_model;
    CameraScan m_scan{&m_model};
};
