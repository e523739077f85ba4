#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// Splits a multipart/form-data body into its parts. The HTTP server module hands request bodies
// over as they came, so uploads are taken apart here. The body comes from the network: every
// offset is checked, and a body that does not follow the format is refused as a whole.
class MultipartParser
{
public:
    struct Part
    {
        QByteArray name;
        QByteArray filename; // null when the part carries no file name
        QByteArray body;
    };

    // contentType is the request's whole Content-Type header, boundary parameter included.
    static bool parse(const QByteArray &contentType, const QByteArray &body, QList<Part> *parts,
                      QString *error);

    // The value of one parameter of a header such as "form-data; name=\"list\"", unquoted;
    // null when the parameter is absent.
    static QByteArray parameter(const QByteArray &header, const QByteArray &name);

private:
    static bool parseHeaders(const QByteArray &headers, Part *part, QString *error);
};
