#pragma once

#include "CameraItem.h"
#include "CameraModel.h"

#include <QHostAddress>
#include <QMainWindow>
#include <QSettings>
#include <QSortFilterProxyModel>
#include <QThread>
#include <QTimer>

class CameraAPI;
class CameraFinder;
class ContactTask;
class FilterRefresher;
class MessageGatherer;
class SnapshotTask;

namespace Ui {
class CameraClient;
}

// The main window. It owns every long-lived object: the model and its filter, and the
// worker thread that runs discovery, the Web-API client and the availability checker.
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

signals:
    void startScan();
    void startExport(QSharedPointer<CameraItem> cam, QString directory);
    void initFinder(QHostAddress address, quint16 port, quint32 ttl);
    void refresh(QSharedPointer<CameraItem> cam);
    void newCredentials(QString user, QString password);

public slots:
    void onScan();
    void onDefaultToIPv4();
    void onDefaultToIPv6();
    void onClear();
    void onSetAdminCredentials();
    void onFindByIP();
    void onSetWebCredentials();
    void onClose();
    void onAbout();
    void onTimeout();
    void onVisitCamera(QModelIndex index);
    void onPreviewCamera(QModelIndex index);
    void onDrawPreview(QSharedPointer<CameraItem> cam, QSharedPointer<QByteArray> image);
    void onSuccess(QString msg);
    void onError(QString msg);
    void onFilter(QString filtertext);
    void onRefresh();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void loadSettings();
    void saveSettings();
    void setDefaults(const QString &group);
    void connectObjects();
    static void registerMetaTypes();
    QSharedPointer<CameraItem> cameraAt(const QModelIndex &proxyIndex) const;

    Ui::CameraClient *ui;
    QSettings m_settings;
    QSortFilterProxyModel m_proxy;
    CameraModel m_model;
    CameraFinder *m_finder = nullptr;
    CameraAPI *m_api = nullptr;
    ContactTask *m_contactTask = nullptr;
    SnapshotTask *m_snapshotTask = nullptr;
    FilterRefresher *m_filterRefresher = nullptr;
    MessageGatherer *m_messages = nullptr;
    QThread m_workerThread;
    QTimer m_scanTimer;
    QString m_adminUser;
    QString m_adminPassword;
    qint32 m_scanTicks = 0;
};
