#include "CommandLine.h"

#include "CameraTextParser.h"
#include "DiscoveryResponder.h"
#include "FleetGenerator.h"
#include "LabAddresses.h"

#include <QCommandLineParser>
#include <QStringList>

#include <algorithm>
#include <QSet>

namespace {

const char kDescription[] =
    "Simulates number-plate cameras for the network lab (lab/netlab): each camera answers the\n"
    "discovery probe and runs an update service and a Web-API (HTTP, port 80) on its own\n"
    "addresses. Run it only inside a camera namespace of the lab; it refuses addresses outside\n"
    "10.77/16, 10.78/16, fd77::/16 and fd78::/16. Each camera answers a probe after a random\n"
    "delay below %1 ms, as real cameras do.\n"
    "\n"
    "Camera text (--camera): comma-separated items, \"key=value\" or a bare flag;\n"
    "write a literal comma or backslash in a value as \\, or \\\\.\n"
    "  serial=TEXT           serial number (required)\n"
    "  ipv4=ADDRESS          camera IPv4 address\n"
    "  ipv6=ADDRESS          camera IPv6 address (at least one of ipv4/ipv6)\n"
    "  version=TEXT          firmware version (default 1.0.0)\n"
    "  model=TEXT            model name (default \"ANPR Cam S1\")\n"
    "  mac=TEXT              MAC address (default derived from the serial)\n"
    "  hostname=TEXT         host name (default cam-<serial>)\n"
    "  password=TEXT         admin password, source of the update key (default admin)\n"
    "  answer=unicast|multicast\n"
    "                        unicast (default) answers the prober directly; multicast answers\n"
    "                        to 239.192.13.231 or ff68::57a7, port 4900\n"
    "  crlf                  end answer lines with CR-LF\n"
    "  noserial              leave out the \"S/N\" line\n"
    "  discovery=answer|random|control|overlong|flood|unsolicited\n"
    "                        instead of its answer (answer, default) the camera sends random\n"
    "                        bytes, terminal control characters in the model name, a model\n"
    "                        name of 1,000 characters, 200 answers to each probe with serials\n"
    "                        SERIAL-1 to SERIAL-200, or, not answering probes, its answer to\n"
    "                        the answer group five times a second\n"
    "  forge=ADDRESS         answers leave from ADDRESS (a lab address of the same family)\n"
    "                        instead of the camera's own\n"
    "  update=ok|code:N|garbage|split|silent|refuse|mute|early\n"
    "                        update service: verify and store (ok, default), answer code N,\n"
    "                        answer \"OK!\", answer the real code in two TCP segments, close\n"
    "                        without answering, refuse connections, take the token and never\n"
    "                        answer, or answer -201 as soon as the length has arrived and go\n"
    "                        on reading\n"
    "  webuser=TEXT          Web-API user name (default admin)\n"
    "  webpassword=TEXT      Web-API password (default admin)\n"
    "  session=SECONDS       lifetime of a Web-API session (default 3600)\n"
    "  web=ok|refuse|hang|error500|error500plain|malformed|hangreads|endless|huge|trickle|\n"
    "      html|empty        Web-API: work (ok, default), refuse connections, read requests\n"
    "                        and never answer, answer every request with 500 and {\"msg\": ...},\n"
    "                        with 500 and a plain-text body; or log in as usual but then answer\n"
    "                        JSON resources cut in half, never answer, answer an endless\n"
    "                        chunked body, a body of 2 GiB, every answer one byte per 300 ms,\n"
    "                        an HTML page, or an empty body\n"
    "  huge=BYTES            as web=huge, with a body of BYTES\n"
    "  redirect=HOST         answer every request, the login too, with 307 to the same path\n"
    "                        on HOST\n"
    "  silent=AFTER:FOR      the Web-API stops listening AFTER seconds after start and drops\n"
    "                        its connections, for FOR seconds (0: for good); fractions allowed\n"
    "Example: --camera serial=A100,ipv4=10.77.0.10,ipv6=fd77::10,version=3.2.1,answer=multicast\n"
    "\n"
    "Fleet (--fleet N --network K [--fleet-start I]): N varied cameras SIMK-<index> on lab\n"
    "address indexes I..I+N-1 (at most 499) of network K, Web-API user admin, password admin.\n"
    "Index i is at 10.7<6+K>.<B>.<P> and fd7<6+K>::<B>:<P> with B = i / 245, P = 10 + i % 245:\n"
    "indexes 0 to 244 at 10.7<6+K>.0.<10+i> and fd7<6+K>::<10+i>, 245 at 10.7<6+K>.1.10.\n"
    "\n"
    "Changes between runs, to show a site that changed since the last visit:\n"
    "  --change TEXT         the camera whose serial= the text names takes the text's other\n"
    "                        items, e.g. serial=SIM1-0007,version=4.1.0 or\n"
    "                        serial=SIM1-0008,ipv4=10.77.1.200,ipv6=fd77::1:200 (moved) or\n"
    "                        serial=SIM1-0009,anpr.min_height=18 (an ANPR property,\n"
    "                        also allowed in --camera)\n"
    "  --remove SERIAL       leaves the camera with this serial out\n"
    "\n"
    "SIGUSR1 switches the Web-API of every camera off (as with silent=) or on again.\n"
    "SIGUSR2 ends every Web-API session of every camera.\n"
    "\n"
    "Standard output, one line per event:\n"
    "  ready                                   every socket of every camera is open\n"
    "  datagram <serial> <sender> <hex>        any datagram received on the probe port\n"
    "  answer <serial> <destination> <port>    a discovery answer was sent\n"
    "  update-received <serial> <announced> <received>\n"
    "                                          an update connection stopped reading: announced\n"
    "                                          length and characters actually received\n"
    "  updated <serial> <bytes>                a verified update file was accepted\n"
    "  update-failed <serial> <code>           an update was refused with this code\n"
    "  update-fault <serial> <mode>            a fault mode answered instead of verifying\n"
    "  http <serial> <method> <path> <type> <length> <sha256>\n"
    "                                          a Web-API request arrived: method, path without\n"
    "                                          query, content type without parameters (- when\n"
    "                                          none), body length and SHA-256 of the body (hex)\n"
    "  upload <serial> <method> <path> <name> <filename> <length> <sha256>\n"
    "                                          one part of a multipart/form-data request:\n"
    "                                          part name, file name (- when none), length and\n"
    "                                          SHA-256 of the part's body\n"
    "  web-silent <serial>                     the Web-API stopped listening\n"
    "  web-listening <serial>                  the Web-API listens again\n"
    "  denied <serial> <path>                  a request without a valid session got 401\n"
    "  sessions-ended                          SIGUSR2 ended every session";

} // namespace

