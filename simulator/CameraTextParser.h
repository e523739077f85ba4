#pragma once

#include "CameraConfig.h"

#include <QString>

// Reads one camera from its command-line text: comma-separated items, each "key=value" or a
// bare flag. A literal comma or backslash inside a value is written "\," or "\\".
//
//   serial=TEXT          serial number, required
//   ipv4=ADDRESS         IPv4 address of the camera (lab addresses only)
//   ipv6=ADDRESS         IPv6 address of the camera (lab addresses only); ipv4 and/or ipv6
//   version=TEXT         firmware version (default 1.0.0)
//   model=TEXT           model name (default "ANPR Cam S1")
//   mac=TEXT             MAC address (default: a locally administered one made from the serial)
//   hostname=TEXT        host name (default: "cam-" and the serial in lower case)
//   password=TEXT        admin password, source of the update key (default admin)
//   answer=unicast|multicast
//                        unicast (default): answer the probe's sender from the camera's address;
//                        multicast: answer to the answer group of the probe's family, port 4900
//   crlf                 end answer lines with CR-LF instead of LF
//   noserial             leave the "S/N" line out of the answer
//   discovery=MODE       what the camera sends instead of a plain answer, MODE one of
//                          answer       the answer to each probe (default)
//                          random       random bytes
//                          control      terminal control characters in the model name
//                          overlong     a model name of 1,000 characters
//                          flood        200 answers to each probe, serials SERIAL-1 to SERIAL-200
//                          unsolicited  no answer to probes, but the answer to the answer
//                                       group five times a second
//   forge=ADDRESS        answers leave from ADDRESS (a lab address) instead of the camera's own
//   update=MODE          update service behaviour, MODE one of
//                          ok        verify and store the file (default)
//                          code:N    read the token, answer the decimal code N
//                          garbage   read the token, answer "OK!"
//                          split     verify, answer in two TCP segments (" -2", then "02\n")
//                          silent    read the token, close without answering
//                          refuse    do not listen: connections are refused
//   webuser=TEXT         Web-API user name (default admin)
//   webpassword=TEXT     Web-API password (default admin)
//   session=SECONDS      lifetime of a Web-API session (default 3600)
//   web=MODE             Web-API behaviour, MODE one of
//                          ok             a working Web-API (default)
//                          refuse         do not listen: connections are refused
//                          hang           accept and read requests, never answer
//                          error500       answer every request with 500 and a JSON message
//                          error500plain  answer every request with 500 and no body
//                          malformed      log in as usual, answer JSON resources cut in half
//   silent=AFTER:FOR     the Web-API stops listening AFTER seconds after start, for FOR seconds
//                        (0: for good); both may be fractions such as 0.5
//   anpr.KEY=VALUE       the ANPR property KEY has this value (a number, true or false, or text)
//
// Example: serial=A100,ipv4=10.77.0.10,ipv6=fd77::10,version=3.2.1,answer=multicast,update=split
class CameraTextParser
{
public:
    static bool parse(const QString &text, CameraConfig *config, QString *error);
    // Changes the items the text names in a camera already made, e.g. "version=4.0.0".
    static bool revise(const QString &text, CameraConfig *config, QString *error);

    static QString defaultMacAddress(const QString &serial);
    static QString defaultHostname(const QString &serial);

private:
    static bool apply(const QString &text, CameraConfig *config, bool *macGiven, bool *hostnameGiven,
                      QString *error);
    static QStringList splitItems(const QString &text);
    static bool parseAddress(const QString &text, QAbstractSocket::NetworkLayerProtocol protocol,
                             QHostAddress *address, QString *error);
    static bool parseDiscoveryMode(const QString &text, CameraConfig *config);
    static bool parseUpdateMode(const QString &text, CameraConfig *config);
    static bool parseWebMode(const QString &text, CameraConfig *config);
    static bool parseSilence(const QString &text, CameraConfig *config);
};
