#pragma once

#include "CameraItem.h"

#include <QCommandLineOption>
#include <QDateTime>
#include <QList>
#include <QSharedPointer>

class QCommandLineParser;

// --site NAME of a command that visits cameras: the cameras it saw, with what it read of them,
// are kept as a visit of the site in the window's site memory.
class SiteVisit
{
public:
    SiteVisit();

    void add(QCommandLineParser &parser);
    // An empty text when the option holds together, else what is wrong; the visit begins now.
    QString read(const QCommandLineParser &parser);
    bool isWanted() const;
    // Stores the visit and says so on standard error; false after saying why it could not.
    bool store(const QString &command, const QList<QSharedPointer<CameraItem>> &cameras) const;

private:
    QCommandLineOption m_option;
    QString m_site;
    QDateTime m_time;
};
