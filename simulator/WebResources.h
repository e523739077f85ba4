#pragma once

#include "CameraConfig.h"
#include "MultipartParser.h"
#include "WebContent.h"
#include "WebReply.h"

#include <QByteArray>
#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QStringList>

// The resources and operations of one camera's Web-API behind the login: what a GET returns
// and what a PATCH, POST, PUT or DELETE changes. Answers of the fixed resources are rendered
// once and kept until something changes them, because a whole fleet is read at once.
class WebResources
{
public:
    explicit WebResources(const CameraConfig &camera);

    // method as on the request line; path decoded; contentType without parameters; parts the
    // parsed multipart body, empty for any other body.
    WebReply answer(const QByteArray &method, const QString &path, const QByteArray &contentType,
                    const QByteArray &body, const QList<MultipartParser::Part> &parts);

private:
    struct AccessList
    {
        QJsonArray entries;
        // An uploaded file is handed back byte for byte until the entries change again.
        bool uploaded = false;
        QByteArray uploadedFile;
    };

    WebReply resource(const QString &path);
    WebReply patchProperty(const QString &document, const QString &key,
                           const QByteArray &contentType, const QByteArray &body);
    WebReply accessList(const QByteArray &method, const QString &list, const QByteArray &body);
    WebReply accessListFile(const QByteArray &method, const QString &list,
                            const QList<MultipartParser::Part> &parts, bool isMultipart);
    WebReply classifierFile(const QByteArray &method, const QString &name,
                            const QList<MultipartParser::Part> &parts, bool isMultipart);
    WebReply cameraOperation(const QString &operation);
    WebReply snapshot();
    WebReply exportResults();

    QJsonDocument document(const QString &path) const;
    static QJsonValue converted(const QJsonValue &current, const QString &text);
    static QJsonArray entriesFromFile(const QByteArray &file);
    static const MultipartParser::Part *findPart(const QList<MultipartParser::Part> &parts,
                                                 const QByteArray &name);
    QJsonObject classifierInfo() const;
    QJsonArray classifierList() const;
    static QByteArray accessFile(const QJsonArray &entries);
    static bool matches(const QJsonValue &entry, const QString &pattern);

    CameraConfig m_camera;
    WebContent m_content;
    quint32 m_seed;
    quint64 m_frames = 0;
    quint64 m_readings = 0;
    // The editable documents, by the path that reads them.
    QHash<QString, QJsonObject> m_objects;
    QHash<QString, QJsonArray> m_arrays;
    QStringList m_accessListNames;
    QHash<QString, AccessList> m_accessLists;
    QMap<QString, QByteArray> m_classifiers;
    QString m_defaultClassifier;
    QHash<QString, QByteArray> m_rendered;
};
