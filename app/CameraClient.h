#pragma once

#include "BulkDialog.h"
#include "CameraFilterModel.h"
#include "CameraItem.h"
#include "CameraModel.h"
#include "ListEditor.h"
#include "StatusDialog.h"

#include <QHostAddress>
#include <QMainWindow>
#include <QSettings>
#include <QThread>

#include <chrono>
#include <memory>

class CameraAPI;
class CameraFinder;
class ContactTask;
class ExpansionKeeper;
class LiveFeed;
class MessageGatherer;
class ResourceFeeder;
class ScanSchedule;
class SiteSession;
class SnapshotTask;
class UpdateLauncher;

namespace Ui {
class CameraClient;
}

// The main window. It owns every long-lived object: the model and its filter, the dialogs,
// and the worker thread that runs discovery, the Web-API client and the availability checker.
// Worker objects are reached only through signals.
class CameraClient : public QMainWindow
{
    Q_OBJECT

public:
    // Offline builds the whole window but never starts the worker thread, so nothing probes,
    // polls or logs in: for checking what the window itself does.
    enum class Network { Started, Offline };

    explicit CameraClient(QWidget *parent = nullptr, Network network = Network::Started);
    ~CameraClient() override;

    // The cameras whose rows are selected in the view, in the model's order, each once.
    QList<QSharedPointer<CameraItem>> selectedCameras() const;

signals:
    void startScan();
    void startUpdate();
    void startExport(QSharedPointer<CameraItem> cam, QString directory);
    void initFinder(QHostAddress address, quint16 port, quint32 ttl);
    void refresh(QSharedPointer<CameraItem> cam);
    void newCredentials(QString user, QString password);

public slots:
    void onScan();
    void onDefaultToIPv4();
    void onDefaultToIPv6();
    void onExport();
    void onClear();
    void onSetAdminCredentials();
    void onFindByIP();
    void onLiveImage();
    void onUpdateSelected();
    void onUpdateAll();
    void onSetWebCredentials();
    void onBulk();
    void onEdit();
    void onClose();
    void onAbout();
    void onVisitCamera(QModelIndex index);
    void onPreviewCamera(QModelIndex index);
    void onDrawPreview(QSharedPointer<CameraItem> cam, QSharedPointer<QByteArray> image);
    void onSuccess(QString msg);
    void onError(QString msg);
    void onOpenFilesLimitReached();
    void onTimeout();
    void onFilter(QString filtertext);
    void onExportResult();
    void onRefresh();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void loadSettings();
    void saveSettings();
    void closeDialogs();
    void setDefaults(const QString &group);
    void connectObjects();
    static void registerMetaTypes();
    QSharedPointer<CameraItem> cameraAt(const QModelIndex &proxyIndex) const;
    // The checks both update buttons make; false when one failed (and said so) or the user
    // chose not to update with the credentials set before the typed ones.
    bool updateCredentialsGiven();
    // The value of a settings key that must be a positive number, or fallback.
    int positiveSetting(const char *key, int fallback) const;
    void loadUpdateSettings();
    void startUpdates(const QList<QSharedPointer<CameraItem>> &cameras);

    Ui::CameraClient *ui;
    BulkDialog m_bulkDialog;
    ListEditor m_listEditor;
    StatusDialog m_statusDialog;
    LiveFeed *m_liveFeed = nullptr;
    QSettings m_settings;
    CameraModel m_model;
    CameraFilterModel m_filter{&m_model};
    CameraFinder *m_finder = nullptr;
    CameraAPI *m_api = nullptr;
    ContactTask *m_contactTask = nullptr;
    SnapshotTask *m_snapshotTask = nullptr;
    ExpansionKeeper *m_expansion = nullptr;
    ResourceFeeder *m_resourceFeeder = nullptr;
    MessageGatherer *m_messages = nullptr;
    SiteSession *m_site = nullptr;
    // Goes before the model and the status dialog that running updates still report to.
    std::unique_ptr<UpdateLauncher> m_updates;
    QThread m_workerThread;
    ScanSchedule *m_scanSchedule = nullptr;
    QString m_adminUser;
    QString m_adminPassword;
    int m_transferLimit = 0;
    std::chrono::seconds m_statusTimeout{0};
    // The limit is the process's, so it is reported once, however many cameras and clients meet it.
    bool m_openFilesLimitReported = false;
};
