#pragma once

#include "CameraItem.h"
#include "RequestQueue.h"

#include <QByteArray>
#include <QDate>
#include <QFileDevice>
#include <QHash>
#include <QJsonDocument>
#include <QMap>
#include <QMutex>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QObject>
#include <QSharedPointer>
#include <QStringList>
#include <QTime>
#include <QVariantMap>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

class QHttpMultiPart;
class HostCookieJar;
class QNetworkReply;

// Talks HTTP to the cameras' Web-API. Every slot starts one asynchronous request and returns;
// the answer comes back through onFinished, which finds the request's camera again by the
// number stored on the reply and turns the answer into one of the signals.
class CameraAPI : public QObject
{
    Q_OBJECT

public:
    using Clock = std::function<std::chrono::system_clock::time_point()>;

    explicit CameraAPI(QObject *parent = nullptr);
    ~CameraAPI() override;

    // How long a request may go without a byte before it counts as unanswered.
    static constexpr std::chrono::seconds kDefaultIdleTimeout{15};
    // The most a reply may hold in memory: documents and messages, and pictures. Downloads go
    // to their files as they arrive and have no limit.
    static constexpr qint64 kDocumentLimit = 4 * 1024 * 1024;
    static constexpr qint64 kSnapshotLimit = 16 * 1024 * 1024;

    // Sessions last half an hour; tests hand in a clock instead of waiting that long.
    void setClock(Clock clock);
    // Takes effect for requests sent from then on.
    void setIdleTimeout(std::chrono::milliseconds timeout);

    // The text of a file error as the user reads it in a "Could not write" line.
    static QString fileErrorText(QFileDevice::FileError error);

signals:
    void connectionError(QSharedPointer<CameraItem> cam);
    // A request failed because this process holds as many files and connections as its open
    // files limit allows. Said instead of an error line for the camera, as it is no fault of the
    // camera's and would otherwise come once for every camera at the same time.
    void openFilesLimitReached();
    void loggedIn(QSharedPointer<CameraItem> cam);
    void error(QString msg);
    void success(QString msg);
    void updatedData();
    void liveImage(QSharedPointer<CameraItem> cam, QSharedPointer<QByteArray> image);
    // A snapshot could not be fetched. Said instead of an error line: whoever shows pictures
    // decides how often an outage is worth a word.
    void liveImageFailed(QSharedPointer<CameraItem> cam, QString msg);
    // The camera answered an availability check.
    void answered(QSharedPointer<CameraItem> cam);
    void accessList(QSharedPointer<CameraItem> cam, QString list, QJsonDocument entries);
    // A category document arrived. The rows are the model's to replace on its own thread,
    // so the client never touches the tree itself.
    void resourceReceived(QSharedPointer<CameraItem> cam, QString path, QJsonDocument document);
    // The error and success lines again, with the camera they name, for callers that keep
    // each camera's outcome apart. Each comes right after its line; a snapshot that failed comes
    // as liveImageFailed and cameraError.
    void cameraError(QSharedPointer<CameraItem> cam, QString msg);
    void cameraSuccess(QSharedPointer<CameraItem> cam, QString msg);

public slots:
    void init();
    void setCredentials(QString username, QString password);
    void onLogin(QSharedPointer<CameraItem> cam);
    // One real, cheap request: the camera counts as reachable only when it answers now.
    void checkAvailability(QSharedPointer<CameraItem> cam);

    void viewCameraStatus(QSharedPointer<CameraItem> cam);
    void viewApps(QSharedPointer<CameraItem> cam);
    void viewSystemProperties(QSharedPointer<CameraItem> cam);
    void viewANPRProperties(QSharedPointer<CameraItem> cam);
    void viewAccessProperties(QSharedPointer<CameraItem> cam);
    void viewActionEventProperties(QSharedPointer<CameraItem> cam);
    void viewROIProperties(QSharedPointer<CameraItem> cam);
    void viewActions(QSharedPointer<CameraItem> cam);
    void viewClassifier(QSharedPointer<CameraItem> cam);
    void listClassifiers(QSharedPointer<CameraItem> cam);
    void viewDigitalIO(QSharedPointer<CameraItem> cam);
    void fetchLiveResult(QSharedPointer<CameraItem> cam);
    void fetchLiveSnapshot(QSharedPointer<CameraItem> cam);
    void exportResults(QSharedPointer<CameraItem> cam, QString directory);
    void downloadClassifier(QSharedPointer<CameraItem> cam, QString classifier, QString directory);
    void downloadAccessList(QSharedPointer<CameraItem> cam, QString access_list, QString directory);

