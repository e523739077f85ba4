#include "CameraClient.h"
#include "ui_CameraClient.h"

#include "CameraAPI.h"
#include "CameraFinder.h"
#include "CameraListExport.h"
#include "CategoryReads.h"
#include "ContactTask.h"
#include "FileDialog.h"
#include "ExpansionKeeper.h"
#include "FullValueCopier.h"
#include "LiveFeed.h"
#include "MessageBox.h"
#include "MessageGatherer.h"
#include "OpenFilesLimit.h"
#include "ResourceFeeder.h"
#include "ScanSchedule.h"
#include "SiteSession.h"
#include "SiteStore.h"
#include "SnapshotTask.h"
#include "UpdateLauncher.h"
#include "UpdateStatus.h"
#include "UpdateTask.h"

#include <QAbstractItemModel>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QFile>
#include <QItemSelectionModel>
#include <QMessageBox>
#include <QPersistentModelIndex>
#include <QPixmap>
#include <QUrl>

#include <ctime>

namespace {

constexpr quint32 kContactInterval = 5000;

// The settings keys, each with the field it is read into and written from.
struct SettingField
{
    const char *key;
    QLineEdit *Ui::CameraClient::*field;
};

constexpr SettingField kSettingFields[] = {
    {"cameraclient.discovery.multicastaddress", &Ui::CameraClient::leMulticastAddress},
    {"cameraclient.discovery.multicastport", &Ui::CameraClient::leMulticastPort},
    {"cameraclient.discovery.ttl", &Ui::CameraClient::leTTL},
    {"cameraclient.update.updateport", &Ui::CameraClient::leUpdatePort},
    {"cameraclient.update.user", &Ui::CameraClient::leUser},
    {"cameraclient.configuration.user", &Ui::CameraClient::leWebUser},
    {"cameraclient.site.name", &Ui::CameraClient::leSite},
};

// Settings of the update path that have no field in the window; only the settings file changes
// them, so they are written back on close for the user to find.
constexpr char kTransferLimitKey[] = "cameraclient.update.paralleltransfers";
constexpr char kStatusTimeoutKey[] = "cameraclient.update.statustimeout";

const QUrl kMakerSite(QStringLiteral("https://www.plexano.com"));

} // namespace

CameraClient::CameraClient(QWidget *parent, Network network)
    : QMainWindow(parent)
    , ui(new Ui::CameraClient)
    , m_bulkDialog(this)
    , m_listEditor(this)
    , m_statusDialog(this)
{
    m_scanSchedule = new ScanSchedule(this);

    ui->setupUi(this);
    loadSettings();

    ui->tvCameras->setModel(&m_filter);

    m_finder = new CameraFinder;
    m_api = new CameraAPI;
    m_contactTask = new ContactTask(&m_model, QString(), QString(), kContactInterval);
    m_snapshotTask = new SnapshotTask(m_api, this);
    m_liveFeed = new LiveFeed(m_api, this);
    m_updates = std::make_unique<UpdateLauncher>(&m_model);
    loadUpdateSettings();
    m_expansion = new ExpansionKeeper(ui->tvCameras, &m_filter, this);
    new FullValueCopier(ui->tvCameras);
    m_resourceFeeder = new ResourceFeeder(&m_model, this);
    m_messages = new MessageGatherer(
        [this](MessageGatherer::Kind kind, const QString &title, const QString &text) {
            if (kind == MessageGatherer::Kind::Success)
                MessageBox::information(this, title, text);
            else
                MessageBox::warning(this, title, text);
        },
        this);
    m_site = new SiteSession(&m_model, {ui->leSite, ui->pbWhatChanged, ui->pbHistory, ui->lbSiteStatus}, this);
    m_site->open(SiteStore::defaultPath());
    m_finder->moveToThread(&m_workerThread);
    m_api->moveToThread(&m_workerThread);
    m_contactTask->moveToThread(&m_workerThread);

    connectObjects();
    if (network == Network::Started)
        m_workerThread.start(QThread::InheritPriority);
    registerMetaTypes();
}

