#include "FileDialog.h"

#include <optional>
#include <utility>

namespace {

struct Answers
{
    std::optional<QString> fileName;
    std::optional<QString> directory;
    QStringList captions;
};

// Choosers are modal and only ever opened on the GUI thread.
Answers &answers()
{
    static Answers state;
    return state;
}

std::optional<QString> takeAnswer(std::optional<QString> &answer, const QString &caption)
{
    if (!answer)
        return std::nullopt;
    answers().captions.append(caption);
    return std::exchange(answer, std::nullopt);
}

} // namespace

QString FileDialog::getOpenFileName(QWidget *parent, const QString &caption, const QString &dir,
                                    const QString &filter)
{
    if (const auto answer = takeAnswer(answers().fileName, caption))
        return *answer;
    return QFileDialog::getOpenFileName(parent, caption, dir, filter);
}

QString FileDialog::getSaveFileName(QWidget *parent, const QString &caption, const QString &dir,
                                    const QString &filter)
{
    if (const auto answer = takeAnswer(answers().fileName, caption))
        return *answer;
    return QFileDialog::getSaveFileName(parent, caption, dir, filter);
}

QString FileDialog::getExistingDirectory(QWidget *parent, const QString &caption, const QString &dir,
                                         QFileDialog::Options options)
{
    if (const auto answer = takeAnswer(answers().directory, caption))
        return *answer;
    return QFileDialog::getExistingDirectory(parent, caption, dir, options);
}

void FileDialog::setNextFileName(const QString &fileName)
{
    answers().fileName = fileName;
}

void FileDialog::setNextDirectory(const QString &directory)
{
    answers().directory = directory;
}

QStringList FileDialog::takeCaptions()
{
    return std::exchange(answers().captions, {});
}

void FileDialog::reset()
{
    answers() = {};
}
