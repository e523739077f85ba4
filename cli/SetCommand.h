#pragma once

#include "WebCommand.h"

#include <QCommandLineOption>
#include <QMap>
#include <QPair>
#include <QStringList>

#include <functional>

// Changes cameras through the operations of the window's bulk dialog: properties, reboot,
// reset, reinitialisation, the default classifier, access lists and classifiers up and down.
// Each operation gives one line per camera, the window's.
class SetCommand : public WebCommand
{
    Q_OBJECT

public:
    explicit SetCommand(QObject *parent = nullptr);

    QString name() const override;
    QString summary() const override;

protected:
    void addCommandOptions(QCommandLineParser &parser) override;
    QString prepareCommand(const QCommandLineParser &parser) override;
    int loggedIn(const QSharedPointer<CameraItem> &camera) override;

private:
    using Operation = std::function<void(CameraAPI &api, const QSharedPointer<CameraItem> &camera)>;

    QString readPairs(const QStringList &pairs, QMap<QString, QString> &properties) const;
    QString readPropertiesFile(const QString &fileName);
    // NAME=FILE with a file that can be read.
    QString readUpload(const QString &text, QPair<QString, QString> &upload) const;

    QCommandLineOption m_system;
    QCommandLineOption m_anpr;
    QCommandLineOption m_propertiesFile;
    QCommandLineOption m_reboot;
    QCommandLineOption m_reset;
    QCommandLineOption m_reinit;
    QCommandLineOption m_defaultClassifier;
    QCommandLineOption m_uploadAccessList;
    QCommandLineOption m_downloadAccessList;
    QCommandLineOption m_uploadClassifier;
    QCommandLineOption m_downloadClassifier;
    QCommandLineOption m_directory;
    QMap<QString, QString> m_systemProperties;
    QMap<QString, QString> m_anprProperties;
    QList<Operation> m_operations;
};
