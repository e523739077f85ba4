#pragma once

#include <QByteArray>
#include <QIODevice>

// A file stand-in that announces its whole size but fails every read past a given offset,
// like a disk that breaks in the middle of an update file.
class FailingDevice : public QIODevice
{
    Q_OBJECT

public:
    FailingDevice(const QByteArray &content, qint64 failAt, QObject *parent = nullptr);

    qint64 size() const override;

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    QByteArray m_content;
    qint64 m_failAt;
};
