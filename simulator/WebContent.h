#pragma once

#include "CameraConfig.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>

// What a camera's Web-API reports before anyone changes it. Every value is drawn from a
// generator seeded with the serial, so each camera differs from the others but stays the same
// from run to run. The documents mix objects, arrays, nesting, integers, fractions, large
// numbers, booleans and null, as the real resources do.
class WebContent
{
public:
    explicit WebContent(const CameraConfig &camera);

    static quint32 seed(const QString &serial);

    QJsonObject status();
    QJsonArray apps();
    QJsonObject systemProperties();
    QJsonObject anprProperties();
    QJsonObject actionEventProperties();
    QJsonObject roiProperties();
    QJsonArray availableActions();
    QJsonObject digitalIO();
    // "black" and "white" first, then the camera's own lists.
    QStringList accessListNames();
    QJsonArray accessEntries(const QString &list);
    // Name and content of each classifier the camera ships with; the first is the default.
    QList<QPair<QString, QByteArray>> classifiers();

    // The newest reading; number counts the readings of this camera.
    QJsonObject liveResult(quint64 number);
    // A day's result file: one line per reading.
    QByteArray resultFile(const QDate &day);

private:
    QString plate();
    int between(int lowest, int highest);
    double fraction(double lowest, double highest, int decimals);

    CameraConfig m_camera;
    QRandomGenerator m_random;
};
