#include "ScanCommand.h"

#include "Output.h"

#include <QCommandLineParser>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTextStream>

ScanCommand::ScanCommand(QObject *parent)
    : Command(parent)
    , m_json(QStringLiteral("json"), QStringLiteral("Print one JSON array (the default unless on a terminal)."))
    , m_jsonl(QStringLiteral("jsonl"), QStringLiteral("Print one JSON object per line, each camera as it answers."))
{
    connect(&m_scan, &CameraScan::finished, this, &ScanCommand::onFinished);
    connect(&m_model, &CameraModel::newCamera, this, [this](const QSharedPointer<CameraItem> &camera) {
        if (m_format == Format::Lines)
            Output::jsonLine(describe(*camera));
    });
}

QString ScanCommand::name() const
{
    return QStringLiteral("scan");
}

QString ScanCommand::summary() const
{
    return QStringLiteral("List the cameras that answer a scan.");
}

void ScanCommand::addOptions(QCommandLineParser &parser)
{
    m_probe.add(parser);
    parser.addOptions({m_json, m_jsonl});
    m_visit.add(parser);
}

QString ScanCommand::prepare(const QCommandLineParser &parser)
{
    if (!parser.positionalArguments().isEmpty())
        return QStringLiteral("scan takes no arguments: '%1'").arg(parser.positionalArguments().first());
    if (parser.isSet(m_json) && parser.isSet(m_jsonl))
        return QStringLiteral("--json and --jsonl exclude each other");
    if (parser.isSet(m_jsonl))
        m_format = Format::Lines;
    else if (!parser.isSet(m_json) && Output::stdoutIsTerminal())
        m_format = Format::Table;
    const QString error = m_visit.read(parser);
    if (!error.isEmpty())
        return error;
    return m_probe.read(parser);
}

void ScanCommand::start()
{
    m_scan.start(m_probe.group(), m_probe.port(), m_probe.ttl(), m_probe.seconds());
}

QJsonObject ScanCommand::describe(const CameraItem &camera)
{
    QJsonObject discovery;
    if (const QSharedPointer<Item> version = camera.versionRow()) {
        const QList<QSharedPointer<Item>> rows = version->children();
        for (const QSharedPointer<Item> &row : rows)
            discovery.insert(row->data(0).toString(), row->data(1).toString());
    }
    std::tm time = camera.lastConnection();
    const QDateTime lastConnection = QDateTime::fromSecsSinceEpoch(qint64(std::mktime(&time)));
    return {{QStringLiteral("serial"), camera.serial()},
            {QStringLiteral("address"), camera.addressText()},
            {QStringLiteral("ipv4"), camera.ipv4Row()->data(1).toString()},
            {QStringLiteral("ipv6"), camera.ipv6Row()->data(1).toString()},
            {QStringLiteral("lastConnection"), lastConnection.toString(Qt::ISODate)},
            {QStringLiteral("discovery"), discovery}};
}

void ScanCommand::onFinished()
{
    const QList<QSharedPointer<CameraItem>> cameras = m_model.cameras();
    if (m_format == Format::Json) {
        QJsonArray list;
        for (const QSharedPointer<CameraItem> &camera : cameras)
            list.append(describe(*camera));
        Output::json(QJsonDocument(list));
    } else if (m_format == Format::Table) {
        printTable();
    }
    emit finished(!m_visit.isWanted() || m_visit.store(name(), cameras) ? kSuccess : kFailure);
}

void ScanCommand::printTable() const
{
    QString text;
    QTextStream table(&text);
    table << qSetFieldWidth(20) << Qt::left << "SERIAL" << qSetFieldWidth(26) << "ADDRESS" << qSetFieldWidth(0)
          << "LAST CONNECTION\n";
    for (const QSharedPointer<CameraItem> &camera : m_model.cameras()) {
        const QJsonObject entry = describe(*camera);
        table << qSetFieldWidth(20) << camera->serial() << qSetFieldWidth(26) << camera->addressText()
              << qSetFieldWidth(0) << entry.value(QStringLiteral("lastConnection")).toString() << '\n';
    }
    table << m_model.cameras().size() << " cameras\n";
    table.flush();
    Output::text(text);
}
