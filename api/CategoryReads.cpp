#include "CategoryReads.h"

CategoryReads::Read CategoryReads::readOf(CameraItem::Category category)
{
    static const Read reads[CameraItem::CategoryCount] = {
        &CameraAPI::viewSystemProperties, &CameraAPI::viewANPRProperties, &CameraAPI::viewAccessProperties,
        &CameraAPI::viewActionEventProperties, &CameraAPI::viewROIProperties, &CameraAPI::viewActions,
        &CameraAPI::viewCameraStatus, &CameraAPI::viewApps, &CameraAPI::viewClassifier,
        &CameraAPI::listClassifiers, &CameraAPI::viewDigitalIO,
    };
    return reads[category];
}

QString CategoryReads::nameOf(CameraItem::Category category)
{
    static const char *const names[CameraItem::CategoryCount] = {
        "system", "anpr", "access-lists", "action-events", "roi", "actions",
        "camera-status", "applications", "current-classifier", "available-classifiers", "digital-io",
    };
    return QString::fromLatin1(names[category]);
}

CameraItem::Category CategoryReads::categoryNamed(const QString &name)
{
    for (const CameraItem::Category category : all()) {
        if (nameOf(category) == name)
            return category;
    }
    return CameraItem::CategoryCount;
}

QList<CameraItem::Category> CategoryReads::all()
{
    QList<CameraItem::Category> categories;
    for (int category = 0; category < CameraItem::CategoryCount; ++category)
        categories.append(CameraItem::Category(category));
    return categories;
}

void CategoryReads::readOnLogin(CameraAPI *api, const QList<CameraItem::Category> &categories)
{
    for (const CameraItem::Category category : categories)
        QObject::connect(api, &CameraAPI::loggedIn, api, readOf(category));
}
