#include "WebCommand.h"

#include "OpenFilesLimit.h"
#include "Output.h"

WebCommand::WebCommand(QObject *parent)
    : CameraCommand(parent)
{
    connect(&m_api, &CameraAPI::cameraError, this,
            [this](const QSharedPointer<CameraItem> &camera, const QString &msg) { results().fail(camera, msg); });
    connect(&m_api, &CameraAPI::cameraSuccess, this,
            [this](const QSharedPointer<CameraItem> &camera, const QString &msg) { results().succeed(camera, msg); });
    // No camera is to blame; the cameras it hit fail by their time-out.
    connect(&m_api, &CameraAPI::openFilesLimitReached, this, [this] {
        if (!m_openFilesLimitReported)
            Output::note(OpenFilesLimit::reachedMessage());
        m_openFilesLimitReported = true;
    });
    // The login's own answer is settled once the work it lets in is owed.
    connect(&m_api, &CameraAPI::loggedIn, this, [this](const QSharedPointer<CameraItem> &camera) {
        if (!results().isOpen(camera))
            return;
        results().owe(camera, loggedIn(camera));
        results().answered(camera);
    });
}

const char *WebCommand::passwordVariable() const
{
    return "CAMERA_WEB_PASSWORD";
}

QString WebCommand::passwordPrompt() const
{
    return QStringLiteral("Web-API password of %1").arg(user());
}

void WebCommand::work(const QList<QSharedPointer<CameraItem>> &cameras)
{
    m_api.init();
    m_api.setCredentials(user(), password());
    for (const QSharedPointer<CameraItem> &camera : cameras)
        m_api.onLogin(camera);
}

CameraAPI &WebCommand::api()
{
    return m_api;
}
