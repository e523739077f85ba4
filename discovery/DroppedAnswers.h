#pragma once

#include <QList>
#include <QPair>
#include <QString>

// Counts the datagrams that discovery did not take, by reason, so that a scan can say once
// what it dropped instead of once per datagram: a flood must not become a flood of messages.
class DroppedAnswers
{
public:
    void add(const QString &reason);
    bool isEmpty() const;
    void clear();
    // One line for the window, such as
    // "Discovery dropped 3 answers: 2 not printable text, 1 without a serial number".
    QString summary() const;

private:
    QList<QPair<QString, int>> m_counts;
};
