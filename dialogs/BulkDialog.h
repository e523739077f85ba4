#pragma once

#include "CameraList.h"
#include "PropertyEditor.h"
#include "StatusFilter.h"

#include <QDate>
#include <QDialog>
#include <QMap>
#include <QSharedPointer>
#include <QSortFilterProxyModel>
#include <QString>
#include <QStringList>
#include <QTime>

#include <memory>

class CameraItem;
class QAbstractItemView;

namespace Ui {
class BulkDialog;
}

// Applies one operation to many cameras at once. The dialog never talks to a camera:
// each action emits its signal once per selected camera, in the order of the selected list.
class BulkDialog : public QDialog
{
    Q_OBJECT

public:
    explicit BulkDialog(QWidget *parent = nullptr);
    ~BulkDialog() override;

    // Every camera starts in the available list; the key sets known so far fill the
    // access-list choosers and the property editors.
    void setCameras(const QList<QSharedPointer<CameraItem>> &cameras);

signals:
    void reinit(QSharedPointer<CameraItem> cam);
    void reset(QSharedPointer<CameraItem> cam);
    void reboot(QSharedPointer<CameraItem> cam);
    void uploadAccessList(QSharedPointer<CameraItem> cam, QString access_list, QString filename);
    void downloadAccessList(QSharedPointer<CameraItem> cam, QString access_list, QString directory);
    void setSystemProperties(QSharedPointer<CameraItem> cam, QMap<QString, QString> properties);
    void setANPRProperties(QSharedPointer<CameraItem> cam, QMap<QString, QString> properties);
    void uploadClassifier(QSharedPointer<CameraItem> cam, QString classifier_name, QString filename, bool overwrite);
    void defaultToClassifier(QSharedPointer<CameraItem> cam, QString classifier);
    void addAccessListEntry(QSharedPointer<CameraItem> cam, QString access_list, QString plate, bool always,
                            QDate start, QDate end, QStringList weekdays, QTime from, QTime to);
    void deleteAccessListEntry(QSharedPointer<CameraItem> cam, QString access_list, int index, QString pattern);

public slots:
    void onSelect();
    void onDeselect();
    void onFilterSystem(const QString &filtertext);
    void onFilterANPR(const QString &filtertext);
    void onReinit();
    void onReset();
    void onReboot();
    void onChooseAccessFile();
    void onChooseClassifierFile();
    void onUploadAccessFile();
    void onDownloadAccessFile();
    void onSystemModify();
    void onANPRModify();
    void onAddEntry();
    void onDeleteEntry();
    void onUploadClassifier();
    void onDefaultToClassifier();

private:
    // Gives the rows selected in view, which shows filter, the status of the other list.
    void moveSelected(const QAbstractItemView *view, const StatusFilter &filter, int status);
    // The selected cameras, or an empty list after telling the user that none is selected.
    QList<QSharedPointer<CameraItem>> selectedCameras();
    // Emits signal for each selected camera once the user has confirmed.
    void emitConfirmed(void (BulkDialog::*signal)(QSharedPointer<CameraItem>));
    // Emits signal with the editor's typed values for each selected camera; tells the user
    // when there is no camera or no value.
    void emitChanges(const PropertyEditor &editor,
                     void (BulkDialog::*signal)(QSharedPointer<CameraItem>, QMap<QString, QString>));
    bool confirmAction();
    // Returns name; when it is empty the user is told that there is no access list.
    QString accessListName(const QString &name, const QString &missingText);
    QString classifierName();

    std::unique_ptr<Ui::BulkDialog> m_ui;
    // The entries outlive the models over them, which are destroyed first.
    CameraList::Entries m_entries;
    CameraList m_cameras;
    StatusFilter m_available;
    StatusFilter m_selected;
    PropertyEditor m_systemEditor;
    PropertyEditor m_anprEditor;
    QSortFilterProxyModel m_systemFilter;
    QSortFilterProxyModel m_anprFilter;
    QString m_accessFile;
    QString m_classifierFile;
};
