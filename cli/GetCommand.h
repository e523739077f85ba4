#pragma once

#include "SiteVisit.h"
#include "WebCommand.h"

#include <QCommandLineOption>
#include <QList>

// Reads chosen categories of each camera, each as the camera's own JSON document.
class GetCommand : public WebCommand
{
    Q_OBJECT

public:
    explicit GetCommand(QObject *parent = nullptr);

    QString name() const override;
    QString summary() const override;

protected:
    void addCommandOptions(QCommandLineParser &parser) override;
    QString prepareCommand(const QCommandLineParser &parser) override;
    int loggedIn(const QSharedPointer<CameraItem> &camera) override;
    bool settled() override;

private:
    void onResource(const QSharedPointer<CameraItem> &camera, const QString &path, const QJsonDocument &document);

    QCommandLineOption m_category;
    QList<CameraItem::Category> m_categories;
    SiteVisit m_visit;
};
