#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class CameraSelectionDialog;
}

// Two lists for choosing target cameras: the available ones and the chosen ones. Only
// the form exists so far; the bulk dialogs may adopt it for their camera choice.
class CameraSelectionDialog : public QDialog
{
    Q_OBJECT

public:
    explicit CameraSelectionDialog(QWidget *parent = nullptr);
    ~CameraSelectionDialog() override;

private:
    std::unique_ptr<Ui::CameraSelectionDialog> m_ui;
};
