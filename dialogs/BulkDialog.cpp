#include "BulkDialog.h"

#include "ui_BulkDialog.h"

#include "CameraItem.h"
#include "FileDialog.h"
#include "MessageBox.h"

#include <QFileInfo>

namespace {

constexpr int kAvailable = 0;
constexpr int kSelected = 1;

// The two texts differ by the blank after the first full stop; both are shown as they are.
const QString kNoAccessLists =
    QStringLiteral("No access lists are currently available. Please refresh the camera properties.");
const QString kNoAccessListsForEntry =
    QStringLiteral("No access lists are currently available.Please refresh the camera properties.");

QStringList sorted(const QSet<QString> &keys)
{
    QStringList list = keys.values();
    list.sort();
    return list;
}

} // namespace

BulkDialog::BulkDialog(QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::BulkDialog>())
    , m_cameras(this)
    , m_available(kAvailable, this)
    , m_selected(kSelected, this)
    , m_systemEditor(this)
    , m_anprEditor(this)
    , m_systemFilter(this)
    , m_anprFilter(this)
{
    m_ui->setupUi(this);

    m_cameras.setList(&m_entries);
    m_available.setSourceModel(&m_cameras);
    m_selected.setSourceModel(&m_cameras);
    m_ui->lvCameras->setModel(&m_available);
    m_ui->lvSelectedCameras->setModel(&m_selected);

    m_systemFilter.setSourceModel(&m_systemEditor);
    m_anprFilter.setSourceModel(&m_anprEditor);
    m_systemFilter.setFilterCaseSensitivity(Qt::CaseInsensitive);
    m_anprFilter.setFilterCaseSensitivity(Qt::CaseInsensitive);
    m_ui->tvSystemProperties->setModel(&m_systemFilter);
    m_ui->tvANPRProperties->setModel(&m_anprFilter);

    connect(m_ui->pbAdd, &QPushButton::clicked, this, &BulkDialog::onSelect);
    connect(m_ui->pbRemove, &QPushButton::clicked, this, &BulkDialog::onDeselect);
    connect(m_ui->leSystemFilter, &QLineEdit::textChanged, this, &BulkDialog::onFilterSystem);
    connect(m_ui->leANPRFilter, &QLineEdit::textChanged, this, &BulkDialog::onFilterANPR);
    connect(m_ui->pbCameraReinit, &QPushButton::clicked, this, &BulkDialog::onReinit);
    connect(m_ui->pbCameraReset, &QPushButton::clicked, this, &BulkDialog::onReset);
    connect(m_ui->pbCameraReboot, &QPushButton::clicked, this, &BulkDialog::onReboot);
    connect(m_ui->tbAccessFile, &QToolButton::clicked, this, &BulkDialog::onChooseAccessFile);
    connect(m_ui->tbClassifierFile, &QToolButton::clicked, this, &BulkDialog::onChooseClassifierFile);
    connect(m_ui->pbAccessFileUpload, &QPushButton::clicked, this, &BulkDialog::onUploadAccessFile);
    connect(m_ui->pbAccessFileDownload, &QPushButton::clicked, this, &BulkDialog::onDownloadAccessFile);
    connect(m_ui->pbSystemModify, &QPushButton::clicked, this, &BulkDialog::onSystemModify);
    connect(m_ui->pbANPRModify, &QPushButton::clicked, this, &BulkDialog::onANPRModify);
    connect(m_ui->pbAddEntry, &QPushButton::clicked, this, &BulkDialog::onAddEntry);
    connect(m_ui->pbAccessDelete, &QPushButton::clicked, this, &BulkDialog::onDeleteEntry);
    connect(m_ui->pbClassifierUpload, &QPushButton::clicked, this, &BulkDialog::onUploadClassifier);
    connect(m_ui->pbClassifierDefault, &QPushButton::clicked, this, &BulkDialog::onDefaultToClassifier);
    connect(m_ui->pbSystemClear, &QPushButton::clicked, &m_systemEditor, &PropertyEditor::clear);
    connect(m_ui->pbANPRClear, &QPushButton::clicked, &m_anprEditor, &PropertyEditor::clear);
}

BulkDialog::~BulkDialog() = default;

void BulkDialog::setCameras(const QList<QSharedPointer<CameraItem>> &cameras)
{
    m_entries.clear();
    for (const QSharedPointer<CameraItem> &camera : cameras)
        m_entries.append({kAvailable, camera});
    m_cameras.setList(&m_entries);

    // Only the first chooser is emptied: the second one gathers the names once more on
    // every opening, as it always has.
    m_ui->cbAccessList->clear();
    const QStringList names = sorted(CameraItem::accessListNames());
    m_ui->cbAccessList->addItems(names);
    m_ui->cbEntry->addItems(names);

    m_systemEditor.addProperties(sorted(CameraItem::systemKeys() - CameraItem::configKeys()));
    m_anprEditor.addProperties(sorted(CameraItem::anprKeys() - CameraItem::accessEntryKeys()));

    const QDateTime now = QDateTime::currentDateTime();
    m_ui->deStartDate->setDateTime(now);
    m_ui->deEndDate->setDateTime(now.addDays(1));
}

