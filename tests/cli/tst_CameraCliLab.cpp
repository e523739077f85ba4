#include "JsonSchema.h"
#include "Lab.h"
#include "SimulatorProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

// GOOD1 and GOOD2 work; BROKEN answers every Web-API request with 500 and refuses updates with
// -202 ("Update file damaged/truncated"); HANGS never answers its Web-API.
const QList<QPair<QString, QString>> kCameras = {
    {QStringLiteral("GOOD1"), QString()},
    {QStringLiteral("GOOD2"), QString()},
    {QStringLiteral("BROKEN"), QStringLiteral("web=error500,update=code:-202")},
    {QStringLiteral("HANGS"), QStringLiteral("web=hang")},
};

struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
    QJsonDocument json() const { return QJsonDocument::fromJson(out); }
};

} // namespace

class tst_CameraCliLab : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void scan();
    void scanLines();
    void get();
    void getTimesOut();
    void set_data();
    void set();
    void update();
    void snapshot();
    void siteMemory();
    void siteFailures_data();
    void siteFailures();
    void badUsage_data();
    void badUsage();

private:
    Run run(const QStringList &arguments, const QProcessEnvironment &environment = passwords()) const;
    static QProcessEnvironment passwords();
    QJsonObject outcome(const Run &result, const QString &serial) const;
    QProcessEnvironment siteEnvironment() const;
    bool startSimulator(const QStringList &changes = {});
    void verifySchema(const QJsonValue &value, const QString &definition) const;

    std::unique_ptr<SimulatorProcess> m_simulator;
    JsonSchema m_schema;
    QTemporaryDir m_files;
    QTemporaryDir m_data;
};

void tst_CameraCliLab::initTestCase()
{
    QVERIFY(m_schema.load(QStringLiteral(CAMERA_CLI_SCHEMA)));
    LAB_REQUIRED();
    m_simulator = std::make_unique<SimulatorProcess>();
    QVERIFY(startSimulator());
}

bool tst_CameraCliLab::startSimulator(const QStringList &changes)
{
    QStringList texts;
    for (int i = 0; i < kCameras.size(); ++i)
        texts << Lab::cameraText(1, i, kCameras.at(i).first, kCameras.at(i).second);
    QStringList arguments;
    for (const QString &change : changes)
        arguments << QStringLiteral("--change") << change;
    m_simulator->stop();
    return m_simulator->start(1, texts, arguments);
}

void tst_CameraCliLab::cleanupTestCase()
{
    m_simulator.reset();
}

QProcessEnvironment tst_CameraCliLab::passwords()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("CAMERA_WEB_PASSWORD"), QStringLiteral("admin"));
    environment.insert(QStringLiteral("CAMERA_ADMIN_PASSWORD"), QStringLiteral("admin"));
    return environment;
}

Run tst_CameraCliLab::run(const QStringList &arguments, const QProcessEnvironment &environment) const
{
    QProcess process;
    process.setProcessEnvironment(environment);
    // Standard input is no terminal, so the tool never prompts.
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(QStringLiteral(CAMERA_CLI_PATH), arguments);
    Run result;
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
        return result;
    result.exitCode = process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

// The site memory lives in the data folder; the test's own keeps the user's out of reach.
QProcessEnvironment tst_CameraCliLab::siteEnvironment() const
{
    QProcessEnvironment environment = passwords();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), m_data.path());
    return environment;
}

QJsonObject tst_CameraCliLab::outcome(const Run &result, const QString &serial) const
{
    return result.json().object().value(QLatin1String("cameras")).toObject().value(serial).toObject();
}

void tst_CameraCliLab::verifySchema(const QJsonValue &value, const QString &definition) const
{
    const QString error = m_schema.check(value, definition);
    QVERIFY2(error.isEmpty(), qPrintable(error));
}

void tst_CameraCliLab::scan()
{
    LAB_REQUIRED();
    const Run result = run({QStringLiteral("scan"), QStringLiteral("--seconds"), QStringLiteral("1")});
    QCOMPARE(result.exitCode, 0);
    const QJsonArray cameras = result.json().array();
    QCOMPARE(cameras.size(), kCameras.size());
    verifySchema(cameras, QStringLiteral("scan"));
    const QJsonObject first = cameras.at(0).toObject();
    QCOMPARE(first.value(QLatin1String("discovery")).toObject().value(QLatin1String("S/N")).toString(),
             first.value(QLatin1String("serial")).toString());
}

