#pragma once

#include "CameraAPI.h"
#include "CameraCommand.h"

// A command that logs in to each camera's Web-API and then asks for its work, through the
// client the window uses. Every error line of the client settles one answer of its camera;
// a camera whose login fails is settled by that line alone.
class WebCommand : public CameraCommand
{
    Q_OBJECT

public:
    explicit WebCommand(QObject *parent = nullptr);

protected:
    const char *passwordVariable() const override;
    QString passwordPrompt() const override;
    void work(const QList<QSharedPointer<CameraItem>> &cameras) override;
    // Asks for the work once logged in; returns how many answers the camera then owes.
    virtual int loggedIn(const QSharedPointer<CameraItem> &camera) = 0;

    CameraAPI &api();

private:
    CameraAPI m_api;
    bool m_openFilesLimitReported = false;
};