void BulkDialog::onSelect()
{
    moveSelected(m_ui->lvCameras, m_available, kSelected);
}

void BulkDialog::onDeselect()
{
    moveSelected(m_ui->lvSelectedCameras, m_selected, kAvailable);
}

void BulkDialog::onFilterSystem(const QString &filtertext)
{
    m_systemFilter.setFilterRegularExpression(filtertext);
    m_systemFilter.invalidate();
}

void BulkDialog::onFilterANPR(const QString &filtertext)
{
    m_anprFilter.setFilterRegularExpression(filtertext);
    m_anprFilter.invalidate();
}

void BulkDialog::onReinit()
{
    emitConfirmed(&BulkDialog::reinit);
}

void BulkDialog::onReset()
{
    emitConfirmed(&BulkDialog::reset);
}

void BulkDialog::onReboot()
{
    emitConfirmed(&BulkDialog::reboot);
}

void BulkDialog::onChooseAccessFile()
{
    const QString file = FileDialog::getOpenFileName(this, QStringLiteral("Select a list file for the upload."));
    if (file.isEmpty())
        return;
    m_accessFile = file;
    m_ui->tbAccessFile->setText(file);
}

void BulkDialog::onChooseClassifierFile()
{
    // The caption is the one of the list chooser; it has always read so.
    const QString file = FileDialog::getOpenFileName(this, QStringLiteral("Select a list file for the upload."));
    if (file.isEmpty())
        return;
    m_classifierFile = file;
    m_ui->tbClassifierFile->setText(file);
    if (m_ui->leClassifierName->text().isEmpty())
        m_ui->leClassifierName->setText(QFileInfo(file).fileName());
}

void BulkDialog::onUploadAccessFile()
{
    const QList<QSharedPointer<CameraItem>> cameras = selectedCameras();
    if (cameras.isEmpty())
        return;
    const QString name = accessListName(m_ui->cbAccessList->currentText(), kNoAccessLists);
    if (name.isEmpty())
        return;
    if (m_accessFile.isEmpty()) {
        MessageBox::critical(this, QStringLiteral("No access list file specified"),
                             QStringLiteral("No access list was chosen for the upload. Please select a file for the upload."));
        return;
    }
    for (const QSharedPointer<CameraItem> &camera : cameras)
        emit uploadAccessList(camera, name, m_accessFile);
}

void BulkDialog::onDownloadAccessFile()
{
    const QList<QSharedPointer<CameraItem>> cameras = selectedCameras();
    if (cameras.isEmpty())
        return;
    const QString name = accessListName(m_ui->cbAccessList->currentText(), kNoAccessLists);
    if (name.isEmpty())
        return;
    const QString folder = FileDialog::getExistingDirectory(
        this, QStringLiteral("Select folder as download destination"), QString(), QFileDialog::ShowDirsOnly);
    if (folder.isEmpty())
        return;
    for (const QSharedPointer<CameraItem> &camera : cameras)
        emit downloadAccessList(camera, name, folder);
}

void BulkDialog::onSystemModify()
{
    emitChanges(m_systemEditor, &BulkDialog::setSystemProperties);
}

void BulkDialog::onANPRModify()
{
    emitChanges(m_anprEditor, &BulkDialog::setANPRProperties);
}

void BulkDialog::onAddEntry()
{
    const QList<QSharedPointer<CameraItem>> cameras = selectedCameras();
    if (cameras.isEmpty())
        return;
    const QString name = accessListName(m_ui->cbEntry->currentText(), kNoAccessListsForEntry);
    if (name.isEmpty())
        return;
    const QString plate = m_ui->lePlate->text();
    if (plate.isEmpty()) {
        MessageBox::critical(this, QStringLiteral("Value for plate missing"),
                             QStringLiteral("Please provide a license plate number."));
        return;
    }
    QStringList weekdays;
    for (int row = 0; row < m_ui->liWeekdays->count(); ++row) {
        const QListWidgetItem *day = m_ui->liWeekdays->item(row);
        if (day->isSelected())
            weekdays.append(day->text());
    }
    if (weekdays.isEmpty()) {
        MessageBox::critical(this, QStringLiteral("Weekdays are missing"),
                             QStringLiteral("Please select allowed days of the week."));
        return;
    }
    for (const QSharedPointer<CameraItem> &camera : cameras) {
        emit addAccessListEntry(camera, name, plate, m_ui->cbAlways->isChecked(), m_ui->deStartDate->date(),
                                m_ui->deEndDate->date(), weekdays, m_ui->teFrom->time(), m_ui->teTo->time());
    }
}

