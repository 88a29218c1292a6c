// Command-line tests of the reference simulator: each runs the real kivo
// executable and judges its exit code, its messages and the files it writes.

#include "scriptfile.h"

#include <QProcess>
#include <QTcpServer>
#include <QtTest>

namespace {

const QString kivo = QStringLiteral(KVC_BIN_DIR "/kivo");
const QString examples = QStringLiteral(KVC_EXAMPLES_DIR);

// The smallest complete model; extra lines are appended to it.
const QByteArray minimalModel = R"lua(
Simulation{ name = "test", endTime = 4, timeStep = 1 }
Mesh{ type = "line", length = 1, cells = 4 }
StateVar{ name = "T", unit = "K", initial = 0 }
PropertySet{ conductivity = 1, density = 1, heatCapacity = 1 }
)lua";

struct Run {
    int exitCode = -1;
    QProcess::ExitStatus status = QProcess::CrashExit;
    QString out;
    QString err;
};

Run runKivo(const QStringList &args)
{
    QProcess p;
    p.start(kivo, args);
    Run r;
    if (!p.waitForFinished(60000)) {
        p.kill();
        p.waitForFinished();
        r.err = QStringLiteral("kivo did not finish");
        return r;
    }
    r.exitCode = p.exitCode();
    r.status = p.exitStatus();
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

// Values of the "[REGR] step n name=v,v name=v" lines of a regression log.
QVector<QHash<QString, QVector<double>>> regressionSamples(const QString &logFile)
{
    QVector<QHash<QString, QVector<double>>> samples;
    QFile f(logFile);
    if (!f.open(QIODevice::ReadOnly | QIODevice::Text))
        return samples;
    const QStringList lines = QString::fromUtf8(f.readAll()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (!line.startsWith(QLatin1String("[REGR] step ")))
            continue;
        QHash<QString, QVector<double>> sample;
        const QStringList parts = line.split(QLatin1Char(' '), Qt::SkipEmptyParts).mid(3);
        for (const QString &part : parts) {
            const int eq = part.indexOf(QLatin1Char('='));
            QVector<double> values;
            for (const QString &v : part.mid(eq + 1).split(QLatin1Char(',')))
                values << v.toDouble();
            sample.insert(part.left(eq), values);
        }
        samples << sample;
    }
    return samples;
}

} // namespace

class KivoTest : public QObject
{
    Q_OBJECT

private:
    ScriptFiles files;

    // The minimal model and `extra` lines, in a file of that name.
    QString model(const char *name, const QByteArray &extra)
    {
        return files.write(QString::fromLatin1(name), minimalModel + extra);
    }

private slots:
    void initTestCase() { QVERIFY2(QFileInfo(kivo).isExecutable(), qPrintable(kivo)); }

