#pragma once

#include <QObject>

class QAbstractItemView;

// Ctrl+C on the camera tree copies the whole value of the current cell. The view's own copy
// takes the display text, which the model cuts short for long values.
class FullValueCopier : public QObject
{
    Q_OBJECT

public:
    // Owned by the view it watches.
    explicit FullValueCopier(QAbstractItemView *view);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QAbstractItemView *m_view;
};
