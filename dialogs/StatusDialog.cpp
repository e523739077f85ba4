#include "StatusDialog.h"

#include "ui_StatusDialog.h"

StatusDialog::StatusDialog(QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::StatusDialog>())
{
    m_ui->setupUi(this);
}

StatusDialog::~StatusDialog() = default;

void StatusDialog::setUpload(const QString &fileName, int count)
{
    m_fileNames = QStringList{fileName};
    m_cameras = count;
    m_done = 0;
    m_total = count * kStepsPerCamera;
    m_ui->pbStatus->setMinimum(0);
    m_ui->pbStatus->setMaximum(m_total);
    m_ui->pbStatus->setValue(0);
    showLabel();
    repaint();
}

void StatusDialog::addUpload(const QString &fileName, int count)
{
    if (m_done >= m_total) {
        setUpload(fileName, count);
        return;
    }
    if (!m_fileNames.contains(fileName))
        m_fileNames.append(fileName);
    m_cameras += count;
    m_total += count * kStepsPerCamera;
    m_ui->pbStatus->setMaximum(m_total);
    showLabel();
    repaint();
}

void StatusDialog::stepCompleted()
{
    ++m_done;
    showProgress();
}

void StatusDialog::stepAborted(int stepsLeft)
{
    m_done += stepsLeft;
    showProgress();
}

void StatusDialog::onCancel()
{
    emit canceled();
    close();
}

void StatusDialog::showLabel()
{
    const QString text = m_cameras == 1 ? QStringLiteral("Uploading %1 to %2 camera")
                                        : QStringLiteral("Uploading %1 to %2 cameras");
    m_ui->lbUpload->setText(text.arg(m_fileNames.join(QStringLiteral(", ")), QString::number(m_cameras)));
}

void StatusDialog::showProgress()
{
    if (m_done >= m_total)
        close();
    m_ui->pbStatus->setValue(m_done);
    repaint();
}
