#pragma once

#include <QObject>
#include <QStringList>

#include <functional>

// Shows the outcome lines of camera operations one box at a time. Many cameras answer at
// once, so lines that arrive while a box is open are gathered and shown together once it
// closes, successes first, then errors.
class MessageGatherer : public QObject
{
    Q_OBJECT

public:
    enum class Kind { Success, Error };
    // Shows one modal box and returns when the user has closed it.
    using ShowBox = std::function<void(Kind kind, const QString &title, const QString &text)>;

    explicit MessageGatherer(ShowBox showBox, QObject *parent = nullptr);

public slots:
    void onSuccess(const QString &msg);
    void onError(const QString &msg);

private:
    void gather(Kind kind, const QString &msg);
    void flush();

    ShowBox m_showBox;
    bool m_boxOpen = false;
    QStringList m_pendingErrors;
    QStringList m_pendingSuccesses;
};
