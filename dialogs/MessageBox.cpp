#include "MessageBox.h"

#include <QQueue>

#include <utility>

namespace {

struct Answers
{
    QQueue<QMessageBox::StandardButton> next;
    QList<MessageBox::Box> answered;
};

// Boxes are modal and only ever opened on the GUI thread.
Answers &answers()
{
    static Answers state;
    return state;
}

} // namespace

QMessageBox::StandardButton MessageBox::critical(QWidget *parent, const QString &title, const QString &text,
                                                 QMessageBox::StandardButtons buttons,
                                                 QMessageBox::StandardButton defaultButton)
{
    return ask(parent, {QMessageBox::Critical, title, text, buttons, defaultButton});
}

QMessageBox::StandardButton MessageBox::warning(QWidget *parent, const QString &title, const QString &text,
                                                QMessageBox::StandardButtons buttons,
                                                QMessageBox::StandardButton defaultButton)
{
    return ask(parent, {QMessageBox::Warning, title, text, buttons, defaultButton});
}

QMessageBox::StandardButton MessageBox::information(QWidget *parent, const QString &title, const QString &text,
                                                    QMessageBox::StandardButtons buttons,
                                                    QMessageBox::StandardButton defaultButton)
{
    return ask(parent, {QMessageBox::Information, title, text, buttons, defaultButton});
}

QMessageBox::StandardButton MessageBox::question(QWidget *parent, const QString &title, const QString &text,
                                                 QMessageBox::StandardButtons buttons,
                                                 QMessageBox::StandardButton defaultButton)
{
    return ask(parent, {QMessageBox::Question, title, text, buttons, defaultButton});
}

void MessageBox::setNextAnswer(QMessageBox::StandardButton answer)
{
    answers().next.enqueue(answer);
}

QList<MessageBox::Box> MessageBox::takeAnswered()
{
    return std::exchange(answers().answered, {});
}

void MessageBox::reset()
{
    answers() = {};
}

QMessageBox::StandardButton MessageBox::ask(QWidget *parent, const Box &box)
{
    if (!answers().next.isEmpty()) {
        answers().answered.append(box);
        return answers().next.dequeue();
    }
    switch (box.icon) {
    case QMessageBox::Critical:
        return QMessageBox::critical(parent, box.title, box.text, box.buttons, box.defaultButton);
    case QMessageBox::Warning:
        return QMessageBox::warning(parent, box.title, box.text, box.buttons, box.defaultButton);
    case QMessageBox::Question:
        return QMessageBox::question(parent, box.title, box.text, box.buttons, box.defaultButton);
    default:
        return QMessageBox::information(parent, box.title, box.text, box.buttons, box.defaultButton);
    }
}
