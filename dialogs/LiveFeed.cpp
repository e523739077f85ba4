#include "LiveFeed.h"
#include "ui_LiveFeed.h"

#include "SnapshotTask.h"

#include <QIntValidator>
#include <QPixmap>

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
}

LiveFeed::~LiveFeed() = default;

SnapshotTask *LiveFeed::snapshotTask() const
{
    return m_task;
}

void LiveFeed::setCameras(const QList<QSharedPointer<CameraItem>> &cameras)
{
    m_ui->cbCamera->clear();
    m_cameras = cameras;
    for (int i = 0; i < m_cameras.size(); ++i) {
        const QSharedPointer<CameraItem> &camera = m_cameras.at(i);
        m_ui->cbCamera->insertItem(i, QStringLiteral("%0 - %1").arg(camera->serial(), camera->addressText()), i);
    }
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
    m_task->setCamera(m_cameras.at(camera));
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
    const QRect area = m_ui->lbFeed->geometry();
    m_ui->lbFeed->setPixmap(picture.scaled(area.width(), area.height(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
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
