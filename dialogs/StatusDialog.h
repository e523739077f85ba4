#pragma once

#include <QDialog>
#include <QStringList>

#include <memory>

namespace Ui {
class StatusDialog;
}

// Progress of the uploads under way: three steps per camera (sending, applying, status),
// whatever becomes of the camera, so the dialog always reaches its end and closes there.
// Closing it does not stop the transfers.
class StatusDialog : public QDialog
{
    Q_OBJECT

public:
    static constexpr int kStepsPerCamera = 3;

    explicit StatusDialog(QWidget *parent = nullptr);
    ~StatusDialog() override;

    void setUpload(const QString &fileName, int count);
    // Adds the cameras of a further start to the uploads under way, or sets up anew when
    // every step of the earlier ones has been counted.
    void addUpload(const QString &fileName, int count);

signals:
    void canceled();

public slots:
    void stepCompleted();
    // A camera's transfer failed: counts the steps it had left.
    void stepAborted(int stepsLeft);
    void onCancel();

private:
    void showLabel();
    void showProgress();

    std::unique_ptr<Ui::StatusDialog> m_ui;
    QStringList m_fileNames;
    int m_cameras = 0;
    int m_total = 0;
    int m_done = 0;
};
