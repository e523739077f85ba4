#include "CameraList.h"

CameraList::CameraList(QObject *parent)
    : QAbstractListModel(parent)
{
}

CameraList::~CameraList() = default;

void CameraList::setList(Entries *list)
{
    beginResetModel();
    m_list = list;
    endResetModel();
}

QSharedPointer<CameraItem> &CameraList::camera(int row)
{
    return (*m_list)[row].camera;
}

void CameraList::setStatus(int row, int status)
{
    if (!m_list || row < 0 || row >= m_list->size())
        return;
    (*m_list)[row].status = status;
    const QModelIndex changed = index(row, 0);
    emit dataChanged(changed, changed, {});
}

int CameraList::rowCount(const QModelIndex &parent) const
{
    if (parent.isValid() || !m_list)
        return 0;
    return int(m_list->size());
}

QVariant CameraList::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || !m_list || index.row() >= m_list->size())
        return {};
    const Entry &entry = m_list->at(index.row());
    if (!entry.camera)
        return {};
    if (role == Qt::DisplayRole)
        return QStringLiteral("Cam. %0 @ %1").arg(entry.camera->serial(), entry.camera->addressText());
    if (role == StatusRole)
        return entry.status;
    return {};
}

QVariant CameraList::headerData(int, Qt::Orientation, int) const
{
    return QString();
}
