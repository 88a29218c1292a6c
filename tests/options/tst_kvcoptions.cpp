#include "kvcoptions.h"

#include <QtTest>

#include <functional>

using Setup = std::function<void(KvcOptions &)>;
Q_DECLARE_METATYPE(Setup)

class KvcOptionsTest : public QObject
{
    Q_OBJECT

private slots:
    void paramList_data()
    {
        QTest::addColumn<Setup>("setup");
        QTest::addColumn<QStringList>("separate");
        QTest::addColumn<QStringList>("joined");

        QTest::newRow("default record emits nothing")
            << Setup([](KvcOptions &) {}) << QStringList() << QStringList();
        QTest::newRow("preset: local port, wait, noserver")
            << Setup([](KvcOptions &o) { o.enableAutoMonitorOptions(); })
            << QStringList {"-local", "6174", "-wait", "2000", "-noserver"}
            << QStringList {"-local 6174", "-wait 2000", "-noserver"};
        QTest::newRow("text trimmed, not quoted")
            << Setup([](KvcOptions &o) { o.configFile = "  models/My Model/run.lua  "; })
            << QStringList {"-c", "models/My Model/run.lua"}
            << QStringList {"-c models/My Model/run.lua"};
        QTest::newRow("blank-only text emits nothing") << Setup([](KvcOptions &o) {
            o.userParams = " \t ";
            o.logFile = "   ";
        }) << QStringList() << QStringList();
        QTest::newRow("port without local emits nothing")
            << Setup([](KvcOptions &o) { o.localPort = 7000; }) << QStringList() << QStringList();
        QTest::newRow("local without port") << Setup([](KvcOptions &o) { o.local = true; })
                                            << QStringList {"-local"} << QStringList {"-local"};
        QTest::newRow("local with port 0") << Setup([](KvcOptions &o) {
            o.local = true;
            o.localPort = 0;
        }) << QStringList {"-local", "0"} << QStringList {"-local 0"};
        QTest::newRow("negative port written unsigned") << Setup([](KvcOptions &o) {
            o.local = true;
            o.localPort = -2;
        }) << QStringList {"-local", "4294967294"} << QStringList {"-local 4294967294"};
        QTest::newRow("wait 0 without monitoring flags")
            << Setup([](KvcOptions &o) { o.wait = 0; }) << QStringList {"-wait", "0"}
            << QStringList {"-wait 0"};
        QTest::newRow("every field in order")
            << Setup([](KvcOptions &o) {
                   o.configFile = "c.lua";
                   o.userParams = "a=1";
                   o.logFile = "r.txt";
                   o.logPath = "L";
                   o.inputPath = "I";
                   o.outputPath = "O";
                   o.autoMonitor = o.monitor = o.nomonitor = o.local = true;
                   o.localPort = 1;
                   o.connectFile = "s.txt";
                   o.wait = 5;
                   o.quiet = o.verbose = o.memory = o.nomemory = o.time = o.notime = true;
                   o.server = o.noserver = o.noconsole = o.regression = true;
               })
            << QStringList {"-c", "c.lua", "-u", "a=1", "-r", "r.txt", "-l", "L", "-i", "I", "-o",
                   "O", "-monitor", "-nomonitor", "-local", "1", "-s", "s.txt", "-wait", "5",
                   "-quiet", "-verbose", "-memory", "-nomemory", "-time", "-notime", "-server",
                   "-noserver", "-noconsole", "-regression"}
            << QStringList {"-c c.lua", "-u a=1", "-r r.txt", "-l L", "-i I", "-o O", "-monitor",
                   "-nomonitor", "-local 1", "-s s.txt", "-wait 5", "-quiet", "-verbose", "-memory",
                   "-nomemory", "-time", "-notime", "-server", "-noserver", "-noconsole",
                   "-regression"};
    }

    void paramList()
    {
        QFETCH(Setup, setup);
        QFETCH(QStringList, separate);
        QFETCH(QStringList, joined);
        KvcOptions options;
        setup(options);
        QCOMPARE(options.toParamList(true), separate);
        QCOMPARE(options.toParamList(false), joined);
    }

