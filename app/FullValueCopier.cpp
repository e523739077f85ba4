#include "FullValueCopier.h"

#include "CameraModel.h"

#include <QAbstractItemView>
#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>

FullValueCopier::FullValueCopier(QAbstractItemView *view)
    : QObject(view)
    , m_view(view)
{
    view->installEventFilter(this);
}

bool FullValueCopier::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_view || event->type() != QEvent::KeyPress
        || !static_cast<QKeyEvent *>(event)->matches(QKeySequence::Copy)) {
        return false;
    }
    const QModelIndex index = m_view->currentIndex();
    if (index.isValid())
        QGuiApplication::clipboard()->setText(index.data(CameraModel::FullTextRole).toString());
    return true;
}
