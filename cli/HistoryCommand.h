#pragma once

#include "SiteCommand.h"

// Lists the stored visits of a site, oldest first: id, time and camera count.
class HistoryCommand : public SiteCommand
{
    Q_OBJECT

public:
    using SiteCommand::SiteCommand;

    QString name() const override;
    QString summary() const override;

protected:
    void addCommandOptions(QCommandLineParser &parser) override;
    QString prepareCommand(const QCommandLineParser &parser) override;
    int read(const SiteStore &store) override;
};
