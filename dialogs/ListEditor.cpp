#include "ListEditor.h"

#include "ui_ListEditor.h"

#include "CameraItem.h"

#include <QJsonObject>

ListEditor::ListEditor(QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::ListEditor>())
{
    m_ui->setupUi(this);
}

ListEditor::~ListEditor() = default;

void ListEditor::setCameras(const QList<QSharedPointer<CameraItem>> &cameras)
{
    m_cameras = cameras;

    m_ui->cbAccessList->clear();
    QStringList names = CameraItem::accessListNames().values();
    names.sort(Qt::CaseSensitive);
    m_ui->cbAccessList->addItems(names);

    const QDateTime now = QDateTime::currentDateTime();
    m_ui->deStartDate->setDateTime(now);
    m_ui->deEndDate->setDateTime(now.addDays(1));
    m_ui->teFrom->setTime(QTime(0, 0, 0, 0));
    m_ui->teTo->setTime(QTime(23, 59, 59, 999));
    m_ui->lePlate->clear();
    // A click, unlike setChecked, also re-enables the schedule greyed out by the box.
    if (m_ui->cbAlways->isChecked())
        m_ui->cbAlways->click();
    m_ui->cbRegEx->setChecked(false);
    for (QCheckBox *day : {m_ui->cbMonday, m_ui->cbTuesday, m_ui->cbWednesday, m_ui->cbThursday, m_ui->cbFriday,
                           m_ui->cbSaturday, m_ui->cbSunday}) {
        day->setChecked(false);
    }
}

void ListEditor::onLoadEntries()
{
}

void ListEditor::onAddEntry()
{
    // The entry is built as it will be sent, but nothing sends or keeps it yet.
    const QString plate = m_ui->lePlate->text();
    QJsonObject entry;
    entry.insert(QStringLiteral("plate"), m_ui->cbRegEx->isChecked() ? QStringLiteral("!%0").arg(plate) : plate);
    entry.insert(QStringLiteral("always"), m_ui->cbAlways->isChecked());
}
