#include "CameraTextParser.h"

#include "LabAddresses.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QList>
#include <QPair>
#include <QStringList>

bool CameraTextParser::parse(const QString &text, CameraConfig *config, QString *error)
{
    CameraConfig result;
    bool macGiven = false;
    bool hostnameGiven = false;

    if (!apply(text, &result, &macGiven, &hostnameGiven, error))
        return false;

    if (result.serial.isEmpty()) {
        *error = QStringLiteral("serial is missing");
        return false;
    }
    if (result.ipv4.isNull() && result.ipv6.isNull()) {
        *error = QStringLiteral("camera %1 needs ipv4 or ipv6").arg(result.serial);
        return false;
    }
    if (!macGiven)
        result.macAddress = defaultMacAddress(result.serial);
    if (!hostnameGiven)
        result.hostname = defaultHostname(result.serial);

    *config = result;
    return true;
}

bool CameraTextParser::revise(const QString &text, CameraConfig *config, QString *error)
{
    CameraConfig result = *config;
    bool macGiven = false;
    bool hostnameGiven = false;
    if (!apply(text, &result, &macGiven, &hostnameGiven, error))
        return false;
    *config = result;
    return true;
}

bool CameraTextParser::apply(const QString &text, CameraConfig *config, bool *macGiven, bool *hostnameGiven,
                             QString *error)
{
    CameraConfig &result = *config;
    for (const QString &item : splitItems(text)) {
        const qsizetype equals = item.indexOf(QLatin1Char('='));
        const QString key = equals < 0 ? item : item.left(equals);
        const QString value = equals < 0 ? QString() : item.mid(equals + 1);
        const bool isFlag = equals < 0;

        if (isFlag && key == QLatin1String("crlf")) {
            result.crlfLineEnds = true;
        } else if (isFlag && key == QLatin1String("noserial")) {
            result.withoutSerial = true;
        } else if (isFlag) {
            *error = QStringLiteral("unknown flag '%1'").arg(key);
            return false;
        } else if (key == QLatin1String("serial")) {
            result.serial = value;
        } else if (key == QLatin1String("ipv4")) {
            if (!parseAddress(value, QAbstractSocket::IPv4Protocol, &result.ipv4, error))
                return false;
        } else if (key == QLatin1String("ipv6")) {
            if (!parseAddress(value, QAbstractSocket::IPv6Protocol, &result.ipv6, error))
                return false;
        } else if (key == QLatin1String("version")) {
            result.firmwareVersion = value;
        } else if (key == QLatin1String("model")) {
            result.model = value;
        } else if (key == QLatin1String("mac")) {
            result.macAddress = value;
            *macGiven = true;
        } else if (key == QLatin1String("hostname")) {
            result.hostname = value;
            *hostnameGiven = true;
        } else if (key == QLatin1String("password")) {
            result.adminPassword = value;
        } else if (key == QLatin1String("answer")) {
            if (value == QLatin1String("unicast")) {
                result.answerMode = CameraConfig::AnswerMode::Unicast;
            } else if (value == QLatin1String("multicast")) {
                result.answerMode = CameraConfig::AnswerMode::Multicast;
            } else {
                *error = QStringLiteral("answer must be unicast or multicast, not '%1'").arg(value);
                return false;
            }
        } else if (key == QLatin1String("discovery")) {
            if (!parseDiscoveryMode(value, &result)) {
                *error = QStringLiteral("unknown discovery mode '%1'").arg(value);
                return false;
            }
        } else if (key == QLatin1String("forge")) {
            if (!parseAddress(value, QHostAddress(value).protocol(), &result.forgedSender, error))
                return false;
        } else if (key == QLatin1String("update")) {
            if (!parseUpdateMode(value, &result)) {
                *error = QStringLiteral("unknown update mode '%1'").arg(value);
                return false;
            }
        } else if (key == QLatin1String("webuser")) {
            result.webUser = value;
        } else if (key == QLatin1String("webpassword")) {
            result.webPassword = value;
        } else if (key == QLatin1String("session")) {
            bool ok = false;
            result.sessionSeconds = value.toInt(&ok);
            if (!ok || result.sessionSeconds < 0) {
                *error = QStringLiteral("session must be a number of seconds, not '%1'").arg(value);
                return false;
            }
        } else if (key == QLatin1String("web")) {
            if (!parseWebMode(value, &result)) {
                *error = QStringLiteral("unknown web mode '%1'").arg(value);
                return false;
            }
        } else if (key == QLatin1String("huge")) {
            bool ok = false;
            result.hugeBytes = value.toLongLong(&ok);
            if (!ok || result.hugeBytes < 0) {
                *error = QStringLiteral("huge must be a number of bytes, not '%1'").arg(value);
                return false;
            }
            result.webBehaviour = CameraConfig::WebBehaviour::Huge;
        } else if (key == QLatin1String("redirect")) {
            result.redirectTo = value;
            result.webBehaviour = CameraConfig::WebBehaviour::Redirect;
        } else if (key == QLatin1String("silent")) {
            if (!parseSilence(value, &result)) {
                *error = QStringLiteral("silent must be AFTER:FOR in seconds, not '%1'").arg(value);
                return false;
            }
        } else if (key.startsWith(QLatin1String("anpr.")) && key.size() > 5) {
            // Numbers and booleans as the camera would have them, anything else as text.
            const QJsonDocument parsed = QJsonDocument::fromJson("[" + value.toUtf8() + "]");
            result.anprChanges.insert(key.mid(5), parsed.isArray() ? parsed.array().at(0) : QJsonValue(value));
        } else {
            *error = QStringLiteral("unknown key '%1'").arg(key);
            return false;
        }
    }
    return true;
}

