#include "MultipartParser.h"

namespace {

const QByteArray kLineEnd = QByteArrayLiteral("\r\n");

} // namespace

bool MultipartParser::parse(const QByteArray &contentType, const QByteArray &body,
                            QList<Part> *parts, QString *error)
{
    const QByteArray boundary = parameter(contentType, "boundary");
    // A boundary may have at most 70 characters; an empty one would match everywhere.
    if (boundary.isEmpty() || boundary.size() > 70) {
        *error = QStringLiteral("no usable boundary in the content type");
        return false;
    }
    const QByteArray delimiter = "--" + boundary;
    const QByteArray nextDelimiter = kLineEnd + delimiter;

    qsizetype position = 0;
    if (!body.startsWith(delimiter)) {
        // Anything before the first delimiter is a preamble and is skipped.
        position = body.indexOf(nextDelimiter);
        if (position < 0) {
            *error = QStringLiteral("the body holds no boundary");
            return false;
        }
        position += kLineEnd.size();
    }

    QList<Part> result;
    for (;;) {
        position += delimiter.size();
        if (body.mid(position, 2) == "--") {
            *parts = result;
            return true;
        }
        while (position < body.size() && (body.at(position) == ' ' || body.at(position) == '\t'))
            ++position;
        if (body.mid(position, kLineEnd.size()) != kLineEnd) {
            *error = QStringLiteral("a boundary line is followed by something else");
            return false;
        }
        position += kLineEnd.size();

        qsizetype contentStart = position + kLineEnd.size();
        QByteArray headers;
        if (body.mid(position, kLineEnd.size()) != kLineEnd) {
            const qsizetype headersEnd = body.indexOf(kLineEnd + kLineEnd, position);
            if (headersEnd < 0) {
                *error = QStringLiteral("the headers of a part do not end");
                return false;
            }
            headers = body.mid(position, headersEnd - position);
            contentStart = headersEnd + 2 * kLineEnd.size();
        }

        const qsizetype contentEnd = body.indexOf(nextDelimiter, contentStart);
        if (contentEnd < 0) {
            *error = QStringLiteral("a part is not closed by a boundary");
            return false;
        }
        Part part;
        if (!parseHeaders(headers, &part, error))
            return false;
        part.body = body.mid(contentStart, contentEnd - contentStart);
        result.append(part);
        position = contentEnd + kLineEnd.size();
    }
}

QByteArray MultipartParser::parameter(const QByteArray &header, const QByteArray &name)
{
    // Parameters follow the first ';'; a quoted value may itself hold ';' or '\"'.
    qsizetype position = header.indexOf(';');
    while (position >= 0 && position < header.size()) {
        ++position;
        while (position < header.size() && (header.at(position) == ' ' || header.at(position) == '\t'))
            ++position;
        const qsizetype equals = header.indexOf('=', position);
        if (equals < 0)
            return QByteArray();
        const QByteArray key = header.mid(position, equals - position).trimmed().toLower();
        position = equals + 1;
        QByteArray value;
        if (position < header.size() && header.at(position) == '"') {
            ++position;
            while (position < header.size() && header.at(position) != '"') {
                if (header.at(position) == '\\' && position + 1 < header.size())
                    ++position;
                value += header.at(position);
                ++position;
            }
            position = header.indexOf(';', position);
        } else {
            const qsizetype end = header.indexOf(';', position);
            value = header.mid(position, end < 0 ? -1 : end - position).trimmed();
            position = end;
        }
        if (key == name.toLower())
            return value.isNull() ? QByteArray("") : value;
    }
    return QByteArray();
}

bool MultipartParser::parseHeaders(const QByteArray &headers, Part *part, QString *error)
{
    bool disposition = false;
    for (const QByteArray &line : headers.split('\n')) {
        const qsizetype colon = line.indexOf(':');
        if (colon < 0)
            continue;
        if (line.left(colon).trimmed().toLower() != "content-disposition")
            continue;
        const QByteArray value = line.mid(colon + 1).trimmed();
        if (!value.toLower().startsWith("form-data")) {
            *error = QStringLiteral("a part is not form data");
            return false;
        }
        part->name = parameter(value, "name");
        part->filename = parameter(value, "filename");
        disposition = true;
    }
    if (!disposition || part->name.isNull()) {
        *error = QStringLiteral("a part has no name");
        return false;
    }
    return true;
}