    void check_data()
    {
        QTest::addColumn<Setup>("setup");
        QTest::addColumn<QString>("message"); // empty: passes

        const QString quietVerbose = "-quiet and -verbose options can not be used together.";
        const QString memory = "-memory and -nomemory options can not be used together.";
        const QString time = "-time and -notime options can not be used together.";
        const QString mixed = "-memory, -noMemory, -time and -notime options can not be used "
                              "together with -verbose or -quiet.";
        const QString server = "-server and -noserver options can not be used together.";
        const QString monitor
            = "-monitor, -nomonitor and -local options can not be used together.\n\n";

        QTest::newRow("nothing set passes") << Setup([](KvcOptions &) {}) << QString();
        QTest::newRow("preset passes")
            << Setup([](KvcOptions &o) { o.enableAutoMonitorOptions(); }) << QString();
        QTest::newRow("every flag: first rule only") << Setup([](KvcOptions &o) {
            o.quiet = o.verbose = o.memory = o.nomemory = o.time = o.notime = true;
            o.server = o.noserver = o.monitor = o.nomonitor = o.local = true;
        }) << quietVerbose;
        QTest::newRow("memory pair before the mixed rule")
            << Setup([](KvcOptions &o) { o.memory = o.nomemory = o.quiet = true; }) << memory;
        QTest::newRow("time pair")
            << Setup([](KvcOptions &o) { o.time = o.notime = true; }) << time;
        QTest::newRow("quiet with time")
            << Setup([](KvcOptions &o) { o.quiet = o.time = true; }) << mixed;
        QTest::newRow("verbose with nomemory")
            << Setup([](KvcOptions &o) { o.verbose = o.nomemory = true; }) << mixed;
        QTest::newRow("quiet with memory")
            << Setup([](KvcOptions &o) { o.quiet = o.memory = true; }) << mixed;
        QTest::newRow("quiet with notime")
            << Setup([](KvcOptions &o) { o.quiet = o.notime = true; }) << mixed;
        QTest::newRow("verbose with notime")
            << Setup([](KvcOptions &o) { o.verbose = o.notime = true; }) << mixed;
        QTest::newRow("server pair")
            << Setup([](KvcOptions &o) { o.server = o.noserver = true; }) << server;
        QTest::newRow("monitor with local")
            << Setup([](KvcOptions &o) { o.monitor = o.local = true; }) << monitor;
        QTest::newRow("nomonitor on the preset") << Setup([](KvcOptions &o) {
            o.enableAutoMonitorOptions();
            o.nomonitor = true;
        }) << monitor;
        QTest::newRow("monitor alone")
            << Setup([](KvcOptions &o) { o.monitor = true; }) << QString();
        QTest::newRow("nomonitor alone")
            << Setup([](KvcOptions &o) { o.nomonitor = true; }) << QString();
        QTest::newRow("local alone") << Setup([](KvcOptions &o) { o.local = true; }) << QString();
        QTest::newRow("texts and numbers are not examined") << Setup([](KvcOptions &o) {
            o.localPort = -7;
            o.wait = -3;
            o.configFile = "-quiet -verbose";
        }) << QString();
    }

    void check()
    {
        QFETCH(Setup, setup);
        QFETCH(QString, message);
        KvcOptions options;
        setup(options);
        QString msg = "untouched";
        QCOMPARE(options.check(msg), message.isEmpty());
        QCOMPARE(msg, message.isEmpty() ? QString("untouched") : message);
    }

    void presetChangesOnlyMonitoringFields()
    {
        KvcOptions options;
        options.configFile = "c";
        options.quiet = options.memory = options.time = options.regression = true;
        options.monitor = options.nomonitor = options.server = options.noconsole = true;
        options.connectFile = "x";
        options.enableAutoMonitorOptions();
        QVERIFY(options.autoMonitor && options.local && options.noserver);
        QVERIFY(!options.monitor && !options.nomonitor && !options.server && !options.noconsole);
        QCOMPARE(options.localPort, 6174);
        QCOMPARE(options.wait, 2000);
        QVERIFY(options.connectFile.isEmpty());
        QCOMPARE(options.configFile, QString("c"));
        QVERIFY(options.quiet && options.memory && options.time && options.regression);
    }
};

QTEST_GUILESS_MAIN(KvcOptionsTest)
#include "tst_kvcoptions.moc"