CameraClient::~CameraClient()
{
    if (m_workerThread.isRunning()) {
        // Its finished signal queues the deletion of the worker objects on their own thread.
        m_workerThread.quit();
        m_workerThread.wait();
    } else {
        delete m_finder;
        delete m_api;
        delete m_contactTask;
    }
    delete ui;
}

void CameraClient::connectObjects()
{
    connect(m_scanSchedule, &ScanSchedule::probe, this, &CameraClient::onTimeout);
    connect(ui->pbCollapse, &QPushButton::clicked, m_expansion, &ExpansionKeeper::forgetAll);
    connect(&m_workerThread, &QThread::started, m_finder, qOverload<>(&CameraFinder::init));
    connect(&m_workerThread, &QThread::started, m_api, &CameraAPI::init);
    connect(&m_workerThread, &QThread::started, m_contactTask, &ContactTask::init);
    connect(this, &CameraClient::initFinder, m_finder,
            qOverload<const QHostAddress &, quint16, int>(&CameraFinder::init));
    connect(this, &CameraClient::startScan, m_finder, &CameraFinder::scan);
    connect(this, &CameraClient::startExport, m_api, &CameraAPI::exportResults);
    connect(this, &CameraClient::newCredentials, m_contactTask, &ContactTask::setCredentials);
    connect(m_finder, &CameraFinder::foundRemote, &m_model, &CameraModel::addCamera);
    connect(m_finder, &CameraFinder::answersDropped, this, &CameraClient::onError, Qt::QueuedConnection);
    connect(this, &CameraClient::newCredentials, m_api, &CameraAPI::setCredentials);
    connect(m_api, &CameraAPI::error, this, &CameraClient::onError, Qt::QueuedConnection);
    connect(m_api, &CameraAPI::openFilesLimitReached, this, &CameraClient::onOpenFilesLimitReached);
    connect(m_contactTask, &ContactTask::openFilesLimitReached, this, &CameraClient::onOpenFilesLimitReached);
    // The row turns red or back; only its own row needs painting.
    connect(m_contactTask, &ContactTask::cameraAvailable, &m_model, &CameraModel::refreshAvailability);
    connect(m_contactTask, &ContactTask::cameraUnavailable, &m_model, &CameraModel::refreshAvailability);
    connect(m_snapshotTask, &SnapshotTask::gotImage, this,
            [this](QSharedPointer<QByteArray> image) { onDrawPreview(m_snapshotTask->camera(), image); });
    // An outage of the previewed camera is one line, and its last picture turns grey.
    connect(m_snapshotTask, &SnapshotTask::failed, this, [this](const QString &msg) {
        ui->lbPreview->setEnabled(false);
        m_messages->onError(msg);
    });
    // The live view and the preview show only cameras that are listed.
    connect(&m_model, &CameraModel::newCamera, m_liveFeed, &LiveFeed::addCamera);
    connect(&m_model, &QAbstractItemModel::modelReset, this, [this] {
        m_liveFeed->setCameras(m_model.cameras());
        m_snapshotTask->stop();
        m_snapshotTask->setCamera({});
        ui->lbPreview->clear();
    });
    connect(&m_workerThread, &QThread::finished, m_finder, &QObject::deleteLater);
    connect(&m_workerThread, &QThread::finished, m_api, &QObject::deleteLater);
    connect(&m_workerThread, &QThread::finished, m_contactTask, &QObject::deleteLater);
    connect(this, &CameraClient::refresh, m_api, &CameraAPI::onLogin);
    connect(&m_model, &CameraModel::newCamera, m_api, &CameraAPI::onLogin);
    // A successful login fans out into the eleven reads that fill the camera's categories.
    CategoryReads::readOnLogin(m_api, CategoryReads::all());
    // The rows of a category are replaced by the model on this thread, never by the client.
    connect(m_api, &CameraAPI::resourceReceived, m_resourceFeeder, &ResourceFeeder::enqueue);
    // A scan is a visit of the site; what it finds and reads is kept once it is in the tree.
    connect(this, &CameraClient::initFinder, m_site, &SiteSession::beginVisit);
    connect(m_resourceFeeder, &ResourceFeeder::fed, m_site, &SiteSession::noteResource);
    connect(m_api, &CameraAPI::success, this, &CameraClient::onSuccess, Qt::QueuedConnection);
    connect(&m_bulkDialog, &BulkDialog::reinit, m_api, &CameraAPI::reinit);
    connect(&m_bulkDialog, &BulkDialog::reset, m_api, &CameraAPI::reset);
    connect(&m_bulkDialog, &BulkDialog::reboot, m_api, &CameraAPI::reboot);
    connect(&m_bulkDialog, &BulkDialog::uploadAccessList, m_api, &CameraAPI::uploadAccessList);
    connect(&m_bulkDialog, &BulkDialog::downloadAccessList, m_api, &CameraAPI::downloadAccessList);
    connect(&m_bulkDialog, &BulkDialog::setSystemProperties, m_api, &CameraAPI::setSystemProperties);
    connect(&m_bulkDialog, &BulkDialog::setANPRProperties, m_api, &CameraAPI::setANPRProperties);
    connect(&m_bulkDialog, &BulkDialog::addAccessListEntry, m_api, &CameraAPI::addAccessListEntry);
    connect(&m_bulkDialog, &BulkDialog::deleteAccessListEntry, m_api, &CameraAPI::deleteAccessListEntry);
    connect(&m_bulkDialog, &BulkDialog::uploadClassifier, m_api, &CameraAPI::uploadClassifier);
    connect(&m_bulkDialog, &BulkDialog::defaultToClassifier, m_api, &CameraAPI::defaultToClassifier);
    connect(&m_listEditor, &ListEditor::fetchEntries, m_api, &CameraAPI::fetchAccessListEntries);
    connect(m_updates.get(), &UpdateLauncher::startUpdate, this, &CameraClient::startUpdate);
    connect(m_updates.get(), &UpdateLauncher::error, this, &CameraClient::onError);
    connect(m_updates.get(), &UpdateLauncher::uploadAdded, this, [this](const QString &fileName, int cameras) {
        m_statusDialog.addUpload(fileName, cameras);
        m_statusDialog.show();
    });
    connect(m_updates.get(), &UpdateLauncher::stepCompleted, &m_statusDialog, &StatusDialog::stepCompleted);
    connect(m_updates.get(), &UpdateLauncher::stepsAborted, &m_statusDialog, &StatusDialog::stepAborted);
}

