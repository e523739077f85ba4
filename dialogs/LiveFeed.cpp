#include "LiveFeed.h"
#include "ui_LiveFeed.h"

#include "SnapshotTask.h"

#include <QIntValidator>
#include <QPixmap>
#include <QSignalBlocker>

#include <limits>

namespace {
constexpr int kDefaultInterval = 3000;
constexpr int kMaxRateSeconds = 90000;
} // namespace

LiveFeed::LiveFeed(CameraAPI *client, QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::LiveFeed>())
    , m_task(new SnapshotTask(client, this))
{
    m_ui->setupUi(this);
    m_ui->leRate->setValidator(new QIntValidator(0, kMaxRateSeconds, m_ui->leRate));
    m_task->setInterval(kDefaultInterval);
    connect(m_task, &SnapshotTask::gotImage, this, &LiveFeed::drawImage);
    connect(m_task, &SnapshotTask::failed, this, &LiveFeed::showFailure);
}

LiveFeed::~LiveFeed() = default;

SnapshotTask *LiveFeed::snapshotTask() const
{
    return m_task;
}

void LiveFeed::setCameras(const QList<QSharedPointer<CameraItem>> &cameras)
{
    const QSharedPointer<CameraItem> shown = m_task->camera();
    {
        // Refilling must not select and fetch camera by camera.
        const QSignalBlocker blocker(m_ui->cbCamera);
        m_ui->cbCamera->clear();
        m_cameras = cameras;
        for (int i = 0; i < m_cameras.size(); ++i)
            addItem(i);
    }
    const int kept = shown ? int(m_cameras.indexOf(shown)) : -1;
    selectCamera(kept >= 0 ? kept : 0);
}

void LiveFeed::addCamera(const QSharedPointer<CameraItem> &camera)
{
    m_cameras.append(camera);
    addItem(int(m_cameras.size()) - 1);
    if (m_ui->cbCamera->currentIndex() < 0)
        selectCamera(0);
}

void LiveFeed::showCamera(const QSharedPointer<CameraItem> &camera)
{
    const int index = int(m_cameras.indexOf(camera));
    if (index >= 0)
        selectCamera(index);
}

void LiveFeed::addItem(int index)
{
    const QSharedPointer<CameraItem> &camera = m_cameras.at(index);
    m_ui->cbCamera->insertItem(index, QStringLiteral("%0 - %1").arg(camera->serial(), camera->addressText()), index);
}

void LiveFeed::selectCamera(int index)
{
    if (index >= m_ui->cbCamera->count()) {
        m_ui->cbCamera->setCurrentIndex(-1);
        m_task->setCamera({});
        m_ui->lbFeed->clear();
        m_ui->lbStatus->clear();
        return;
    }
    if (m_ui->cbCamera->currentIndex() == index)
        onSelectCamera(index);
    else
        m_ui->cbCamera->setCurrentIndex(index);
}

void LiveFeed::start()
{
    m_task->start();
}

void LiveFeed::onSelectCamera(int index)
{
    bool isNumber = false;
    const int camera = m_ui->cbCamera->itemData(index).toInt(&isNumber);
    if (!isNumber || camera < 0 || camera >= m_cameras.size())
        return;
    if (m_task->camera() == m_cameras.at(camera))
        return;
    m_task->setCamera(m_cameras.at(camera));
    m_ui->lbFeed->clear();
    m_ui->lbStatus->clear();
    fetchImage();
}

void LiveFeed::fetchImage()
{
    m_task->fetchImage();
}

void LiveFeed::drawImage(QSharedPointer<QByteArray> image)
{
    QPixmap picture;
    picture.loadFromData(*image);
    m_pictureTime = QTime::currentTime();
    m_ui->lbFeed->setEnabled(true);
    m_ui->lbStatus->clear();
    const QRect area = m_ui->lbFeed->geometry();
    m_ui->lbFeed->setPixmap(picture.scaled(area.width(), area.height(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

void LiveFeed::showFailure(QString msg)
{
    m_ui->lbFeed->setEnabled(false);
    m_ui->lbStatus->setText(m_ui->lbFeed->pixmap().isNull()
                                ? msg
                                : QStringLiteral("%0\nThe picture shown is from %1.")
                                      .arg(msg, m_pictureTime.toString(QStringLiteral("HH:mm:ss"))));
}

void LiveFeed::onSetRate()
{
    bool isNumber = false;
    const qint64 milliseconds = qint64(m_ui->leRate->text().toInt(&isNumber, 10)) * 1000;
    if (isNumber && milliseconds >= 0 && milliseconds <= std::numeric_limits<int>::max())
        m_task->setInterval(int(milliseconds));
}

void LiveFeed::onClose()
{
    m_task->stop();
    close();
}

// However the dialog goes away (Close, Escape, the window manager), nobody watches any more.
void LiveFeed::hideEvent(QHideEvent *event)
{
    m_task->stop();
    QDialog::hideEvent(event);
}
