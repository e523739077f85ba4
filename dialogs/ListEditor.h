#pragma once

#include <QDialog>
#include <QList>
#include <QSharedPointer>
#include <QString>

#include <memory>

class CameraItem;

namespace Ui {
class ListEditor;
}

// Picks one of the known access lists and offers a form for a new entry. Loading,
// sending and syncing entries are not wired up yet; the hooks for them are in place.
class ListEditor : public QDialog
{
    Q_OBJECT

public:
    explicit ListEditor(QWidget *parent = nullptr);
    ~ListEditor() override;

    // Holds the cameras, re-reads the access-list names and resets the entry form.
    void setCameras(const QList<QSharedPointer<CameraItem>> &cameras);

signals:
    void fetchEntries(QSharedPointer<CameraItem> cam, QString access_list, QString pattern);

public slots:
    void onLoadEntries();
    void onAddEntry();

private:
    std::unique_ptr<Ui::ListEditor> m_ui;
    QList<QSharedPointer<CameraItem>> m_cameras;
};
