#pragma once

#include "Command.h"

#include <QCommandLineOption>

class SiteStore;

// A command that reads the stored visits of one site (--site NAME) from the window's site
// memory, and prints JSON when asked or when not on a terminal, else text for people.
class SiteCommand : public Command
{
    Q_OBJECT

public:
    explicit SiteCommand(QObject *parent = nullptr);

    void addOptions(QCommandLineParser &parser) override;
    QString prepare(const QCommandLineParser &parser) override;
    void start() override;

protected:
    virtual void addCommandOptions(QCommandLineParser &parser) = 0;
    virtual QString prepareCommand(const QCommandLineParser &parser) = 0;
    // The work on the open store; returns the exit status, having said why when it is not 0.
    virtual int read(const SiteStore &store) = 0;

    QString site() const;
    bool wantsJson() const;
    // "camera-cli COMMAND: TEXT" on standard error.
    void complain(const QString &text) const;

private:
    QCommandLineOption m_site;
    QCommandLineOption m_json;
    QString m_siteName;
    bool m_wantsJson = false;
};
