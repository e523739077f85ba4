#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class StatusDialog;
}

// Progress of one upload to many cameras: three steps per camera (sending, applying,
// status). Closing it does not stop the transfers.
class StatusDialog : public QDialog
{
    Q_OBJECT

public:
    explicit StatusDialog(QWidget *parent = nullptr);
    ~StatusDialog() override;

    void setUpload(const QString &fileName, int count);

signals:
    void canceled();

public slots:
    void stepCompleted();
    // A camera's transfer failed: skips the steps it had left.
    void stepAborted();
    void onCancel();

private:
    void showProgress();

    std::unique_ptr<Ui::StatusDialog> m_ui;
    int m_total = 0;
    int m_done = 0;
};
