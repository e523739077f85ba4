#include "CameraSelectionDialog.h"

#include "ui_CameraSelectionDialog.h"

CameraSelectionDialog::CameraSelectionDialog(QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::CameraSelectionDialog>())
{
    m_ui->setupUi(this);
}

CameraSelectionDialog::~CameraSelectionDialog() = default;