void tst_CameraCliLab::scanLines()
{
    LAB_REQUIRED();
    const Run result = run({QStringLiteral("scan"), QStringLiteral("--seconds"), QStringLiteral("1"),
                            QStringLiteral("--jsonl"), QStringLiteral("--ipv6")});
    QCOMPARE(result.exitCode, 0);
    const QList<QByteArray> lines = result.out.trimmed().split('\n');
    QCOMPARE(lines.size(), kCameras.size());
    for (const QByteArray &line : lines) {
        const QJsonObject camera = QJsonDocument::fromJson(line).object();
        verifySchema(camera, QStringLiteral("camera"));
        QVERIFY(camera.value(QLatin1String("address")).toString().startsWith(QLatin1String("fd77::")));
    }
}

void tst_CameraCliLab::get()
{
    LAB_REQUIRED();
    const Run result = run({QStringLiteral("get"), QStringLiteral("GOOD1"), Lab::cameraIPv4(1, 1).toString(),
                            QStringLiteral("BROKEN"), QStringLiteral("ABSENT"), QStringLiteral("--category"),
                            QStringLiteral("anpr,system")});
    QCOMPARE(result.exitCode, 1);
    verifySchema(result.json().object(), QStringLiteral("result"));
    for (const char *serial : {"GOOD1", "GOOD2"}) {
        const QJsonObject good = outcome(result, QLatin1String(serial));
        QVERIFY(good.value(QLatin1String("ok")).toBool());
        const QJsonObject categories = good.value(QLatin1String("categories")).toObject();
        QCOMPARE(categories.keys(), (QStringList{QStringLiteral("anpr"), QStringLiteral("system")}));
    }
    const QJsonObject broken = outcome(result, QStringLiteral("BROKEN"));
    QVERIFY(!broken.value(QLatin1String("ok")).toBool());
    QVERIFY(broken.value(QLatin1String("messages")).toArray().at(0).toObject().value(QLatin1String("text")).toString()
                .startsWith(QStringLiteral("Camera BROKEN at %1: HTTP Error: 500").arg(Lab::cameraIPv4(1, 2).toString())));
    QCOMPARE(result.json().object().value(QLatin1String("notFound")).toArray(), QJsonArray{QStringLiteral("ABSENT")});
    QCOMPARE(result.json().object().value(QLatin1String("failed")).toInt(), 2);
}

void tst_CameraCliLab::getTimesOut()
{
    LAB_REQUIRED();
    const Run result = run({QStringLiteral("get"), QStringLiteral("HANGS"), QStringLiteral("GOOD1"),
                            QStringLiteral("--timeout"), QStringLiteral("2"), QStringLiteral("--category"),
                            QStringLiteral("roi")});
    QCOMPARE(result.exitCode, 1);
    QVERIFY(outcome(result, QStringLiteral("GOOD1")).value(QLatin1String("ok")).toBool());
    const QJsonArray messages = outcome(result, QStringLiteral("HANGS")).value(QLatin1String("messages")).toArray();
    QCOMPARE(messages.last().toObject().value(QLatin1String("text")).toString(),
             QStringLiteral("Camera HANGS at %1: no answer within 2 s").arg(Lab::cameraIPv4(1, 3).toString()));
}

void tst_CameraCliLab::set_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("texts");
    QTest::newRow("properties") << QStringList{QStringLiteral("--anpr"), QStringLiteral("min_height=20"),
                                               QStringLiteral("--system"), QStringLiteral("location=Gate 9")}
                                << QStringList{QStringLiteral("Changed ANPR property 'location'"),
                                               QStringLiteral("Changed ANPR property 'min_height'")};
    QTest::newRow("reinit and reboot") << QStringList{QStringLiteral("--reboot"), QStringLiteral("--reinit")}
                                       << QStringList{QStringLiteral("Reboot started"),
                                                      QStringLiteral("Reinitialisation completed.")};
}

void tst_CameraCliLab::set()
{
    LAB_REQUIRED();
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, texts);
    const Run result = run(QStringList{QStringLiteral("set"), QStringLiteral("GOOD1"), QStringLiteral("GOOD2"),
                                       QStringLiteral("BROKEN")}
                           + arguments);
    QCOMPARE(result.exitCode, 1);
    verifySchema(result.json().object(), QStringLiteral("result"));
    for (const char *serial : {"GOOD1", "GOOD2"}) {
        const QJsonObject good = outcome(result, QLatin1String(serial));
        QVERIFY(good.value(QLatin1String("ok")).toBool());
        QStringList said;
        for (const QJsonValue &message : good.value(QLatin1String("messages")).toArray())
            said << message.toObject().value(QLatin1String("text")).toString().section(QStringLiteral(": "), 1);
        said.sort();
        QCOMPARE(said, texts);
    }
    const QJsonObject broken = outcome(result, QStringLiteral("BROKEN"));
    QVERIFY(!broken.value(QLatin1String("ok")).toBool());
}

