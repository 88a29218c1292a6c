#include "kvcexecuter.h"

#include "fakekivoinstall.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

namespace {

// Everything one runner told its listeners.
struct Recorder {
    explicit Recorder(KvcExecuter &executer)
    {
        QObject::connect(&executer, &KvcExecuter::asyncOpFinished,
            [this, &executer](KvcExecuter::AsyncOpType op, bool ok, QString err) {
                ends << End {op, ok, err, executer.process == nullptr};
            });
        QObject::connect(
            &executer, &KvcExecuter::logMessage, [this](int level, const QString &msg) {
                levels << level;
                log += msg;
                ++chunks;
            });
    }
    struct End {
        KvcExecuter::AsyncOpType op;
        bool ok;
        QString err;
        bool idleDuringSignal;
    };
    QVector<End> ends;
    QList<int> levels;
    QString log;
    int chunks = 0;
};

} // namespace

class KvcExecuterTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        qunsetenv("FAKE_KIVO_VERSION");
        qunsetenv("FAKE_KIVO_RUN");
    }

    void interrogation_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("subdir");
        QTest::addColumn<bool>("withConfig");
        QTest::addColumn<QString>("error"); // empty: succeeds
        QTest::addColumn<QString>("version");
        QTest::addColumn<QString>("revision");
        QTest::addColumn<QStringList>("lines");

        const QStringList okLines {"Kivo 3.1 (Version: 2.0.1, Revision: 1234)", "Built today", ""};
        const QString unexpectedReturn
            = "Unexpected return string while initializing Kivo environment.";
        const QString unexpectedVersion
            = "Unexpected version string while initializing Kivo environment.";
        const QString noConfig
            = "Error locating the default configuration file for the Kivo executable.";
        const auto row = [](const char *name, const char *mode, const char *subdir, bool withConfig,
                             const QString &error, const QStringList &lines, bool parsed = true) {
            QTest::newRow(name) << mode << subdir << withConfig << error << (parsed ? "2.0.1" : "")
                                << (parsed ? "1234" : "") << lines;
        };
        row("comma and parenthesis are cut", "ok", "", true, "", okLines);
        row("carriage returns stay in the lines", "crlf", "", true, "",
            {"Kivo 3.1 (Version: 2.0.1, Revision: 1234)\r", "Built today\r", ""});
        row("no output is one empty line", "empty", "", true, unexpectedReturn, {""}, false);
        row("first line must start with Kivo", "nokivo", "", true, unexpectedReturn,
            {"Simulator 3.1 (Version: 2.0.1, Revision: 1234)", ""}, false);
        row("version and revision are both needed", "noversion", "", true, unexpectedVersion,
            {"Kivo 3.1 (Revision: 1234)", ""}, false);
        row("release folder looks one level up", "ok", "release", true, "", okLines);
        row("debug folder looks one level up", "ok", "debug", true, "", okLines);
        row("Release in upper case is not stripped", "ok", "Release", true, noConfig, okLines);
        row("missing configuration keeps the parsed values", "ok", "", false, noConfig, okLines);
    }

    void interrogation()
    {
        QFETCH(QString, mode);
        QFETCH(QString, subdir);
        QFETCH(bool, withConfig);
        QFETCH(QString, error);
        QTemporaryDir dir;
        const QString exe = installFakeKivo(dir, subdir, withConfig);
        qputenv("FAKE_KIVO_VERSION", mode.toUtf8());

        KvcExecuter executer;
        Recorder recorder(executer);
        QVERIFY(executer.asyncInit(exe));
        QCOMPARE(executer.currentOp, KvcExecuter::InitOp);
        QTRY_COMPARE(recorder.ends.size(), 1);

        const Recorder::End end = recorder.ends.first();
        QCOMPARE(end.op, KvcExecuter::InitOp);
        QCOMPARE(end.ok, error.isEmpty());
        QCOMPARE(end.err, error);
        QVERIFY(end.idleDuringSignal);
        QCOMPARE(executer.currentOp, KvcExecuter::NoOp);
        QCOMPARE(executer.initialized, error.isEmpty());
        QTEST(executer.versionString, "version");
        QTEST(executer.revisionString, "revision");
        QTEST(executer.infoLines, "lines");
        QCOMPARE(executer.exePath, exe);
        if (error != "Unexpected return string while initializing Kivo environment."
            && error != "Unexpected version string while initializing Kivo environment.") {
            const QString configDir = subdir == "Release" ? "/bin/Release" : "/bin";
            QCOMPARE(executer.defConfigFile, dir.path() + configDir + "/config/defaultConfig.lua");
        } else {
            QVERIFY(executer.defConfigFile.isEmpty());
        }
        QVERIFY(recorder.log.isEmpty());
    }

    void missingExecutableEndsBeforeReturning()
    {
        KvcExecuter executer;
        executer.exePath = "/previous/kivo";
        Recorder recorder(executer);
        QVERIFY(!executer.asyncInit("/no/such/dir/kivo"));
        QCOMPARE(recorder.ends.size(), 1);
        QCOMPARE(recorder.ends.first().err,
            QString("The Kivo executable [/no/such/dir/kivo] could not be found."));
        QCOMPARE(executer.exePath, QString("/previous/kivo"));
        QCOMPARE(executer.currentOp, KvcExecuter::NoOp);
    }

    void fileThatCannotStartReportsFailure()
    {
        QTemporaryDir dir;
        QFile notExecutable(dir.path() + "/kivo");
        QVERIFY(notExecutable.open(QIODevice::WriteOnly));
        notExecutable.write("not a program");
        notExecutable.close();

        KvcExecuter executer;
        Recorder recorder(executer);
        executer.asyncInit(notExecutable.fileName());
        QTRY_COMPARE(recorder.ends.size(), 1);
        QVERIFY(!recorder.ends.first().ok);
        QVERIFY2(recorder.ends.first().err.startsWith(
                     QString("The Kivo executable [%1] failed to start: ")
                         .arg(notExecutable.fileName())),
            qPrintable(recorder.ends.first().err));
        QVERIFY(!executer.initialized);
    }

    void interrogationThatCrashesFails()
    {
        QTemporaryDir dir;
        const QString exe = installFakeKivo(dir, QString());
        qputenv("FAKE_KIVO_VERSION", "crash");
        KvcExecuter executer;
        Recorder recorder(executer);
        executer.asyncInit(exe);
        QTRY_COMPARE(recorder.ends.size(), 1);
        QVERIFY(recorder.ends.first().err.startsWith("The Kivo process finished unexpectedly: "));
    }

    void runPassesSwitchesThenModel_data()
    {
        QTest::addColumn<bool>("preset");
        QTest::addColumn<QString>("model");
        QTest::addColumn<QString>("expected");
        QTest::newRow("preset switches, model last")
            << true << "/models/a b.lua"
            << "[-local]\n[6174]\n[-wait]\n[2000]\n[-noserver]\n[/models/a b.lua]\n";
        QTest::newRow("empty model is still an argument") << false << ""
                                                          << "[]\n";
    }

    void runPassesSwitchesThenModel()
    {
        QFETCH(bool, preset);
        QFETCH(QString, model);
        QTemporaryDir dir;
        KvcExecuter executer;
        executer.exePath = installFakeKivo(dir, QString());
        executer.initialized = true;
        if (preset)
            executer.options.enableAutoMonitorOptions();
        executer.modelFile = model;
        qputenv("FAKE_KIVO_RUN", "args");
        Recorder recorder(executer);

        const QDateTime before = QDateTime::currentDateTime();
        QVERIFY(executer.asyncRun(true));
        QVERIFY(executer.startTime >= before);
        QCOMPARE(executer.currentOp, KvcExecuter::RunOp);
        QTRY_COMPARE(recorder.ends.size(), 1);
        QVERIFY(recorder.ends.first().ok);
        QVERIFY(recorder.ends.first().err.isEmpty());
        QTEST(recorder.log, "expected");
        QVERIFY(recorder.levels.count(-1) == recorder.levels.size());
        QCOMPARE(executer.exitCode, 0);
    }

    void runEndings_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<bool>("kill");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("lastOutput");
        QTest::newRow("non-zero exit code is not judged")
            << "exit3" << false << true << 3 << "giving up\n";
        QTest::newRow("crash is a failure with its output")
            << "crash" << false << false << -1 << "about to crash\n";
        QTest::newRow("kill arrives as a crash") << "hang" << true << false << -1 << "";
    }

    void runEndings()
    {
        QFETCH(QString, mode);
        QFETCH(bool, kill);
        QFETCH(bool, ok);
        QTemporaryDir dir;
        KvcExecuter executer;
        executer.exePath = installFakeKivo(dir, QString());
        executer.initialized = true;
        qputenv("FAKE_KIVO_RUN", mode.toUtf8());
        Recorder recorder(executer);
        QVERIFY(executer.asyncRun(true));
        if (kill)
            executer.kill();
        QTRY_COMPARE(recorder.ends.size(), 1);
        QCOMPARE(recorder.ends.first().ok, ok);
        if (!ok)
            QVERIFY2(
                recorder.ends.first().err.startsWith("The Kivo process finished unexpectedly: "),
                qPrintable(recorder.ends.first().err));
        QFETCH(int, exitCode);
        if (exitCode >= 0)
            QCOMPARE(executer.exitCode, exitCode);
        QTEST(recorder.log, "lastOutput");
    }

    void characterSplitAcrossReadsStaysWhole()
    {
        QTemporaryDir dir;
        KvcExecuter executer;
        executer.exePath = installFakeKivo(dir, QString());
        executer.initialized = true;
        qputenv("FAKE_KIVO_RUN", "split");
        Recorder recorder(executer);
        QVERIFY(executer.asyncRun(true));
        QTRY_COMPARE(recorder.ends.size(), 1);
        QCOMPARE(recorder.log, QString::fromUtf8("caf\xC3\xA9 au lait\n"));
        QVERIFY(recorder.chunks >= 2);
        QVERIFY(!recorder.log.contains(QChar::ReplacementCharacter));
    }

    void stoppedOrUnreadOutputIsNotForwarded()
    {
        QTemporaryDir dir;
        KvcExecuter executer;
        executer.exePath = installFakeKivo(dir, QString());
        executer.initialized = true;
        qputenv("FAKE_KIVO_RUN", "chatty");
        Recorder recorder(executer);
        QVERIFY(executer.asyncRun(true));
        QTRY_VERIFY(recorder.log.contains("line 2\n"));
        executer.stopReadingOutput();
        const QString seen = recorder.log;
        // The process goes on writing; nothing more may reach the log.
        QTest::qWait(200);
        QCOMPARE(recorder.log, seen);
        QVERIFY(executer.process);
        executer.kill();
        QTRY_COMPARE(recorder.ends.size(), 1);
        QCOMPARE(recorder.log, seen);

        KvcExecuter silent;
        silent.exePath = executer.exePath;
        silent.initialized = true;
        Recorder silentRecorder(silent);
        QVERIFY(silent.asyncRun(false));
        QTest::qWait(100);
        silent.kill();
        QTRY_COMPARE(silentRecorder.ends.size(), 1);
        QVERIFY(silentRecorder.log.isEmpty());
    }

    void destroyingTheRunnerEndsItsProcessWithoutWaiting()
    {
        QTemporaryDir dir;
        qint64 pid = 0;
        {
            KvcExecuter executer;
            executer.exePath = installFakeKivo(dir, QString());
            executer.initialized = true;
            qputenv("FAKE_KIVO_RUN", "hang");
            QVERIFY(executer.asyncRun(true));
            pid = executer.process->processId();
            QVERIFY(pid > 0);
        }
        // Not waited for by the destructor: the pid is still ours (alive or
        // not yet reaped) until the event loop has seen the process end.
        QCOMPARE(::kill(pid_t(pid), 0), 0);
        QTRY_VERIFY(::kill(pid_t(pid), 0) != 0);
    }
};

QTEST_GUILESS_MAIN(KvcExecuterTest)
#include "tst_kvcexecuter.moc"