void CameraClient::registerMetaTypes()
{
    qRegisterMetaType<QAbstractItemModel::LayoutChangeHint>("QAbstractItemModel::LayoutChangeHint");
    qRegisterMetaType<QList<QPersistentModelIndex>>("QList<QPersistentModelIndex>");
    qRegisterMetaType<QAbstractSocket::SocketError>("QAbstractSocket::SocketError");
    qRegisterMetaType<QSharedPointer<CameraItem>>("QSharedPointer<CameraItem>");
    qRegisterMetaType<QSharedPointer<QByteArray>>("QSharedPointer<QByteArray>");
    qRegisterMetaType<QMap<QString, QString>>("QMap<QString,QString>");
    qRegisterMetaType<QList<QString>>("QList<QString>");
    qRegisterMetaType<QVector<int>>("QVector<int>");
    qRegisterMetaType<QHostAddress>("QHostAddress");
    qRegisterMetaType<std::tm>("std::tm");
}

void CameraClient::loadSettings()
{
    for (const SettingField &setting : kSettingFields) {
        QLineEdit *field = ui->*setting.field;
        field->setText(m_settings.value(QLatin1String(setting.key), field->text()).toString());
    }
}

int CameraClient::positiveSetting(const char *key, int fallback) const
{
    bool ok = false;
    const int value = m_settings.value(QLatin1String(key), fallback).toInt(&ok);
    if (ok && value > 0)
        return value;
    qWarning("Setting %s is not a positive number; %d is used instead", key, fallback);
    return fallback;
}