void tst_CameraCliLab::update()
{
    LAB_REQUIRED();
    const QString file = m_files.filePath(QStringLiteral("update.bin"));
    QFile update(file);
    QVERIFY(update.open(QIODevice::WriteOnly));
    update.write(QByteArray(300000, 'u'));
    update.close();
    const Run result = run({QStringLiteral("update"), QStringLiteral("GOOD1"), QStringLiteral("GOOD2"),
                            QStringLiteral("BROKEN"), QStringLiteral("--file"), file});
    QCOMPARE(result.exitCode, 1);
    verifySchema(result.json().object(), QStringLiteral("result"));
    for (const char *serial : {"GOOD1", "GOOD2"}) {
        QVERIFY(outcome(result, QLatin1String(serial)).value(QLatin1String("ok")).toBool());
        QCOMPARE(m_simulator->storedFile(QLatin1String(serial)).size(), 300000);
        QVERIFY(result.err.contains(QStringLiteral("Camera %1 at ").arg(QLatin1String(serial)).toUtf8()));
    }
    const QJsonArray messages = outcome(result, QStringLiteral("BROKEN")).value(QLatin1String("messages")).toArray();
    QVERIFY(messages.at(0).toObject().value(QLatin1String("text")).toString().endsWith(
        QLatin1String("Update file damaged/truncated")));
    QVERIFY(result.err.contains(": Sending\n"));
}

void tst_CameraCliLab::snapshot()
{
    LAB_REQUIRED();
    const Run result = run({QStringLiteral("snapshot"), QStringLiteral("GOOD1"), QStringLiteral("--directory"),
                            m_files.path()});
    QCOMPARE(result.exitCode, 0);
    verifySchema(result.json().object(), QStringLiteral("result"));
    QFile image(m_files.filePath(QStringLiteral("GOOD1_%1.png").arg(Lab::cameraIPv4(1, 0).toString())));
    QVERIFY(image.open(QIODevice::ReadOnly));
    QVERIFY(image.readAll().startsWith("\x89PNG"));
}

void tst_CameraCliLab::siteMemory()
{
    LAB_REQUIRED();
    // A fresh simulator: the commands before may have changed what the visits compare.
    QVERIFY(startSimulator());
    const QStringList get{QStringLiteral("get"), QStringLiteral("GOOD1"), QStringLiteral("GOOD2"),
                          QStringLiteral("--category"), QStringLiteral("anpr,system"), QStringLiteral("--site"),
                          QStringLiteral("Depot")};
    const Run first = run(get, siteEnvironment());
    QCOMPARE(first.exitCode, 0);
    QVERIFY2(first.err.contains("visit 1 of site 'Depot' kept: 2 cameras"), first.err.constData());
    QVERIFY(startSimulator({QStringLiteral("serial=GOOD2,anpr.min_height=42")}));
    QCOMPARE(run(get, siteEnvironment()).exitCode, 0);

    const Run diff = run({QStringLiteral("diff"), QStringLiteral("--site"), QStringLiteral("Depot")}, siteEnvironment());
    QCOMPARE(diff.exitCode, 0);
    const QJsonObject report = diff.json().object();
    verifySchema(report, QStringLiteral("diff"));
    const QJsonArray changes = report.value(QLatin1String("changes")).toArray();
    QCOMPARE(changes.size(), 1);
    const QJsonObject change = changes.at(0).toObject();
    QCOMPARE(change.value(QLatin1String("kind")).toString(), QStringLiteral("anpr"));
    QCOMPARE(change.value(QLatin1String("serial")).toString(), QStringLiteral("GOOD2"));
    QCOMPARE(change.value(QLatin1String("property")).toString(), QStringLiteral("min_height"));
    QCOMPARE(change.value(QLatin1String("after")).toString(), QStringLiteral("42"));
    QCOMPARE(report.value(QLatin1String("before")).toObject().value(QLatin1String("id")).toInt(), 1);

    const Run scan = run({QStringLiteral("scan"), QStringLiteral("--seconds"), QStringLiteral("1"),
                          QStringLiteral("--site"), QStringLiteral("Depot")},
                         siteEnvironment());
    QCOMPARE(scan.exitCode, 0);
    const Run history = run({QStringLiteral("history"), QStringLiteral("--site"), QStringLiteral("Depot")},
                            siteEnvironment());
    QCOMPARE(history.exitCode, 0);
    verifySchema(history.json().object(), QStringLiteral("history"));
    QList<int> cameras;
    for (const QJsonValue &visit : history.json().object().value(QLatin1String("visits")).toArray())
        cameras << visit.toObject().value(QLatin1String("cameras")).toInt();
    QCOMPARE(cameras, (QList<int>{2, 2, int(kCameras.size())}));

    const Run named = run({QStringLiteral("diff"), QStringLiteral("--site"), QStringLiteral("Depot"),
                           QStringLiteral("--csv"), QStringLiteral("1"), QStringLiteral("2")},
                          siteEnvironment());
    QCOMPARE(named.exitCode, 0);
    QCOMPARE(named.out.count('\n'), 2);
}

