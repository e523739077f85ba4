#include "SyntheticSite.h"

#include "FleetGenerator.h"
#include "LabAddresses.h"
#include "WebResources.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

QJsonDocument read(WebResources &camera, const QString &path)
{
    return QJsonDocument::fromJson(camera.answer("GET", path, QByteArray(), QByteArray(), {}).body);
}

} // namespace

QList<CameraRecord> SyntheticSite::visit(int cameraCount, int visitNumber)
{
    QList<CameraRecord> cameras;
    for (int network = 1; cameras.size() < cameraCount; ++network) {
        const int count = std::min(cameraCount - int(cameras.size()), LabAddresses::kMaxCameraCount);
        const QList<CameraConfig> fleet = FleetGenerator::generate(count, network, 0);
        for (const CameraConfig &config : fleet) {
            WebResources web(config);
            CameraRecord camera;
            camera.serial = config.serial;
            camera.address = config.ipv4.toString();
            camera.discovery = {{QStringLiteral("S/N"), config.serial},
                                {QStringLiteral("Model"), config.model},
                                {QStringLiteral("Firmware"), config.firmwareVersion},
                                {QStringLiteral("MAC"), config.macAddress},
                                {QStringLiteral("Hostname"), config.hostname}};
            for (int category = 0; category < CameraItem::CategoryCount; ++category) {
                camera.documents[category] =
                    read(web, CameraItem::resourcePath(static_cast<CameraItem::Category>(category)));
            }
            QJsonObject status = camera.documents[CameraItem::CameraStatus].object();
            status.insert(QStringLiteral("uptime"), status.value(QStringLiteral("uptime")).toDouble() + visitNumber * 86400.0);
            status.insert(QStringLiteral("temperature"), 30 + (visitNumber * 7 + cameras.size()) % 25);
            camera.documents[CameraItem::CameraStatus] = QJsonDocument(status);
            QJsonArray apps = camera.documents[CameraItem::Applications].array();
            for (qsizetype i = 0; i < apps.size(); ++i) {
                QJsonObject app = apps.at(i).toObject();
                app.insert(QStringLiteral("memory"), 4096.0 * (visitNumber + 1) * (i + 1));
                apps.replace(i, app);
            }
            camera.documents[CameraItem::Applications] = QJsonDocument(apps);
            cameras.append(camera);
        }
    }
    return cameras;
}