bool CommandLine::parse(const QCoreApplication &app, SimulatorOptions *options, QString *error)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QString::fromLatin1(kDescription).arg(DiscoveryResponder::kAnswerSpreadMs));
    parser.addHelpOption();
    const QCommandLineOption camera(QStringLiteral("camera"),
                                    QStringLiteral("Adds a camera (see above); repeatable."),
                                    QStringLiteral("text"));
    const QCommandLineOption fleet(QStringLiteral("fleet"),
                                   QStringLiteral("Adds N generated cameras."),
                                   QStringLiteral("N"));
    const QCommandLineOption network(QStringLiteral("network"),
                                     QStringLiteral("Lab network (1 or 2) of the fleet."),
                                     QStringLiteral("K"), QStringLiteral("1"));
    const QCommandLineOption fleetStart(QStringLiteral("fleet-start"),
                                        QStringLiteral("First address index of the fleet."),
                                        QStringLiteral("I"), QStringLiteral("0"));
    const QCommandLineOption store(QStringLiteral("store"),
                                   QStringLiteral("Keeps each accepted update file as "
                                                  "<dir>/<serial>.bin."),
                                   QStringLiteral("dir"));
    const QCommandLineOption updatePort(QStringLiteral("update-port"),
                                        QStringLiteral("TCP port of the update service."),
                                        QStringLiteral("port"), QStringLiteral("4799"));
    const QCommandLineOption probePort(QStringLiteral("probe-port"),
                                       QStringLiteral("UDP port of the discovery probe."),
                                       QStringLiteral("port"), QStringLiteral("4800"));
    const QCommandLineOption probeGroup4(QStringLiteral("probe-group-ipv4"),
                                         QStringLiteral("IPv4 group of the discovery probe."),
                                         QStringLiteral("address"),
                                         QStringLiteral("239.192.13.230"));
    const QCommandLineOption probeGroup6(QStringLiteral("probe-group-ipv6"),
                                         QStringLiteral("IPv6 group of the discovery probe."),
                                         QStringLiteral("address"),
                                         QStringLiteral("ff18::cada:dee0"));
    const QCommandLineOption readTimeout(QStringLiteral("read-timeout-ms"),
                                         QStringLiteral("Update service gives up on a token "
                                                        "after this long without data."),
                                         QStringLiteral("ms"), QStringLiteral("1500"));
    const QCommandLineOption webPort(QStringLiteral("web-port"),
                                     QStringLiteral("TCP port of the Web-API."),
                                     QStringLiteral("port"), QStringLiteral("80"));
    const QCommandLineOption change(QStringLiteral("change"),
                                    QStringLiteral("Changes a camera (see above); repeatable."),
                                    QStringLiteral("text"));
    const QCommandLineOption remove(QStringLiteral("remove"),
                                    QStringLiteral("Leaves a camera out; repeatable."),
                                    QStringLiteral("serial"));
    parser.addOptions({camera, fleet, network, fleetStart, store, updatePort, probePort,
                       probeGroup4, probeGroup6, readTimeout, webPort, change, remove});
    parser.process(app);

    if (!parser.positionalArguments().isEmpty()) {
        *error = QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first());
        return false;
    }

    SimulatorOptions result;
    for (const QString &text : parser.values(camera)) {
        CameraConfig config;
        QString textError;
        if (!CameraTextParser::parse(text, &config, &textError)) {
            *error = QStringLiteral("--camera %1: %2").arg(text, textError);
            return false;
        }
        result.cameras.append(config);
    }

    if (parser.isSet(fleet)) {
        bool countOk = false;
        bool networkOk = false;
        bool startOk = false;
        const int count = parser.value(fleet).toInt(&countOk);
        const int fleetNetwork = parser.value(network).toInt(&networkOk);
        const int first = parser.value(fleetStart).toInt(&startOk);
        if (!countOk || !startOk || count < 1 || first < 0
            || first + count > LabAddresses::kMaxCameraCount) {
            *error = QStringLiteral("--fleet and --fleet-start must stay within the %1 lab "
                                    "addresses")
                         .arg(LabAddresses::kMaxCameraCount);
            return false;
        }
        if (!networkOk || fleetNetwork < 1 || fleetNetwork > LabAddresses::kNetworkCount) {
            *error = QStringLiteral("--network must be 1 or 2");
            return false;
        }
        result.cameras += FleetGenerator::generate(count, fleetNetwork, first);
    }

    if (!applyChanges(parser.values(change), parser.values(remove), &result.cameras, error))
        return false;

    if (result.cameras.isEmpty()) {
        *error = QStringLiteral("no camera given (use --camera or --fleet)");
        return false;
    }

    QSet<QString> addresses;
    for (const CameraConfig &config : std::as_const(result.cameras)) {
        for (const QHostAddress &address : {config.ipv4, config.ipv6}) {
            if (address.isNull())
                continue;
            if (addresses.contains(address.toString())) {
                *error = QStringLiteral("address %1 is used by two cameras").arg(address.toString());
                return false;
            }
            addresses.insert(address.toString());
        }
    }

    if (!parsePort(parser.value(updatePort), &result.updatePort)
        || !parsePort(parser.value(probePort), &result.probePort)
        || !parsePort(parser.value(webPort), &result.webPort)) {
        *error = QStringLiteral("ports must be between 1 and 65535");
        return false;
    }

    result.probeGroupIPv4 = QHostAddress(parser.value(probeGroup4));
    result.probeGroupIPv6 = QHostAddress(parser.value(probeGroup6));
    if (result.probeGroupIPv4.protocol() != QAbstractSocket::IPv4Protocol
        || !result.probeGroupIPv4.isMulticast()
        || result.probeGroupIPv6.protocol() != QAbstractSocket::IPv6Protocol
        || !result.probeGroupIPv6.isMulticast()) {
        *error = QStringLiteral("probe groups must be IPv4 and IPv6 multicast addresses");
        return false;
    }

    bool timeoutOk = false;
    result.readTimeoutMs = parser.value(readTimeout).toInt(&timeoutOk);
    if (!timeoutOk || result.readTimeoutMs < 1) {
        *error = QStringLiteral("--read-timeout-ms must be a positive number");
        return false;
    }

    result.storeDirectory = parser.value(store);
    *options = result;
    return true;
}

