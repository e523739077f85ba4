#include "WebContent.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QtEndian>

#include <cmath>

namespace {

const QStringList kCountries = {QStringLiteral("D"), QStringLiteral("A"), QStringLiteral("CH"),
                                QStringLiteral("NL"), QStringLiteral("F"), QStringLiteral("PL")};
const QStringList kWeekdays = {QStringLiteral("Monday"),   QStringLiteral("Tuesday"),
                               QStringLiteral("Wednesday"), QStringLiteral("Thursday"),
                               QStringLiteral("Friday"),   QStringLiteral("Saturday"),
                               QStringLiteral("Sunday")};

} // namespace

WebContent::WebContent(const CameraConfig &camera)
    : m_camera(camera)
    , m_random(seed(camera.serial))
{
}

quint32 WebContent::seed(const QString &serial)
{
    const QByteArray hash = QCryptographicHash::hash(serial.toUtf8(), QCryptographicHash::Sha1);
    return qFromBigEndian<quint32>(hash.constData());
}

QJsonObject WebContent::status()
{
    const int volumes = between(1, 3);
    QJsonArray storage;
    for (int i = 0; i < volumes; ++i) {
        const double total = std::ldexp(1.0, between(33, 38));
        storage.append(QJsonObject{
            {QStringLiteral("name"), i == 0 ? QStringLiteral("internal") : QStringLiteral("sd%1").arg(i)},
            {QStringLiteral("total"), total},
            {QStringLiteral("free"), std::floor(total * fraction(0.05, 0.95, 2))},
            {QStringLiteral("healthy"), i != 2},
        });
    }
    return QJsonObject{
        {QStringLiteral("serial"), m_camera.serial},
        {QStringLiteral("model"), m_camera.model},
        {QStringLiteral("firmware"), m_camera.firmwareVersion},
        {QStringLiteral("uptime"), between(1000, 9999999)},
        {QStringLiteral("temperature"), fraction(28, 61, 1)},
        {QStringLiteral("cpu_load"), fraction(0, 1, 2)},
        {QStringLiteral("frames_total"), 1.5e10 + between(0, 1000) * 1e6},
        {QStringLiteral("frame_rate"), 25},
        {QStringLiteral("recognition"),
         QJsonObject{{QStringLiteral("running"), true},
                     {QStringLiteral("plates_today"), between(0, 20000)},
                     {QStringLiteral("mean_confidence"), fraction(0.8, 0.99, 3)},
                     {QStringLiteral("last_error"), QJsonValue::Null}}},
        {QStringLiteral("storage"), storage},
        {QStringLiteral("alarms"), QJsonArray()},
    };
}

QJsonArray WebContent::apps()
{
    const QList<QPair<QString, bool>> candidates = {
        {QStringLiteral("anpr"), true},
        {QStringLiteral("webserver"), true},
        {QStringLiteral("event-forwarder"), between(0, 1) == 1},
        {QStringLiteral("ftp-upload"), false},
        {QStringLiteral("watchdog"), true},
    };
    QJsonArray apps;
    for (const auto &candidate : candidates) {
        if (!candidate.second && between(0, 2) == 0)
            continue;
        apps.append(QJsonObject{
            {QStringLiteral("name"), candidate.first},
            {QStringLiteral("version"), QStringLiteral("%1.%2.%3").arg(between(1, 5)).arg(between(0, 9)).arg(between(0, 30))},
            {QStringLiteral("running"), candidate.second},
            {QStringLiteral("memory"), candidate.second ? QJsonValue(between(1000, 900000) * 1024) : QJsonValue()},
            {QStringLiteral("restarts"), between(0, 3)},
        });
    }
    return apps;
}

QJsonObject WebContent::systemProperties()
{
    const bool dhcp = between(0, 3) == 0;
    QJsonObject network{
        {QStringLiteral("dhcp"), dhcp},
        {QStringLiteral("ipv4"), m_camera.ipv4.isNull() ? QJsonValue() : QJsonValue(m_camera.ipv4.toString())},
        {QStringLiteral("ipv6"), m_camera.ipv6.isNull() ? QJsonValue() : QJsonValue(m_camera.ipv6.toString())},
        {QStringLiteral("mtu"), 1500},
        {QStringLiteral("dns"), QJsonArray{QStringLiteral("10.77.0.1")}},
    };
    return QJsonObject{
        {QStringLiteral("config"),
         QJsonObject{{QStringLiteral("revision"), between(1, 400)},
                     {QStringLiteral("network"), network},
                     {QStringLiteral("saved"), QStringLiteral("2024-%1-%2T08:15:00")
                                                   .arg(between(1, 12), 2, 10, QLatin1Char('0'))
                                                   .arg(between(1, 28), 2, 10, QLatin1Char('0'))}}},
        {QStringLiteral("hostname"), m_camera.hostname},
        {QStringLiteral("mac"), m_camera.macAddress},
        {QStringLiteral("timezone"), between(0, 1) == 0 ? QStringLiteral("Europe/Berlin") : QStringLiteral("UTC")},
        {QStringLiteral("ntp"), between(0, 2) == 0 ? QStringLiteral("off") : QStringLiteral("on")},
        {QStringLiteral("gain"), between(0, 12)},
        {QStringLiteral("exposure"), fraction(0.0001, 0.01, 4)},
        {QStringLiteral("ir_led"), between(0, 1) == 1},
        {QStringLiteral("location"), between(0, 1) == 0 ? QJsonValue() : QJsonValue(QStringLiteral("Gate %1").arg(between(1, 9)))},
        {QStringLiteral("syslog"), QJsonValue()},
    };
}