void CameraClient::loadUpdateSettings()
{
    m_transferLimit = positiveSetting(kTransferLimitKey, UpdateLauncher::kDefaultTransferLimit);
    m_statusTimeout =
        std::chrono::seconds(positiveSetting(kStatusTimeoutKey, int(UpdateTask::kDefaultStatusTimeout.count())));
    m_updates->setTransferLimit(m_transferLimit);
    m_updates->setStatusTimeout(m_statusTimeout);
}

void CameraClient::saveSettings()
{
    for (const SettingField &setting : kSettingFields)
        m_settings.setValue(QLatin1String(setting.key), (ui->*setting.field)->text());
    m_settings.setValue(QLatin1String(kTransferLimitKey), m_transferLimit);
    m_settings.setValue(QLatin1String(kStatusTimeoutKey), qint64(m_statusTimeout.count()));
    m_settings.sync();
}

void CameraClient::onScan()
{
    QHostAddress address;
    bool portValid = false;
    bool ttlValid = false;
    const bool addressValid = ScanSchedule::parseGroup(ui->leMulticastAddress->text(), address);
    const quint16 port = ui->leMulticastPort->text().toUShort(&portValid, 10);
    const quint32 ttl = ui->leTTL->text().toUInt(&ttlValid, 10);

    if (!addressValid) {
        MessageBox::critical(this, QStringLiteral("Invalid IP address"),
                              QStringLiteral("The specified IP address is invalid."));
        return;
    }
    if (!portValid) {
        MessageBox::critical(this, QStringLiteral("Invalid Port"),
                              QStringLiteral("Given number is not a valid port number."));
        return;
    }
    if (!ttlValid) {
        MessageBox::critical(this, QStringLiteral("Invalid TTL"), QStringLiteral("TTL value is invalid."));
        return;
    }

    emit initFinder(address, port, ttl);
    // Each scan clears what an earlier update reported.
    for (const QSharedPointer<CameraItem> &camera : m_model.cameras()) {
        camera->setUpdateStatus(kNoUpdateStatus);
        m_model.refreshUpdateStatus(camera);
    }
    m_scanSchedule->start();
}

void CameraClient::onTimeout()
{
    emit startScan();
}

void CameraClient::onDefaultToIPv4()
{
    setDefaults(QLatin1String(CameraFinder::kDefaultProbeGroupIPv4));
}

void CameraClient::onDefaultToIPv6()
{
    setDefaults(QLatin1String(CameraFinder::kDefaultProbeGroupIPv6));
}

void CameraClient::setDefaults(const QString &group)
{
    ui->leMulticastAddress->setText(group);
    ui->leMulticastPort->setText(QString::number(ScanSchedule::kDefaultPort));
    ui->leUpdatePort->setText(QString::number(UpdateLauncher::kDefaultPort));
    ui->leTTL->setText(QStringLiteral("255"));
}

void CameraClient::onClear()
{
    m_model.clear();
}

void CameraClient::onSetAdminCredentials()
{
    if (ui->leUser->text().isEmpty() || ui->lePassword->text().isEmpty()) {
        MessageBox::warning(this, QStringLiteral("Empty Credentials"),
                             QStringLiteral("Username and Password must not be empty."));
        return;
    }
    m_adminUser = ui->leUser->text();
    m_adminPassword = ui->lePassword->text();
    MessageBox::information(this, QStringLiteral("Set Credentials"), QStringLiteral("Credentials have been updated."));
}

void CameraClient::onFindByIP()
{
}

