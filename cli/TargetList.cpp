#include "TargetList.h"

#include "ScanSchedule.h"

#include <QRegularExpression>

bool TargetList::parse(const QStringList &targets, bool all, QString &error)
{
    static const QRegularExpression looksNumeric(QStringLiteral("^[0-9.]+$"));
    for (const QString &target : targets) {
        QHostAddress address;
        const bool isAddress = target.contains(QLatin1Char(':')) || looksNumeric.match(target).hasMatch();
        if (isAddress && !ScanSchedule::parseGroup(target, address)) {
            error = QStringLiteral("bad address '%1'").arg(target);
            return false;
        }
    }
    if (targets.isEmpty() && !all) {
        error = QStringLiteral("no camera named: give serials or addresses, or --all");
        return false;
    }
    m_targets = targets;
    m_all = all;
    return true;
}

bool TargetList::takesAll() const
{
    return m_all;
}

bool TargetList::named(const QString &target, const CameraItem &camera) const
{
    if (target == camera.serial())
        return true;
    const QHostAddress address(target);
    return !address.isNull() && address.isEqual(camera.address(), QHostAddress::TolerantConversion);
}

bool TargetList::matches(const CameraItem &camera) const
{
    if (m_all)
        return true;
    for (const QString &target : m_targets) {
        if (named(target, camera))
            return true;
    }
    return false;
}

QList<QSharedPointer<CameraItem>> TargetList::select(const QList<QSharedPointer<CameraItem>> &cameras) const
{
    QList<QSharedPointer<CameraItem>> selected;
    for (const QSharedPointer<CameraItem> &camera : cameras) {
        if (matches(*camera))
            selected.append(camera);
    }
    return selected;
}

QStringList TargetList::missing(const QList<QSharedPointer<CameraItem>> &cameras) const
{
    QStringList missing;
    for (const QString &target : m_targets) {
        const bool found = std::any_of(cameras.cbegin(), cameras.cend(),
                                       [&](const QSharedPointer<CameraItem> &camera) { return named(target, *camera); });
        if (!found)
            missing.append(target);
    }
    return missing;
}