QJsonObject WebContent::anprProperties()
{
    QJsonArray countries;
    for (const QString &country : kCountries) {
        if (countries.isEmpty() || between(0, 2) == 0)
            countries.append(country);
    }
    return QJsonObject{
        {QStringLiteral("countries"), countries},
        {QStringLiteral("min_confidence"), fraction(0.5, 0.9, 2)},
        {QStringLiteral("min_height"), between(12, 30)},
        {QStringLiteral("plate_timeout"), between(2, 30) * 100},
        {QStringLiteral("direction"), between(0, 1) == 0 ? QStringLiteral("both") : QStringLiteral("approaching")},
        {QStringLiteral("duplicate_window"), 0.1 * between(1, 50)},
        {QStringLiteral("blackentries"), between(0, 40)},
        {QStringLiteral("whiteentries"), between(0, 400)},
        {QStringLiteral("versioninfo"),
         QJsonObject{{QStringLiteral("engine"), QStringLiteral("5.%1.%2").arg(between(0, 9)).arg(between(0, 20))},
                     {QStringLiteral("ocr"), QStringLiteral("2.%1").arg(between(0, 9))},
                     {QStringLiteral("build"), 1234567 + between(0, 1000)}}},
        {QStringLiteral("camlog"), between(0, 1) == 1},
    };
}

QJsonObject WebContent::actionEventProperties()
{
    QJsonArray events;
    const QStringList triggers = {QStringLiteral("plate_read"), QStringLiteral("blacklist_hit"),
                                  QStringLiteral("whitelist_hit"), QStringLiteral("input_changed")};
    for (const QString &trigger : triggers) {
        if (between(0, 3) == 0)
            continue;
        events.append(QJsonObject{
            {QStringLiteral("trigger"), trigger},
            {QStringLiteral("actions"), QJsonArray{QStringLiteral("relay%1").arg(between(1, 2))}},
            {QStringLiteral("enabled"), between(0, 4) != 0},
            {QStringLiteral("delay"), 0.5 * between(0, 4)},
        });
    }
    return QJsonObject{
        {QStringLiteral("events"), events},
        {QStringLiteral("debounce"), 0.1},
        {QStringLiteral("queue_length"), between(8, 64)},
    };
}

QJsonObject WebContent::roiProperties()
{
    QJsonArray regions;
    const int count = between(1, 3);
    for (int i = 0; i < count; ++i) {
        const int x = between(0, 800);
        const int y = between(100, 600);
        regions.append(QJsonObject{
            {QStringLiteral("name"), QStringLiteral("lane%1").arg(i + 1)},
            {QStringLiteral("points"), QJsonArray{QJsonArray{x, y}, QJsonArray{x + 900, y},
                                                  QJsonArray{x + 900, y + 300}, QJsonArray{x, y + 300}}},
            {QStringLiteral("active"), true},
        });
    }
    return QJsonObject{
        {QStringLiteral("enabled"), between(0, 5) != 0},
        {QStringLiteral("resolution"), QJsonObject{{QStringLiteral("width"), 1920}, {QStringLiteral("height"), 1080}}},
        {QStringLiteral("regions"), regions},
        {QStringLiteral("mask"), QJsonValue()},
    };
}

QJsonArray WebContent::availableActions()
{
    QJsonArray actions;
    const int relays = between(1, 4);
    for (int i = 1; i <= relays; ++i) {
        actions.append(QJsonObject{
            {QStringLiteral("name"), QStringLiteral("relay%1").arg(i)},
            {QStringLiteral("type"), QStringLiteral("digital_out")},
            {QStringLiteral("parameters"), QJsonObject{{QStringLiteral("pulse_ms"), between(1, 20) * 100}}},
        });
    }
    actions.append(QJsonObject{
        {QStringLiteral("name"), QStringLiteral("http_notify")},
        {QStringLiteral("type"), QStringLiteral("http")},
        {QStringLiteral("parameters"), QJsonObject{{QStringLiteral("url"), QJsonValue()},
                                                   {QStringLiteral("timeout"), 2.5},
                                                   {QStringLiteral("retries"), between(0, 5)}}},
    });
    return actions;
}

