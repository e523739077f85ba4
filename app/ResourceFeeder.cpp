#include "ResourceFeeder.h"

#include "CameraModel.h"

#include <QElapsedTimer>

ResourceFeeder::ResourceFeeder(CameraModel *model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    m_nextSlice.setSingleShot(true);
    m_nextSlice.setInterval(0);
    connect(&m_nextSlice, &QTimer::timeout, this, &ResourceFeeder::feed);
}

void ResourceFeeder::enqueue(QSharedPointer<CameraItem> cam, QString path, QJsonDocument document)
{
    m_pending.push_back({std::move(cam), std::move(path), std::move(document)});
    if (!m_nextSlice.isActive())
        m_nextSlice.start();
}

void ResourceFeeder::feed()
{
    QElapsedTimer slice;
    slice.start();
    while (!m_pending.empty() && slice.elapsed() < kSliceMs) {
        const Pending next = std::move(m_pending.front());
        m_pending.pop_front();
        m_model->attachResource(next.camera, next.path, next.document);
        emit fed(next.camera, next.path);
    }
    if (!m_pending.empty())
        m_nextSlice.start();
}
