#pragma once

#include "CameraItem.h"

#include <QJsonDocument>
#include <QObject>
#include <QSharedPointer>
#include <QTimer>

#include <deque>

class CameraModel;

// Hands category documents to the model in slices of a few milliseconds. Hundreds of cameras
// answer within moments, and thousands of documents applied in one go would keep the window
// from painting or answering the user; between slices it does both.
class ResourceFeeder : public QObject
{
    Q_OBJECT

public:
    static constexpr int kSliceMs = 10;

    explicit ResourceFeeder(CameraModel *model, QObject *parent = nullptr);

public slots:
    void enqueue(QSharedPointer<CameraItem> cam, QString path, QJsonDocument document);

signals:
    // The document is in the model now.
    void fed(QSharedPointer<CameraItem> cam, QString path);

private:
    struct Pending
    {
        QSharedPointer<CameraItem> camera;
        QString path;
        QJsonDocument document;
    };

    void feed();

    CameraModel *m_model;
    std::deque<Pending> m_pending;
    QTimer m_nextSlice;
};
