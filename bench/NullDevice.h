#pragma once

#include <QIODevice>

// An output that accepts and discards everything, so a measurement sees only the writer's work.
class NullDevice : public QIODevice
{
    Q_OBJECT

public:
    explicit NullDevice(QObject *parent = nullptr);

    bool isSequential() const override;

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;
};
