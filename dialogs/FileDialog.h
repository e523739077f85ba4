#pragma once

#include <QFileDialog>
#include <QString>
#include <QStringList>

class QWidget;

// Every file and folder chooser of the program goes through here, so a test can give
// the path a user would pick (an empty one for a cancelled dialog) and read back the
// captions that were asked.
class FileDialog
{
public:
    static QString getOpenFileName(QWidget *parent, const QString &caption, const QString &dir = QString(),
                                   const QString &filter = QString());
    static QString getSaveFileName(QWidget *parent, const QString &caption, const QString &dir = QString(),
                                   const QString &filter = QString());
    static QString getExistingDirectory(QWidget *parent, const QString &caption, const QString &dir = QString(),
                                        QFileDialog::Options options = QFileDialog::ShowDirsOnly);

    // Test hooks. The next file chooser (open or save), resp. the next folder chooser,
    // returns the given path without being shown; its caption is recorded until taken.
    static void setNextFileName(const QString &fileName);
    static void setNextDirectory(const QString &directory);
    static QStringList takeCaptions();
    // Drops pending answers and recorded captions.
    static void reset();
};