QJsonObject WebContent::digitalIO()
{
    QJsonArray inputs;
    QJsonArray outputs;
    const int count = between(2, 4);
    for (int i = 0; i < count; ++i) {
        inputs.append(QJsonObject{{QStringLiteral("id"), i},
                                  {QStringLiteral("state"), between(0, 1) == 1},
                                  {QStringLiteral("inverted"), false}});
        outputs.append(QJsonObject{{QStringLiteral("id"), i},
                                   {QStringLiteral("state"), false},
                                   {QStringLiteral("mode"), i == 0 ? QStringLiteral("pulse") : QStringLiteral("level")}});
    }
    return QJsonObject{
        {QStringLiteral("inputs"), inputs},
        {QStringLiteral("outputs"), outputs},
        {QStringLiteral("supply_voltage"), fraction(11.5, 24.5, 1)},
    };
}

QStringList WebContent::accessListNames()
{
    QStringList names = {QStringLiteral("black"), QStringLiteral("white")};
    for (const QString &extra : {QStringLiteral("visitors"), QStringLiteral("staff"), QStringLiteral("delivery")}) {
        if (between(0, 2) == 0)
            names.append(extra);
    }
    return names;
}

QJsonArray WebContent::accessEntries(const QString &list)
{
    QJsonArray entries;
    const int count = list == QLatin1String("white") ? between(2, 8) : between(0, 4);
    for (int i = 0; i < count; ++i) {
        QJsonObject entry{{QStringLiteral("plate"), plate()},
                          {QStringLiteral("always"), between(0, 2) != 0}};
        if (!entry.value(QStringLiteral("always")).toBool()) {
            const QDate start(2024, between(1, 12), between(1, 28));
            QJsonArray weekdays;
            for (const QString &day : kWeekdays) {
                if (between(0, 1) == 1)
                    weekdays.append(day);
            }
            entry.insert(QStringLiteral("schedules"),
                         QJsonArray{QJsonObject{
                             {QStringLiteral("period"),
                              QJsonObject{{QStringLiteral("start"), start.toString(Qt::ISODate)},
                                          {QStringLiteral("end"), start.addDays(between(1, 365)).toString(Qt::ISODate)}}},
                             {QStringLiteral("time-span"),
                              QJsonObject{{QStringLiteral("from"), QStringLiteral("%1:00").arg(between(5, 9), 2, 10, QLatin1Char('0'))},
                                          {QStringLiteral("to"), QStringLiteral("%1:30").arg(between(16, 22))}}},
                             {QStringLiteral("weekdays"), weekdays},
                         }});
        }
        entries.append(entry);
    }
    return entries;
}

QList<QPair<QString, QByteArray>> WebContent::classifiers()
{
    QList<QPair<QString, QByteArray>> result;
    const QStringList names = {QStringLiteral("eu"), QStringLiteral("de"), QStringLiteral("ch"), QStringLiteral("nordic")};
    for (const QString &name : names) {
        if (!result.isEmpty() && between(0, 1) == 0)
            continue;
        QByteArray content = "CLASSIFIER " + name.toUtf8() + ' ' + m_camera.serial.toUtf8() + '\n';
        const int size = between(2000, 6000);
        content.reserve(content.size() + size);
        for (int i = 0; i < size; ++i)
            content.append(static_cast<char>(m_random.bounded(256)));
        result.append({name, content});
    }
    return result;
}

QJsonObject WebContent::liveResult(quint64 number)
{
    const int x = between(100, 1500);
    const int y = between(300, 900);
    return QJsonObject{
        {QStringLiteral("id"), static_cast<double>(number)},
        {QStringLiteral("time"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
        {QStringLiteral("plate"), plate()},
        {QStringLiteral("country"), kCountries.at(between(0, int(kCountries.size()) - 1))},
        {QStringLiteral("confidence"), fraction(0.6, 1, 3)},
        {QStringLiteral("box"), QJsonArray{x, y, between(120, 260), between(30, 60)}},
        {QStringLiteral("listed"), QJsonValue()},
    };
}

QByteArray WebContent::resultFile(const QDate &day)
{
    QByteArray text = "time;plate;country;confidence\n";
    const int count = between(3, 12);
    QTime time(between(0, 3), 0);
    for (int i = 0; i < count; ++i) {
        time = time.addSecs(between(60, 7000));
        text += QStringLiteral("%1T%2;%3;%4;%5\n")
                    .arg(day.toString(Qt::ISODate), time.toString(Qt::ISODate), plate(),
                         kCountries.at(between(0, int(kCountries.size()) - 1)))
                    .arg(fraction(0.6, 1, 3))
                    .toUtf8();
    }
    return text;
}

QString WebContent::plate()
{
    QString text;
    const int letters = between(1, 2);
    for (int i = 0; i < letters; ++i)
        text += QLatin1Char(char('A' + between(0, 25)));
    text += QLatin1Char('-');
    for (int i = 0; i < 2; ++i)
        text += QLatin1Char(char('A' + between(0, 25)));
    text += QLatin1Char(' ') + QString::number(between(1, 9999));
    return text;
}

int WebContent::between(int lowest, int highest)
{
    return m_random.bounded(lowest, highest + 1);
}

double WebContent::fraction(double lowest, double highest, int decimals)
{
    const double scale = std::pow(10.0, decimals);
    return std::round((lowest + m_random.generateDouble() * (highest - lowest)) * scale) / scale;
}
