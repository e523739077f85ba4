#pragma once

#include <QList>
#include <QMessageBox>
#include <QString>

class QWidget;

// Every modal box of the program goes through here, so a test can answer a box the
// user would see and read back its icon, title and text instead of a person clicking.
class MessageBox
{
public:
    struct Box
    {
        QMessageBox::Icon icon;
        QString title;
        QString text;
        QMessageBox::StandardButtons buttons;
        QMessageBox::StandardButton defaultButton;
    };

    static QMessageBox::StandardButton critical(QWidget *parent, const QString &title, const QString &text,
                                                QMessageBox::StandardButtons buttons = QMessageBox::Ok,
                                                QMessageBox::StandardButton defaultButton = QMessageBox::NoButton);
    static QMessageBox::StandardButton warning(QWidget *parent, const QString &title, const QString &text,
                                               QMessageBox::StandardButtons buttons = QMessageBox::Ok,
                                               QMessageBox::StandardButton defaultButton = QMessageBox::NoButton);
    static QMessageBox::StandardButton information(QWidget *parent, const QString &title, const QString &text,
                                                   QMessageBox::StandardButtons buttons = QMessageBox::Ok,
                                                   QMessageBox::StandardButton defaultButton = QMessageBox::NoButton);
    static QMessageBox::StandardButton question(QWidget *parent, const QString &title, const QString &text,
                                                QMessageBox::StandardButtons buttons = QMessageBox::Yes
                                                                                     | QMessageBox::No,
                                                QMessageBox::StandardButton defaultButton = QMessageBox::NoButton);

    // Test hooks. Each queued answer closes one box before it is shown; the boxes so
    // answered are recorded in order until taken.
    static void setNextAnswer(QMessageBox::StandardButton answer);
    static QList<Box> takeAnswered();
    // Drops queued answers and recorded boxes.
    static void reset();

private:
    static QMessageBox::StandardButton ask(QWidget *parent, const Box &box);
};