void BulkDialog::onDeleteEntry()
{
    const QList<QSharedPointer<CameraItem>> cameras = selectedCameras();
    if (cameras.isEmpty())
        return;
    const QString name = accessListName(m_ui->cbAccessList->currentText(), kNoAccessLists);
    if (name.isEmpty())
        return;
    bool isNumber = false;
    const int index = m_ui->leDeleteIndex->text().toInt(&isNumber, 10);
    if (!isNumber || index < 0) {
        MessageBox::critical(this, QStringLiteral("Invalid index"),
                             QStringLiteral("Please provide a positive number that represents the zero-based index of an access list entry."));
        return;
    }
    for (const QSharedPointer<CameraItem> &camera : cameras)
        emit deleteAccessListEntry(camera, name, index, m_ui->leDeletePattern->text());
}

void BulkDialog::onUploadClassifier()
{
    const QList<QSharedPointer<CameraItem>> cameras = selectedCameras();
    if (cameras.isEmpty())
        return;
    const QString name = classifierName();
    if (name.isEmpty())
        return;
    if (m_classifierFile.isEmpty()) {
        MessageBox::critical(this, QStringLiteral("No classifier file specified"),
                             QStringLiteral("No classifier was chosen for the upload. Please select a file for the upload."));
        return;
    }
    for (const QSharedPointer<CameraItem> &camera : cameras)
        emit uploadClassifier(camera, name, m_classifierFile, m_ui->cbClassifierOverwrite->isChecked());
}

void BulkDialog::onDefaultToClassifier()
{
    const QList<QSharedPointer<CameraItem>> cameras = selectedCameras();
    if (cameras.isEmpty() || !confirmAction())
        return;
    const QString name = classifierName();
    if (name.isEmpty())
        return;
    for (const QSharedPointer<CameraItem> &camera : cameras)
        emit defaultToClassifier(camera, name);
}

void BulkDialog::moveSelected(const QAbstractItemView *view, const StatusFilter &filter, int status)
{
    // Source rows first: every status change takes its row out of the filter at once.
    QList<int> rows;
    const QModelIndexList chosen = view->selectionModel()->selectedRows();
    for (const QModelIndex &index : chosen)
        rows.append(filter.mapToSource(index).row());
    for (int row : rows)
        m_cameras.setStatus(row, status);
}

QList<QSharedPointer<CameraItem>> BulkDialog::selectedCameras()
{
    QList<QSharedPointer<CameraItem>> cameras;
    for (int row = 0; row < m_selected.rowCount(); ++row)
        cameras.append(m_cameras.camera(m_selected.mapToSource(m_selected.index(row, 0)).row()));
    if (cameras.isEmpty()) {
        MessageBox::warning(this, QStringLiteral("No Cameras selected"),
                            QStringLiteral("Select the cameras you want to work with."));
    }
    return cameras;
}

void BulkDialog::emitConfirmed(void (BulkDialog::*signal)(QSharedPointer<CameraItem>))
{
    const QList<QSharedPointer<CameraItem>> cameras = selectedCameras();
    if (cameras.isEmpty() || !confirmAction())
        return;
    for (const QSharedPointer<CameraItem> &camera : cameras)
        emit(this->*signal)(camera);
}

void BulkDialog::emitChanges(const PropertyEditor &editor,
                             void (BulkDialog::*signal)(QSharedPointer<CameraItem>, QMap<QString, QString>))
{
    const QList<QSharedPointer<CameraItem>> cameras = selectedCameras();
    if (cameras.isEmpty())
        return;
    const QMap<QString, QString> properties = editor.changedProperties();
    if (properties.isEmpty()) {
        MessageBox::critical(this, QStringLiteral("No property values specified"),
                             QStringLiteral("No value was entered for any property. Please enter the new values in "
                                            "the Value column."));
        return;
    }
    for (const QSharedPointer<CameraItem> &camera : cameras)
        emit(this->*signal)(camera, properties);
}

bool BulkDialog::confirmAction()
{
    return MessageBox::warning(this, QStringLiteral("Proceed with Action?"),
                               QStringLiteral("After this action, the camera(s) might not be available for a short time. Are you sure?"),
                               QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::Cancel)
        == QMessageBox::Ok;
}

QString BulkDialog::accessListName(const QString &name, const QString &missingText)
{
    if (name.isEmpty())
        MessageBox::critical(this, QStringLiteral("No access list name found"), missingText);
    return name;
}

QString BulkDialog::classifierName()
{
    const QString name = m_ui->leClassifierName->text();
    if (name.isEmpty()) {
        MessageBox::critical(this, QStringLiteral("No classifier name specified"),
                             QStringLiteral("No name for the classifier was chosen. Please enter a name for the upload."));
    }
    return name;
}