void CameraClient::onSetWebCredentials()
{
    if (ui->leWebUser->text().isEmpty() || ui->leWebPassword->text().isEmpty()) {
        MessageBox::warning(this, QStringLiteral("Empty Credentials"),
                             QStringLiteral("Username and Password must not be empty."));
        return;
    }
    emit newCredentials(ui->leWebUser->text(), ui->leWebPassword->text());
    onRefresh();
    MessageBox::information(this, QStringLiteral("Set Credentials"),
                             QStringLiteral("Credentials for the Web-API have been updated."));
}

void CameraClient::onRefresh()
{
    for (const QSharedPointer<CameraItem> &camera : m_model.cameras())
        emit refresh(camera);
}

void CameraClient::onFilter(QString filtertext)
{
    m_filter.setFilterPattern(filtertext);
}

void CameraClient::closeDialogs()
{
    for (QDialog *dialog : std::initializer_list<QDialog *>{&m_bulkDialog, &m_listEditor, &m_statusDialog, m_liveFeed}) {
        if (dialog->isVisible())
            dialog->close();
    }
}

void CameraClient::onClose()
{
    saveSettings();
    closeDialogs();
    QCoreApplication::quit();
}

void CameraClient::closeEvent(QCloseEvent *event)
{
    saveSettings();
    closeDialogs();
    event->accept();
}

void CameraClient::onAbout()
{
    QDesktopServices::openUrl(kMakerSite);
}

QSharedPointer<CameraItem> CameraClient::cameraAt(const QModelIndex &proxyIndex) const
{
    return m_model.cameraAt(m_filter.mapToSource(proxyIndex));
}

void CameraClient::onVisitCamera(QModelIndex index)
{
    const QSharedPointer<CameraItem> camera = cameraAt(index);
    if (!camera)
        return;
    bool isIPv4 = false;
    const quint32 ipv4 = camera->address().toIPv4Address(&isIPv4);
    const QString host = isIPv4 ? QHostAddress(ipv4).toString()
                                : QLatin1Char('[') + camera->address().toString() + QLatin1Char(']');
    if (!host.isEmpty())
        QDesktopServices::openUrl(QUrl(QStringLiteral("http://") + host + QLatin1Char('/')));
}

void CameraClient::onPreviewCamera(QModelIndex index)
{
    const QSharedPointer<CameraItem> clicked = cameraAt(index);
    const QSharedPointer<CameraItem> camera =
        clicked ? m_model.findCamera(clicked->serial(), clicked->address()) : QSharedPointer<CameraItem>();
    if (!camera) {
        m_snapshotTask->stop();
        return;
    }
    if (camera == m_snapshotTask->camera() && m_snapshotTask->isActive())
        return;
    m_snapshotTask->setCamera(camera);
    m_snapshotTask->start();
    m_snapshotTask->fetchImage();
}

