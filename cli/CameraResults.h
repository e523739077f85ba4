#pragma once

#include "CameraItem.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QSharedPointer>
#include <QStringList>
#include <QTimer>

// The outcome of one command on each of its cameras: the lines said about it, success or
// error, in the window's words, and what was read from it. A camera is settled when every
// answer it owes has come, or when the time-out has passed; the lines of a camera already
// settled are no longer taken.
class CameraResults : public QObject
{
    Q_OBJECT

public:
    explicit CameraResults(QObject *parent = nullptr);

    // Each camera starts owing one answer. A time-out of 0 waits as long as it takes.
    void begin(const QList<QSharedPointer<CameraItem>> &cameras, int timeoutSeconds);
    // Targets that no camera answered to count as failures of their own.
    void addMissing(const QStringList &targets);

    void owe(const QSharedPointer<CameraItem> &camera, int answers);
    // An answer that says nothing of its own, such as a login that lets the work in.
    void answered(const QSharedPointer<CameraItem> &camera);
    void succeed(const QSharedPointer<CameraItem> &camera, const QString &msg);
    void fail(const QSharedPointer<CameraItem> &camera, const QString &msg);
    // An answer that is data rather than a line; settles one answer.
    void store(const QSharedPointer<CameraItem> &camera, const QString &group, const QString &key,
               const QJsonValue &value);
    bool isOpen(const QSharedPointer<CameraItem> &camera) const;

    int failures() const;
    QJsonObject toJson(const QString &command) const;

signals:
    void allSettled();

private:
    struct Outcome
    {
        QSharedPointer<CameraItem> camera;
        QString key;
        int owed = 1;
        bool failed = false;
        QJsonArray messages;
        QJsonObject data;
    };

    Outcome *outcomeOf(const CameraItem *camera);
    void settle(Outcome &outcome, int answers);
    void onTimeout();

    QList<Outcome> m_outcomes;
    QHash<const CameraItem *, int> m_index;
    QStringList m_missing;
    int m_open = 0;
    int m_timeoutSeconds = 0;
    QTimer m_deadline;
};
