#pragma once

#include "SiteCommand.h"

#include <QCommandLineOption>

struct DifferenceReport;
struct VisitInfo;

// Tells what changed on a site between two stored visits, by the window's rules and in the
// window's report: the last two visits, or the two named.
class DiffCommand : public SiteCommand
{
    Q_OBJECT

public:
    explicit DiffCommand(QObject *parent = nullptr);

    QString name() const override;
    QString summary() const override;

protected:
    void addCommandOptions(QCommandLineParser &parser) override;
    QString prepareCommand(const QCommandLineParser &parser) override;
    int read(const SiteStore &store) override;

private:
    enum class Format { Text, Json, Csv, Html };

    // The visit of the site with this id; false after saying there is none.
    bool find(const QList<VisitInfo> &visits, qint64 id, VisitInfo &visit) const;
    void print(const DifferenceReport &report) const;

    QCommandLineOption m_csv;
    QCommandLineOption m_html;
    Format m_format = Format::Text;
    QList<qint64> m_ids;
};