bool CameraTextParser::parseDiscoveryMode(const QString &text, CameraConfig *config)
{
    using Mode = CameraConfig::DiscoveryBehaviour;
    static const QList<QPair<QString, Mode>> modes{
        {QStringLiteral("answer"), Mode::Answer},
        {QStringLiteral("random"), Mode::Random},
        {QStringLiteral("control"), Mode::Control},
        {QStringLiteral("overlong"), Mode::Overlong},
        {QStringLiteral("flood"), Mode::Flood},
        {QStringLiteral("unsolicited"), Mode::Unsolicited},
    };
    for (const auto &[name, mode] : modes) {
        if (text == name) {
            config->discoveryBehaviour = mode;
            return true;
        }
    }
    return false;
}

QString CameraTextParser::defaultMacAddress(const QString &serial)
{
    // Locally administered, so it can never clash with a real vendor's range.
    QByteArray bytes = QCryptographicHash::hash(serial.toUtf8(), QCryptographicHash::Sha1).left(6);
    bytes[0] = 0x02;
    return QString::fromLatin1(bytes.toHex(':'));
}

QString CameraTextParser::defaultHostname(const QString &serial)
{
    return QStringLiteral("cam-") + serial.toLower();
}

QStringList CameraTextParser::splitItems(const QString &text)
{
    QStringList items;
    QString current;
    bool escaped = false;
    for (const QChar c : text) {
        if (escaped) {
            current += c;
            escaped = false;
        } else if (c == QLatin1Char('\\')) {
            escaped = true;
        } else if (c == QLatin1Char(',')) {
            items += current;
            current.clear();
        } else {
            current += c;
        }
    }
    items += current;
    items.removeAll(QString());
    return items;
}

bool CameraTextParser::parseAddress(const QString &text,
                                    QAbstractSocket::NetworkLayerProtocol protocol,
                                    QHostAddress *address, QString *error)
{
    const QHostAddress parsed(text);
    if (parsed.protocol() != protocol) {
        *error = QStringLiteral("'%1' is not an %2 address")
                     .arg(text, protocol == QAbstractSocket::IPv4Protocol ? QStringLiteral("IPv4")
                                                                          : QStringLiteral("IPv6"));
        return false;
    }
    if (!LabAddresses::isLabAddress(parsed)) {
        *error = QStringLiteral("%1 is outside the lab networks (10.77/16, 10.78/16, fd77::/16, "
                                "fd78::/16)")
                     .arg(text);
        return false;
    }
    *address = parsed;
    return true;
}

bool CameraTextParser::parseUpdateMode(const QString &text, CameraConfig *config)
{
    using Behaviour = CameraConfig::UpdateBehaviour;
    if (text == QLatin1String("ok")) {
        config->updateBehaviour = Behaviour::Verify;
    } else if (text == QLatin1String("garbage")) {
        config->updateBehaviour = Behaviour::Garbage;
    } else if (text == QLatin1String("split")) {
        config->updateBehaviour = Behaviour::Split;
    } else if (text == QLatin1String("silent")) {
        config->updateBehaviour = Behaviour::Silent;
    } else if (text == QLatin1String("refuse")) {
        config->updateBehaviour = Behaviour::Refuse;
    } else if (text == QLatin1String("mute")) {
        config->updateBehaviour = Behaviour::Mute;
    } else if (text == QLatin1String("early")) {
        config->updateBehaviour = Behaviour::Early;
    } else if (text.startsWith(QLatin1String("code:"))) {
        bool ok = false;
        const int code = text.mid(5).toInt(&ok);
        if (!ok)
            return false;
        config->updateBehaviour = Behaviour::FixedCode;
        config->updateCode = code;
    } else {
        return false;
    }
    return true;
}

bool CameraTextParser::parseWebMode(const QString &text, CameraConfig *config)
{
    using Behaviour = CameraConfig::WebBehaviour;
    static const QList<QPair<QString, Behaviour>> modes = {
        {QStringLiteral("ok"), Behaviour::Ok},
        {QStringLiteral("refuse"), Behaviour::Refuse},
        {QStringLiteral("hang"), Behaviour::Hang},
        {QStringLiteral("error500"), Behaviour::Error500},
        {QStringLiteral("error500plain"), Behaviour::Error500Plain},
        {QStringLiteral("malformed"), Behaviour::Malformed},
        {QStringLiteral("hangreads"), Behaviour::HangReads},
        {QStringLiteral("endless"), Behaviour::Endless},
        {QStringLiteral("huge"), Behaviour::Huge},
        {QStringLiteral("trickle"), Behaviour::Trickle},
        {QStringLiteral("html"), Behaviour::Html},
        {QStringLiteral("empty"), Behaviour::Empty},
    };
    for (const auto &mode : modes) {
        if (text == mode.first) {
            config->webBehaviour = mode.second;
            return true;
        }
    }
    return false;
}

bool CameraTextParser::parseSilence(const QString &text, CameraConfig *config)
{
    const QStringList parts = text.split(QLatin1Char(':'));
    if (parts.size() != 2)
        return false;
    bool afterOk = false;
    bool forOk = false;
    const double after = parts.at(0).toDouble(&afterOk);
    const double duration = parts.at(1).toDouble(&forOk);
    // The upper bound keeps the milliseconds within a timer's range.
    constexpr double kMaxSeconds = 2e6;
    if (!afterOk || !forOk || after < 0 || duration < 0 || after > kMaxSeconds
        || duration > kMaxSeconds)
        return false;
    config->silentAfterMs = qRound64(after * 1000);
    config->silentForMs = qRound64(duration * 1000);
    return true;
}
