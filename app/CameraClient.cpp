#include "CameraClient.h"
#include "ui_CameraClient.h"

#include "CameraFinder.h"
#include "UpdateStatus.h"

#include <QAbstractItemModel>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPersistentModelIndex>
#include <QUrl>

#include <ctime>

namespace {

constexpr int kScanInterval = 500;
constexpr int kProbesPerScan = 20;

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
};

const QUrl kMakerSite(QStringLiteral("https://www.plexano.com"));

// The toolkit also takes the classic shorthand forms such as "239.192.13" (read as
// 239.192.0.13); a user who typed three parts made a mistake, so only full dotted quads count.
bool parseAddress(const QString &text, QHostAddress &address)
{
    if (!address.setAddress(text))
        return false;
    return address.protocol() != QAbstractSocket::IPv4Protocol || text.count(QLatin1Char('.')) == 3;
}

} // namespace

CameraClient::CameraClient(QWidget *parent)
    : QMainWindow(parent)
    , ui(new Ui::CameraClient)
{
    m_scanTimer.setObjectName(QStringLiteral("scanTimer"));
    m_scanTimer.setParent(this);

    ui->setupUi(this);
    loadSettings();

    m_proxy.setFilterCaseSensitivity(Qt::CaseInsensitive);
    m_proxy.setFilterKeyColumn(-1);
    m_proxy.setRecursiveFilteringEnabled(true);
    m_proxy.setSourceModel(&m_model);
    ui->tvCameras->setModel(&m_proxy);

    m_finder = new CameraFinder;
    m_finder->moveToThread(&m_workerThread);

    connectObjects();
    m_workerThread.start(QThread::InheritPriority);
    registerMetaTypes();
}

CameraClient::~CameraClient()
{
    if (m_scanTimer.isActive())
        m_scanTimer.stop();
    // Its finished signal queues the deletion of the worker objects on their own thread.
    m_workerThread.quit();
    m_workerThread.wait();
    delete ui;
}

void CameraClient::connectObjects()
{
    connect(&m_scanTimer, &QTimer::timeout, this, &CameraClient::onTimeout);
    connect(&m_workerThread, &QThread::started, m_finder, qOverload<>(&CameraFinder::init));
    connect(this, &CameraClient::initFinder, m_finder,
            qOverload<const QHostAddress &, quint16, int>(&CameraFinder::init));
    connect(this, &CameraClient::startScan, m_finder, &CameraFinder::scan);
    connect(m_finder, &CameraFinder::foundRemote, &m_model, &CameraModel::addCamera);
    connect(&m_workerThread, &QThread::finished, m_finder, &QObject::deleteLater);
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

void CameraClient::saveSettings()
{
    for (const SettingField &setting : kSettingFields)
        m_settings.setValue(QLatin1String(setting.key), (ui->*setting.field)->text());
    m_settings.sync();
}

void CameraClient::onScan()
{
    QHostAddress address;
    bool portValid = false;
    bool ttlValid = false;
    const bool addressValid = parseAddress(ui->leMulticastAddress->text(), address);
    const quint16 port = ui->leMulticastPort->text().toUShort(&portValid, 10);
    const quint32 ttl = ui->leTTL->text().toUInt(&ttlValid, 10);

    if (!addressValid) {
        QMessageBox::critical(this, QStringLiteral("Invalid IP address"),
                              QStringLiteral("The specified IP address is invalid."));
        return;
    }
    if (!portValid) {
        QMessageBox::critical(this, QStringLiteral("Invalid Port"),
                              QStringLiteral("Given number is not a valid port number."));
        return;
    }
    if (!ttlValid) {
        QMessageBox::critical(this, QStringLiteral("Invalid TTL"), QStringLiteral("TTL value is invalid."));
        return;
    }

    emit initFinder(address, port, ttl);
    // Each scan clears what an earlier update reported.
    for (const QSharedPointer<CameraItem> &camera : m_model.cameras()) {
        camera->setUpdateStatus(kNoUpdateStatus);
        m_model.refreshUpdateStatus(camera);
    }
    m_scanTimer.start(kScanInterval);
}

void CameraClient::onTimeout()
{
    emit startScan();
    ++m_scanTicks;
    if (m_scanTicks == kProbesPerScan) {
        m_scanTimer.stop();
        m_scanTicks = 0;
    }
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
    ui->leMulticastPort->setText(QStringLiteral("4800"));
    ui->leUpdatePort->setText(QStringLiteral("4799"));
    ui->leTTL->setText(QStringLiteral("255"));
}

void CameraClient::onClear()
{
    m_model.clear();
}

void CameraClient::onSetAdminCredentials()
{
    if (ui->leUser->text().isEmpty() || ui->lePassword->text().isEmpty()) {
        QMessageBox::warning(this, QStringLiteral("Empty Credentials"),
                             QStringLiteral("Username and Password must not be empty."));
        return;
    }
    m_adminUser = ui->leUser->text();
    m_adminPassword = ui->lePassword->text();
    QMessageBox::information(this, QStringLiteral("Set Credentials"), QStringLiteral("Credentials have been updated."));
}

void CameraClient::onFindByIP()
{
}

void CameraClient::onSetWebCredentials()
{
    if (ui->leWebUser->text().isEmpty() || ui->leWebPassword->text().isEmpty()) {
        QMessageBox::warning(this, QStringLiteral("Empty Credentials"),
                             QStringLiteral("Username and Password must not be empty."));
        return;
    }
    emit newCredentials(ui->leWebUser->text(), ui->leWebPassword->text());
    onRefresh();
    QMessageBox::information(this, QStringLiteral("Set Credentials"),
                             QStringLiteral("Credentials for the Web-API have been updated."));
}

void CameraClient::onRefresh()
{
    for (const QSharedPointer<CameraItem> &camera : m_model.cameras())
        emit refresh(camera);
}

void CameraClient::onFilter(QString filtertext)
{
    m_proxy.setFilterRegularExpression(filtertext);
    m_proxy.invalidate();
}

void CameraClient::onClose()
{
    saveSettings();
    QCoreApplication::quit();
}

void CameraClient::closeEvent(QCloseEvent *event)
{
    saveSettings();
    event->accept();
}

void CameraClient::onAbout()
{
    QDesktopServices::openUrl(kMakerSite);
}
