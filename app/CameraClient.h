#pragma once

#include "CameraItem.h"
#include "CameraModel.h"

#include <QHostAddress>
#include <QMainWindow>
#include <QSettings>
#include <QSortFilterProxyModel>
#include <QThread>
#include <QTimer>

class CameraFinder;

namespace Ui {
class CameraClient;
}

// The main window. It owns every long-lived object: the model and its filter, and the
// worker thread that runs discovery. Worker objects are reached only through signals.
class CameraClient : public QMainWindow
{
    Q_OBJECT

public:
    explicit CameraClient(QWidget *parent = nullptr);
    ~CameraClient() override;

signals:
    void startScan();
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

    Ui::CameraClient *ui;
    QSettings m_settings;
    QSortFilterProxyModel m_proxy;
    CameraModel m_model;
    CameraFinder *m_finder = nullptr;
    QThread m_workerThread;
    QTimer m_scanTimer;
    QString m_adminUser;
    QString m_adminPassword;
    qint32 m_scanTicks = 0;
};