void CameraClient::onDrawPreview(QSharedPointer<CameraItem>, QSharedPointer<QByteArray> image)
{
    QPixmap picture;
    picture.loadFromData(*image);
    ui->lbPreview->setEnabled(true);
    ui->lbPreview->setPixmap(
        picture.scaled(ui->lbPreview->width(), ui->lbPreview->height(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

void CameraClient::onSuccess(QString msg)
{
    m_messages->onSuccess(msg);
}

void CameraClient::onError(QString msg)
{
    m_messages->onError(msg);
}

void CameraClient::onOpenFilesLimitReached()
{
    if (m_openFilesLimitReported)
        return;
    m_openFilesLimitReported = true;
    m_messages->onError(OpenFilesLimit::reachedMessage());
}

QList<QSharedPointer<CameraItem>> CameraClient::selectedCameras() const
{
    QSet<CameraItem *> selected;
    const QModelIndexList rows = ui->tvCameras->selectionModel()->selectedRows(0);
    for (const QModelIndex &row : rows) {
        if (const QSharedPointer<CameraItem> camera = cameraAt(row))
            selected.insert(camera.data());
    }
    QList<QSharedPointer<CameraItem>> cameras;
    for (const QSharedPointer<CameraItem> &camera : m_model.cameras()) {
        if (selected.contains(camera.data()))
            cameras.append(camera);
    }
    return cameras;
}

void CameraClient::onLiveImage()
{
    m_liveFeed->setCameras(m_model.cameras());
    const QList<QSharedPointer<CameraItem>> selected = selectedCameras();
    if (!selected.isEmpty())
        m_liveFeed->showCamera(selected.first());
    m_liveFeed->start();
    if (m_liveFeed->isHidden())
        m_liveFeed->show();
}

void CameraClient::onExportResult()
{
    QList<QSharedPointer<CameraItem>> cameras = selectedCameras();
    if (cameras.isEmpty())
        cameras = m_model.cameras();
    const QString folder = FileDialog::getExistingDirectory(this, QStringLiteral("Select Folder for result exports"),
                                                             QString(), QFileDialog::ShowDirsOnly);
    if (folder.isEmpty())
        return;
    for (const QSharedPointer<CameraItem> &camera : std::as_const(cameras))
        emit startExport(camera, folder);
}

bool CameraClient::updateCredentialsGiven()
{
    if (ui->leUser->text().isEmpty() || ui->lePassword->text().isEmpty()) {
        MessageBox::warning(this, QStringLiteral("Empty Credentials"),
                             QStringLiteral("Username and Password must not be empty."));
        return false;
    }
    // The update uses the credentials set with the button, which need not be the typed ones.
    if (m_adminUser.isEmpty() || m_adminPassword.isEmpty()) {
        MessageBox::warning(this, QStringLiteral("Credentials not set"),
                             QStringLiteral("The administrator credentials have not been set. Please press "
                                            "\"Set Credentials\" before updating cameras."));
        return false;
    }
    if (ui->leUser->text() != m_adminUser || ui->lePassword->text() != m_adminPassword) {
        return MessageBox::warning(this, QStringLiteral("Credentials not set"),
                                   QStringLiteral("The typed administrator credentials have not been set with "
                                                  "\"Set Credentials\". Update with the credentials set before?"),
                                   QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::Cancel)
            == QMessageBox::Ok;
    }
    return true;
}

void CameraClient::onUpdateSelected()
{
    if (!updateCredentialsGiven())
        return;
    const QList<QSharedPointer<CameraItem>> cameras = selectedCameras();
    if (cameras.isEmpty())
        return;
    startUpdates(cameras);
}

void CameraClient::onUpdateAll()
{
    if (updateCredentialsGiven())
        startUpdates(m_model.cameras());
}

void CameraClient::startUpdates(const QList<QSharedPointer<CameraItem>> &cameras)
{
    bool portValid = false;
    const quint16 port = ui->leUpdatePort->text().toUShort(&portValid, 10);
    if (!portValid) {
        MessageBox::warning(this, QStringLiteral("Invalid Update Port"),
                             QStringLiteral("Please provide a valid port number."));
        return;
    }
    const QString fileName = FileDialog::getOpenFileName(this, QStringLiteral("Select Update for Camera"));
    if (fileName.isEmpty())
        return;
    // The stored credentials travel, not the fields that were checked above.
    m_updates->start(cameras, fileName, port, m_adminUser, m_adminPassword);
}

void CameraClient::onExport()
{
    const QString fileName = FileDialog::getSaveFileName(this, QStringLiteral("Export to File"));
    if (fileName.isEmpty())
        return;
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text | QIODevice::Truncate))
        return;
    CameraListExport::write(file, m_model.cameras());
}

void CameraClient::onBulk()
{
    if (m_bulkDialog.isVisible())
        return;
    m_bulkDialog.setCameras(m_model.cameras());
    m_bulkDialog.show();
}

void CameraClient::onEdit()
{
    if (m_listEditor.isVisible())
        return;
    m_listEditor.setCameras(m_model.cameras());
    m_listEditor.show();
}