bool CommandLine::applyChanges(const QStringList &changes, const QStringList &removals,
                               QList<CameraConfig> *cameras, QString *error)
{
    const auto find = [cameras](const QString &serial) {
        return std::find_if(cameras->begin(), cameras->end(),
                            [&serial](const CameraConfig &camera) { return camera.serial == serial; });
    };
    for (const QString &text : changes) {
        CameraConfig named;
        QString textError;
        if (!CameraTextParser::revise(text, &named, &textError)) {
            *error = QStringLiteral("--change %1: %2").arg(text, textError);
            return false;
        }
        const auto camera = find(named.serial);
        if (camera == cameras->end()) {
            *error = QStringLiteral("--change %1: no camera has serial '%2'").arg(text, named.serial);
            return false;
        }
        CameraTextParser::revise(text, &*camera, &textError);
    }
    for (const QString &serial : removals) {
        const auto camera = find(serial);
        if (camera == cameras->end()) {
            *error = QStringLiteral("--remove %1: no camera has this serial").arg(serial);
            return false;
        }
        cameras->erase(camera);
    }
    return true;
}

bool CommandLine::parsePort(const QString &text, quint16 *port)
{
    bool ok = false;
    const uint value = text.toUInt(&ok);
    if (!ok || value < 1 || value > 65535)
        return false;
    *port = static_cast<quint16>(value);
    return true;
}