    void reinit(QSharedPointer<CameraItem> cam);
    void reset(QSharedPointer<CameraItem> cam);
    void reboot(QSharedPointer<CameraItem> cam);
    void defaultToClassifier(QSharedPointer<CameraItem> cam, QString classifier);
    void setSystemProperties(QSharedPointer<CameraItem> cam, QMap<QString, QString> properties);
    void setANPRProperties(QSharedPointer<CameraItem> cam, QMap<QString, QString> properties);
    void fetchAccessListEntries(QSharedPointer<CameraItem> cam, QString access_list, QString pattern);
    void addAccessListEntry(QSharedPointer<CameraItem> cam, QString access_list, QString plate, bool always,
                            QDate start, QDate end, QStringList weekdays, QTime from, QTime to);
    void deleteAccessListEntry(QSharedPointer<CameraItem> cam, QString access_list, int index, QString pattern);
    void uploadClassifier(QSharedPointer<CameraItem> cam, QString classifier, QString filename, bool overwrite);
    void uploadAccessList(QSharedPointer<CameraItem> cam, QString access_list, QString filename);

    void onFinished(QNetworkReply *reply);

private:
    // A request as it was asked for, so that it can wait for a login and be sent then.
    struct Outgoing
    {
        QSharedPointer<CameraItem> cam;
        QNetworkRequest request;
        QByteArray verb;
        QByteArray body;
        QVariantMap properties;
    };

    quint32 storeCamera(const QSharedPointer<CameraItem> &cam);
    QSharedPointer<CameraItem> takeCamera(quint32 id);
    bool sessionValid(const QString &host) const;
    using Start = std::function<QNetworkReply *()>;
    // Starts the request when the camera has room for it; its reply then carries the camera and
    // the given properties.
    void dispatch(const QSharedPointer<CameraItem> &cam, const QNetworkRequest &request, Start start,
                  const QVariantMap &properties = {});
    // Bounds what the reply may hold in memory, and gives a download its file.
    void watchReply(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply);
    void postLogin(const QSharedPointer<CameraItem> &cam, const QVariantMap &properties = {});
    void sendRequest(const QSharedPointer<CameraItem> &cam, QNetworkRequest request, const QString &method,
                     const QByteArray &body, const QByteArray &extra = QByteArray(),
                     const QVariantMap &properties = {});
    // Sends within this client's session with the camera, or after a login.
    void send(const Outgoing &outgoing);
    // The request goes once the login that it waits for has answered; a camera gets one such
    // login at a time, however many requests wait for it.
    void sendAfterLogin(const Outgoing &outgoing);
    void loginAnswered(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &failure);
    // A request that the camera answered with 401 waits for a new login, once.
    bool retryAfterLogin(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, int status);
    void getResource(const QSharedPointer<CameraItem> &cam, const QString &path,
                     const QByteArray &extra = QByteArray(), const QVariantMap &properties = {});
    void setProperties(const QSharedPointer<CameraItem> &cam, const QMap<QString, QString> &properties);
    void sendMultipart(const QSharedPointer<CameraItem> &cam, const QString &path, QHttpMultiPart *body,
                       QNetworkAccessManager::Operation operation);
    void sendJson(const QSharedPointer<CameraItem> &cam, const QString &path, const QString &method,
                  const QJsonDocument &document);
    // The text after "Camera ... at ...:" for a reply that failed; null when it did not.
    QString failureText(QNetworkReply *reply, int status) const;
    void reportFailure(const QSharedPointer<CameraItem> &cam, const QString &path, const QString &text);
    void routeGet(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &path);
    void routePost(const QSharedPointer<CameraItem> &cam, const QString &path);
    void routePatch(const QSharedPointer<CameraItem> &cam, const QString &path);
    void routeDelete(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &path);
    void routeResource(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &path);
    void reportDownload(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &failure,
                        const QString &done);
    // The document of the reply; null, and said in a line, when the camera sent something else.
    QJsonDocument readJson(const QSharedPointer<CameraItem> &cam, QNetworkReply *reply, const QString &path);
    static QString message(const QSharedPointer<CameraItem> &cam, const QString &text);
    // A line about the camera, said with and without the camera it names.
    void reportError(const QSharedPointer<CameraItem> &cam, const QString &text);
    void reportSuccess(const QSharedPointer<CameraItem> &cam, const QString &text);

    std::unique_ptr<QNetworkAccessManager> m_manager;
    // Owned by the manager once installed there.
    HostCookieJar *m_cookieJar = nullptr;
    RequestQueue m_queue;
    QString m_username;
    QString m_password;
    quint64 m_sessionLifetimeMinutes = 30;
    // This client's own sessions, by camera host: its cookies are its own too.
    QHash<QString, std::chrono::system_clock::time_point> m_sessions;
    // Requests waiting for a login, by camera host.
    QHash<QString, std::vector<Outgoing>> m_waitingForLogin;
    std::chrono::milliseconds m_idleTimeout = kDefaultIdleTimeout;
    QHash<quint32, QSharedPointer<CameraItem>> m_pendingCameras;
    quint32 m_nextRequest = 0;
    quint64 m_pendingRequests = 0;
    QMutex m_pendingMutex;
    Clock m_clock;
};
