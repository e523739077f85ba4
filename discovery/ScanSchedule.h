#pragma once

#include <QHostAddress>
#include <QObject>
#include <QString>
#include <QTimer>

// When a scan probes: a burst of probes at a steady interval, by default twenty half a second
// apart, as every front end scans. Also reads the probe settings as the user types them.
class ScanSchedule : public QObject
{
    Q_OBJECT

public:
    static constexpr int kIntervalMs = 500;
    static constexpr int kProbesPerScan = 20;
    static constexpr quint16 kDefaultPort = 4800;
    static constexpr quint32 kDefaultTtl = 16;

    explicit ScanSchedule(QObject *parent = nullptr);

    // The toolkit also takes the classic shorthand forms such as "239.192.13" (read as
    // 239.192.0.13); a user who typed three parts made a mistake, so only full dotted quads count.
    static bool parseGroup(const QString &text, QHostAddress &address);

    // Probes at every interval until the burst is complete. Started again
    // while running, it goes on with the burst under way rather than adding probes to it.
    void start(int probes = kProbesPerScan);
    // Ends the burst under way without a further probe, and without saying it finished.
    void stop();

signals:
    void probe();
    // The burst's last probe has gone.
    void finished();

private:
    void onTick();

    QTimer m_timer;
    int m_probes = 0;
    int m_sent = 0;
};
