#pragma once

#include "CameraItem.h"

#include <QHostAddress>
#include <QList>
#include <QSharedPointer>
#include <QStringList>

// The cameras a command names: serials and addresses, or all that the scan finds. A target
// written with a colon, or with digits and dots only, is an address and must be a valid one.
class TargetList
{
public:
    // False with a message in error for an address that is none, or when nothing is named.
    bool parse(const QStringList &targets, bool all, QString &error);

    bool takesAll() const;
    bool matches(const CameraItem &camera) const;
    // The cameras named, each once, in the order found; all of them for --all.
    QList<QSharedPointer<CameraItem>> select(const QList<QSharedPointer<CameraItem>> &cameras) const;
    // The targets that none of the cameras answers to.
    QStringList missing(const QList<QSharedPointer<CameraItem>> &cameras) const;

private:
    bool named(const QString &target, const CameraItem &camera) const;

    bool m_all = false;
    QStringList m_targets;
};