    // The runner reads the version and the revision from this line.
    void versionLineIsTheOneTheRunnerReads()
    {
        const Run r = runKivo({QStringLiteral("-pversion")});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out.section(QLatin1Char('\n'), 0, 0),
            QStringLiteral("Kivo 3.1 (Version: 3.1.0, Revision: 5012)"));
    }

    void badRunsFailWithTheirCodeAndName_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("message");
        auto row = [](const char *name, const QStringList &args, int code, const char *message) {
            QTest::newRow(name) << args << code << QString::fromUtf8(message);
        };
        auto bare = [this](const char *name, const QByteArray &text) {
            return files.write(QString::fromLatin1(name), text);
        };
        const QString fast = examples + QStringLiteral("/heat1d-fast.lua");

        row("unknown switch", {"-frobnicate", fast}, 1, "-frobnicate");
        row("switch without its value", {fast, "-c"}, 1, "Missing value after -c");
        row("-wait needs a number", {"-wait", "soon", fast}, 1, "'soon'");
        row("-wait rejects a sign", {"-wait", "-5", fast}, 1, "'-5'");
        row("-local port out of range", {"-local", "70000", fast}, 1, "70000");
        row("quiet with verbose", {"-quiet", "-verbose", fast}, 1, "-quiet and -verbose");
        row("memory with nomemory", {"-memory", "-nomemory", fast}, 1, "-memory and -nomemory");
        row("time with notime", {"-time", "-notime", fast}, 1, "-time and -notime");
        row("quiet with time", {"-quiet", "-time", fast}, 1, "together with -verbose or -quiet");
        row("pair rule wins over the quiet/verbose rule", {"-memory", "-nomemory", "-quiet", fast},
            1, "-memory and -nomemory");
        row("server with noserver", {"-server", "-noserver", fast}, 1, "-server and -noserver");
        row("monitor with local", {"-monitor", "-local", fast}, 1,
            "-monitor, -nomonitor and -local");
        row("no model", {"-quiet"}, 1, "No model file");
        row("empty model argument, as the runner appends it", {"-quiet", ""}, 1, "No model file");
        row("two models", {fast, fast}, 1, "Only one model");
        row("missing model file", {files.filePath("nowhere.lua")}, 2, "nowhere.lua does not exist");
        row("Lua syntax error names file and line",
            {bare("syntax.lua", "Mesh{ type = 'line'\nPropertySet{}\n")}, 2, "syntax.lua:2:");
        row("Lua runtime error names file and line",
            {model("runtime.lua", "local probe = nil\nprint(probe.x)\n")}, 2, "runtime.lua:7:");
        row("misspelt field is named", {model("typo.lua", "SaveRule{ evry = 2, file = 'x' }\n")}, 2,
            "SaveRule: unknown field 'evry'");
        row("os.execute is not available", {model("os.lua", "os.execute('true')\n")}, 2, "execute");
        row("io is not available", {model("io.lua", "io.popen('ls')\n")}, 2, "'io'");
        row("binary chunks are refused",
            {model("binary.lua", "assert(load(string.dump(function() return 1 end)))\n")}, 2,
            "binary");
        row("required declaration missing",
            {bare("incomplete.lua", "Simulation{ name = 'x', endTime = 1, timeStep = 1 }\n")}, 2,
            "declares no Mesh");
        row("error inside a process script",
            {model("script.lua", "ProcessScript(function(s) error('probe broken') end)\n")}, 2,
            "probe broken");
        row("script value of the wrong size",
            {model("vector.lua",
                "MonitorRule{ name = 'r', track = { { name = 'v', quantity = 'script', rows = 2 } "
                "} }\nProcessScript(function(s) return { v = 1 } end)\n")},
            2, "'v' has 1 components");
        row("memory cap stops a greedy model",
            {"-c", bare("smallmemory.lua", "limits = { luaMemoryMB = 8 }\n"),
                model("greedy.lua",
                    "local t = {}\nfor i = 1, 1e9 do t[i] = string.rep('x', 1000) .. i end\n")},
            2, "not enough memory");
        row("second mesh", {model("twice.lua", "Mesh{ type = 'line', length = 1, cells = 2 }\n")},
            2, "twice.lua:6: Mesh: declared twice");
        row("rule with an undeclared index",
            {model("noindex.lua", "MonitorRule{ name = 'r', index = 'tc', track = {} }\n")}, 2,
            "no SpatialIndex named 'tc'");
        row("a line has no top side",
            {model("top.lua", "BoundaryCondition{ side = 'top', type = 'flux', value = 1 }\n")}, 2,
            "not 'top'");
        row("probe outside the mesh",
            {model(
                "outside.lua", "SpatialIndex{ name = 'p', points = { { 'beyond', x = 1.5 } } }\n")},
            2, "'beyond' lies outside");
        row("a value named like the solver's own",
            {model("reserved.lua",
                "MonitorRule{ name = 'r', track = { { name = 'time', quantity = 'max' } } }\n")},
            2, "reserved.lua:6: MonitorRule: name 'time' is reserved");
        row("missing configuration file", {"-c", files.filePath("none.lua"), fast}, 4,
            "none.lua does not exist");
        row("configuration value of the wrong type",
            {"-c", bare("badconfig.lua", "log = { level = 'loud' }\n"), fast}, 4,
            "log.level must be a number");
        row("log file that cannot be opened", {"-r", files.filePath("no/such/dir/run.log"), fast},
            4, "run.log");
    }

    void badRunsFailWithTheirCodeAndName()
    {
        QFETCH(QStringList, args);
        QFETCH(int, code);
        QFETCH(QString, message);
        const Run r = runKivo(args);
        QCOMPARE(r.status, QProcess::NormalExit);
        QCOMPARE(r.exitCode, code);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
    }

    void helpListsEverySwitch()
    {
        const Run r = runKivo({QStringLiteral("-help")});
        QCOMPARE(r.exitCode, 0);
        for (const char *s : {"-c ", "-u ", "-r ", "-l ", "-i ", "-o ", "-monitor", "-nomonitor",
                 "-local", "-s ", "-wait", "-quiet", "-verbose", "-memory", "-nomemory", "-time",
                 "-notime", "-server", "-noserver", "-noconsole", "-regression"})
            QVERIFY2(r.out.contains(QLatin1String(s)), s);
    }

    // The switches of a fresh action manager (on a port of our own): with
    // nobody connecting, the wait ends and the run goes on.
    void fastModelRunsWithTheAutoMonitorPreset()
    {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost, 0);
        const QString port = QString::number(probe.serverPort());
        probe.close();
        const Run r = runKivo(
            {"-local", port, "-wait", "2000", "-noserver", examples + "/heat1d-fast.lua"});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.out.contains(QLatin1String("Simulation finished")), qPrintable(r.out));
        QVERIFY(r.err.isEmpty());
    }

    void userParamsReachTheModel()
    {
        const QString withParams = model("params.lua",
            "print('sum=' .. (params.a + params.b) .. ' name=' .. params.name .. ' raw=' .. "
            "userParams)\n");
        const Run r = runKivo({"-u", "a=2; b=3.5;name=rod", withParams});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.out.contains(QLatin1String("sum=5.5 name=rod raw=a=2; b=3.5;name=rod")),
            qPrintable(r.out));

        const QString plain = model("noparams.lua",
            "print('raw=[' .. userParams .. '] n=' .. "
            "#params .. ' next=' .. tostring(next(params)))\n");
        const Run none = runKivo({plain});
        QVERIFY2(none.out.contains(QLatin1String("raw=[] n=0 next=nil")), qPrintable(none.out));
    }

    void pathMacrosExpand()
    {
        const QString out = files.filePath(QStringLiteral("out"));
        const QString logs = files.filePath(QStringLiteral("logs"));
        const QString in = files.filePath(QStringLiteral("in"));
        QVERIFY(QDir().mkpath(logs));
        const QString macros = model("macros.lua",
            "SaveRule{ var = 'T', every = 2, file = '$OUTPUT/fields/T_%d.csv' }\n"
            "print('input=' .. expandPath('$INPUT/data.csv'))\n");
        const Run r = runKivo({"-o", out, "-l", logs, "-i", in, "-r", "$LOG/run.log", macros});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.out.contains(QStringLiteral("input=%1/data.csv").arg(in)), qPrintable(r.out));
        for (int step : {2, 4}) {
            QFile csv(QStringLiteral("%1/fields/T_%2.csv").arg(out).arg(step));
            QVERIFY2(csv.open(QIODevice::ReadOnly), qPrintable(csv.fileName()));
            const QStringList lines = QString::fromUtf8(csv.readAll()).trimmed().split('\n');
            QCOMPARE(lines.first(), QStringLiteral("x,T"));
            QCOMPARE(lines.size(), 1 + 5); // header and the nodes of 4 cells
        }
        QVERIFY(!QFileInfo::exists(out + QStringLiteral("/fields/T_1.csv")));
        QFile log(logs + QStringLiteral("/run.log"));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().contains("Simulation finished"));
    }

    void switchesChangeTheLog_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QStringList>("present");
        QTest::addColumn<QStringList>("absent");
        QTest::newRow("default: notices and info, no debug")
            << QStringList {} << QStringList {"[NOTICE]", "[INFO]"}
            << QStringList {"[DEBUG]", "[DETAIL]", "[TIME]", "[MEMORY]"};
        QTest::newRow("quiet: nothing below warnings") << QStringList {
            "-quiet"} << QStringList {} << QStringList {"[NOTICE]", "[INFO]", "[DEBUG]"};
        QTest::newRow("verbose: every level")
            << QStringList {"-verbose"}
            << QStringList {"[DEBUG]", "[DETAIL]", "[INFO]", "[NOTICE]", "[TIME]", "[MEMORY]"}
            << QStringList {};
        QTest::newRow("time messages")
            << QStringList {"-time"} << QStringList {"[TIME]"} << QStringList {"[MEMORY]"};
        QTest::newRow("memory messages")
            << QStringList {"-memory"} << QStringList {"[MEMORY]"} << QStringList {"[TIME]"};
        QTest::newRow("noconsole: nothing at all")
            << QStringList {"-noconsole"} << QStringList {} << QStringList {"["};
        const QString config
            = files.write(QStringLiteral("debugconfig.lua"), "log = { level = 0, time = true }\n");
        QTest::newRow("configuration: debug level and time messages")
            << QStringList {"-c", config} << QStringList {"[DEBUG]", "[TIME]"} << QStringList {};
        QTest::newRow("-notime beats the configuration") << QStringList {"-c", config,
            "-notime"} << QStringList {"[DEBUG]"} << QStringList {"[TIME]"};
    }

    void switchesChangeTheLog()
    {
        QFETCH(QStringList, args);
        QFETCH(QStringList, present);
        QFETCH(QStringList, absent);
        const Run r = runKivo(args << examples + QStringLiteral("/heat1d-fast.lua"));
        QCOMPARE(r.exitCode, 0);
        for (const QString &s : present)
            QVERIFY2(r.out.contains(s), qPrintable(s + " missing in:\n" + r.out));
        for (const QString &s : absent)
            QVERIFY2(!r.out.contains(s), qPrintable(s + " present in:\n" + r.out));
    }

    // Numbers of the fast model, read back from the regression tags.
    void trackedValuesArePhysicallyConsistent()
    {
        const QString log = files.filePath(QStringLiteral("fast.log"));
        const Run r = runKivo({"-r", log, "-regression", examples + "/heat1d-fast.lua"});
        QCOMPARE(r.exitCode, 0);
        const auto samples = regressionSamples(log);
        QCOMPARE(samples.size(), 41); // step 0 and 40 steps
        double lastMean = -1;
        for (int i = 0; i < samples.size(); ++i) {
            const auto &s = samples[i];
            QCOMPARE(s.value("time").value(0), 5.0 * i);
            const QVector<double> range = s.value("T.range");
            QCOMPARE(range.size(), 3);
            QVERIFY(range[0] <= range[1] && range[1] <= range[2]);
            QVERIFY(range[0] >= 20 - 1e-9 && range[2] <= 100 + 1e-9);
            QCOMPARE(s.value("T.max").value(0), range[2]);
            QCOMPARE(s.value("T.probe").size(), 2);
            QVERIFY(range[1] >= lastMean); // the rod only heats up
            lastMean = range[1];
            if (i > 0) {
                QVERIFY(s.value("fem.iteration").value(0) >= 1);
                QVERIFY(s.value("fem.error").value(0) <= 1e-12);
                QVERIFY(s.value("q.left").value(0) > 0); // heat enters at the hot end
                const QVector<double> probes = s.value("T.probe");
                QVERIFY(probes[0] > probes[1]);
            }
        }
        QVERIFY(lastMean > 60);
        const Run plain = runKivo({"-r", log, examples + "/heat1d-fast.lua"});
        QVERIFY(regressionSamples(log).isEmpty());
    }

    // Both ends held: the steady profile is linear, whichever linear solver runs.
    void steadyStateIsLinear_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("mesh");
        QTest::addColumn<int>("nodes");
        const QString line = QStringLiteral("type = 'line', length = 2, cells = 8");
        const QString rect
            = QStringLiteral("type = 'rectangle', width = 2, height = 1, cellsX = 8, cellsY = 3");
        QTest::newRow("line, conjugate gradient") << "cg" << line << 9;
        QTest::newRow("line, Gauss-Seidel") << "gaussSeidel" << line << 9;
        QTest::newRow("rectangle with insulated top and bottom") << "cg" << rect << 36;
    }

    void steadyStateIsLinear()
    {
        QFETCH(QString, method);
        QFETCH(QString, mesh);
        QFETCH(int, nodes);
        const QString tag = QString::fromLatin1(QTest::currentDataTag()).replace(' ', '_');
        const QString steady = files.write(QStringLiteral("steady-%1.lua").arg(tag),
            QStringLiteral(
                "Simulation{ name = 'steady', endTime = 50, timeStep = 10 }\n"
                "Mesh{ %2 }\n"
                "StateVar{ initial = 0 }\n"
                "PropertySet{ conductivity = 10, density = 1, heatCapacity = 1 }\n"
                "BoundaryCondition{ side = 'left', type = 'temperature', value = 10 }\n"
                "BoundaryCondition{ side = 'right', type = 'temperature', value = 50 }\n"
                "NumericalSolver{ method = '%1', tolerance = 1e-12, maxIterations = 100000 }\n"
                "MonitorRule{ name = 'flux', track = { { name = 'q', quantity = 'heatFlux', side = "
                "'left' } } }\n"
                "SaveRule{ every = 5, file = '$OUTPUT/steady.csv' }\n")
                .arg(method, mesh)
                .toUtf8());
        const QString out = files.filePath(QStringLiteral("steady-") + tag);
        const QString log = out + QStringLiteral(".log");
        const Run r = runKivo({"-o", out, "-r", log, "-regression", steady});
        QCOMPARE(r.exitCode, 0);
        QFile csv(out + QStringLiteral("/steady.csv"));
        QVERIFY(csv.open(QIODevice::ReadOnly));
        const QStringList lines = QString::fromUtf8(csv.readAll()).trimmed().split('\n').mid(1);
        QCOMPARE(lines.size(), nodes);
        for (const QString &line : lines) {
            const double x = line.section(',', 0, 0).toDouble();
            const double t = line.section(',', -1, -1).toDouble();
            QVERIFY2(qAbs(t - (10 + 20 * x)) < 1e-6, qPrintable(line));
        }
        // k dT/dx = 10 * 20 W/m2 leaves the body at the cold left end.
        const auto samples = regressionSamples(log);
        QVERIFY(!samples.isEmpty());
        QVERIFY(qAbs(samples.last().value("q").value(0) + 200) < 1e-4);
        QVERIFY(samples.last().value("fem.iteration").value(0) >= 1);
    }

    // The signal ends the current step, or the script the model is running.
    void sigtermEndsTheRunWithTheTerminatedCode_data()
    {
        QTest::addColumn<QString>("modelFile");
        QTest::addColumn<QByteArray>("stage"); // printed before the signal is sent
        QTest::newRow("a long run")
            << examples + QStringLiteral("/heat1d-long.lua") << QByteArray("Running");
        QTest::newRow("a runaway model while loading")
            << model("runaway.lua", "while true do end\n") << QByteArray("Loading");
    }

    void sigtermEndsTheRunWithTheTerminatedCode()
    {
        QFETCH(QString, modelFile);
        QFETCH(QByteArray, stage);
        QProcess p;
        p.start(kivo, {modelFile});
        QVERIFY(p.waitForStarted());
        QByteArray out;
        QTRY_VERIFY_WITH_TIMEOUT((out += p.readAllStandardOutput()).contains(stage), 20000);
        p.terminate();
        QVERIFY(p.waitForFinished(20000));
        QCOMPARE(p.exitStatus(), QProcess::NormalExit);
        QCOMPARE(p.exitCode(), 3);
        QVERIFY(p.readAllStandardError().contains("terminated"));
    }

    // The client stops reading once logs come through the server.
    void closedOutputDoesNotKillTheSimulator()
    {
        const QString paced = files.write(QStringLiteral("paced.lua"),
            "Simulation{ name = 'paced', endTime = 40, timeStep = 1, wallTimePerStep = 0.01 }\n"
            "Mesh{ type = 'line', length = 1, cells = 4 }\n"
            "StateVar{ initial = 0 }\n"
            "PropertySet{ conductivity = 1, density = 1, heatCapacity = 1 }\n");
        QProcess p;
        p.setProcessChannelMode(QProcess::MergedChannels);
        p.start(kivo, {"-verbose", paced});
        QVERIFY(p.waitForStarted());
        QByteArray out;
        QTRY_VERIFY2_WITH_TIMEOUT(
            (out += p.readAllStandardOutput()).contains("Step"), out.constData(), 20000);
        p.closeReadChannel(QProcess::StandardOutput);
        QVERIFY(p.waitForFinished(20000));
        QCOMPARE(p.exitStatus(), QProcess::NormalExit);
        QCOMPARE(p.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(KivoTest)
#include "tst_kivo.moc"
