#pragma once

#include <QObject>
#include <QString>

class QCommandLineParser;

// One command of the tool: its options, their check, and the work, which runs in the event
// loop and ends with the exit status.
class Command : public QObject
{
    Q_OBJECT

public:
    // Every camera succeeded; some camera failed (the output says which); the command line is wrong.
    static constexpr int kSuccess = 0;
    static constexpr int kFailure = 1;
    static constexpr int kUsage = 2;

    using QObject::QObject;

    virtual QString name() const = 0;
    virtual QString summary() const = 0;
    virtual void addOptions(QCommandLineParser &parser) = 0;
    // An empty text when the options hold together, else what is wrong, in one line.
    virtual QString prepare(const QCommandLineParser &parser) = 0;
    virtual void start() = 0;

signals:
    void finished(int exitCode);
};