void tst_CameraCliLab::siteFailures_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");
    QTest::newRow("history of an unknown site")
        << QStringList{QStringLiteral("history"), QStringLiteral("--site"), QStringLiteral("Harbour")} << 1
        << QStringLiteral("camera-cli history: no visit of site 'Harbour' is stored");
    QTest::newRow("one visit to compare")
        << QStringList{QStringLiteral("diff"), QStringLiteral("--site"), QStringLiteral("Yard")} << 1
        << QStringLiteral("camera-cli diff: only one visit of site 'Yard' stored: nothing to compare");
    QTest::newRow("unknown visit")
        << QStringList{QStringLiteral("diff"), QStringLiteral("--site"), QStringLiteral("Yard"), QStringLiteral("1"),
                       QStringLiteral("7")}
        << 2 << QStringLiteral("camera-cli diff: no visit 7 of site 'Yard' is stored; see camera-cli history --site 'Yard'");
    QTest::newRow("missing site") << QStringList{QStringLiteral("diff")} << 2
                                  << QStringLiteral("camera-cli diff: --site NAME is needed");
    QTest::newRow("one visit named")
        << QStringList{QStringLiteral("diff"), QStringLiteral("--site"), QStringLiteral("Yard"), QStringLiteral("1")}
        << 2 << QStringLiteral("camera-cli diff: give two visits to compare, or none for the last two");
}

void tst_CameraCliLab::siteFailures()
{
    LAB_REQUIRED();
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    QTemporaryDir data;
    QProcessEnvironment environment = passwords();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), data.path());
    QCOMPARE(run({QStringLiteral("scan"), QStringLiteral("--seconds"), QStringLiteral("1"), QStringLiteral("--site"),
                  QStringLiteral("Yard")},
                 environment)
                 .exitCode,
             0);
    const Run result = run(arguments, environment);
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(QString::fromUtf8(result.err), message + QLatin1Char('\n'));
    QVERIFY(result.out.isEmpty());
}

void tst_CameraCliLab::badUsage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("withPasswords");
    QTest::addColumn<QString>("message");
    QTest::newRow("unknown command") << QStringList{QStringLiteral("fetch")} << true
                                     << QStringLiteral("camera-cli: unknown command 'fetch'; see camera-cli --help");
    QTest::newRow("bad address") << QStringList{QStringLiteral("get"), QStringLiteral("10.77.0.300")} << true
                                 << QStringLiteral("camera-cli get: bad address '10.77.0.300'");
    QTest::newRow("no camera") << QStringList{QStringLiteral("get")} << true
                               << QStringLiteral("camera-cli get: no camera named: give serials or addresses, or --all");
    QTest::newRow("unknown category") << QStringList{QStringLiteral("get"), QStringLiteral("--all"),
                                                     QStringLiteral("--category"), QStringLiteral("anpr,colour")}
                                      << true << QStringLiteral("camera-cli get: unknown category 'colour'");
    QTest::newRow("missing file") << QStringList{QStringLiteral("update"), QStringLiteral("--all"),
                                                 QStringLiteral("--file"), QStringLiteral("/nonexistent/u.bin")}
                                  << true
                                  << QStringLiteral("camera-cli update: cannot read /nonexistent/u.bin: No such file or directory");
    QTest::newRow("nothing to set") << QStringList{QStringLiteral("set"), QStringLiteral("--all")} << true
                                    << QStringLiteral("camera-cli set: nothing to set: give properties or an operation "
                                                      "(see camera-cli set --help)");
    QTest::newRow("no password") << QStringList{QStringLiteral("get"), QStringLiteral("--all")} << false
                                 << QStringLiteral("camera-cli get: no password: set CAMERA_WEB_PASSWORD, give "
                                                   "--password-file, or run on a terminal");
    QTest::newRow("unknown option") << QStringList{QStringLiteral("scan"), QStringLiteral("--colour")} << true
                                    << QStringLiteral("camera-cli scan: Unknown option 'colour'.");
}

void tst_CameraCliLab::badUsage()
{
    QFETCH(QStringList, arguments);
    QFETCH(bool, withPasswords);
    QFETCH(QString, message);
    QProcessEnvironment environment = passwords();
    if (!withPasswords)
        environment.remove(QStringLiteral("CAMERA_WEB_PASSWORD"));
    const Run result = run(arguments, environment);
    QCOMPARE(result.exitCode, 2);
    QCOMPARE(QString::fromUtf8(result.err), message + QLatin1Char('\n'));
    QVERIFY(result.out.isEmpty());
}

QTEST_GUILESS_MAIN(tst_CameraCliLab)
#include "tst_CameraCliLab.moc"
