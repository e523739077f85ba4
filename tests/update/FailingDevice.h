#pragma once

#include <QIODevice>

// A file stand-in that announces its whole size but fails every read past a given offset,
// like a disk that breaks in the middle of an update file.
class FailingDevice : public QIODevice
{
    Q_OBJECT

public:
    FailingDevice(qint64 size, qint64 failAt);

    qint64 size() const override;

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    qint64 m_size;
    qint64 m_failAt;
};
