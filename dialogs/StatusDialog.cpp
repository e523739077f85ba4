#include "StatusDialog.h"

#include "ui_StatusDialog.h"

namespace {

constexpr int kStepsPerCamera = 3;

}

StatusDialog::StatusDialog(QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::StatusDialog>())
{
    m_ui->setupUi(this);
}

StatusDialog::~StatusDialog() = default;

void StatusDialog::setUpload(const QString &fileName, int count)
{
    m_done = 0;
    m_total = count * kStepsPerCamera;
    m_ui->pbStatus->setMinimum(0);
    m_ui->pbStatus->setMaximum(m_total);
    m_ui->pbStatus->setValue(0);
    const QString text = count == 1 ? QStringLiteral("Uploading %1 to %2 camera")
                                    : QStringLiteral("Uploading %1 to %2 cameras");
    m_ui->lbUpload->setText(text.arg(fileName, QString::number(count)));
    repaint();
}

void StatusDialog::stepCompleted()
{
    ++m_done;
    showProgress();
}

void StatusDialog::stepAborted()
{
    // The cameras' progress has always been counted this way, even though it does not
    // land on a multiple of three from every step; the remainder truncates toward zero.
    const int remainder = (m_done - 1) % kStepsPerCamera;
    m_done += remainder != 0 ? remainder : kStepsPerCamera;
    showProgress();
}

void StatusDialog::onCancel()
{
    emit canceled();
    close();
}

void StatusDialog::showProgress()
{
    if (m_done >= m_total)
        close();
    m_ui->pbStatus->setValue(m_done);
    repaint();
}
