#include "commandline.h"
#include "configuration.h"
#include "monitorsettings.h"

#include <QtTest>

class MonitorSettingsTest : public QObject
{
    Q_OBJECT

private slots:
    void switchesOverrideTheConfiguration_data()
    {
        QTest::addColumn<QStringList>("switches");
        QTest::addColumn<bool>("configServer");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("localOnly");
        QTest::addColumn<int>("port");
        QTest::addColumn<int>("wait");
        QTest::addColumn<bool>("logs");

        QTest::newRow("configuration alone")
            << QStringList {} << true << true << false << 6174 << -1 << true;
        QTest::newRow("-monitor starts a server")
            << QStringList {"-monitor"} << false << true << false << 6174 << -1 << true;
        QTest::newRow("-nomonitor beats the configuration")
            << QStringList {"-nomonitor"} << true << false << false << 6174 << -1 << true;
        QTest::newRow("-local without a port: any port")
            << QStringList {"-local"} << false << true << true << 0 << -1 << true;
        QTest::newRow("-local with a port")
            << QStringList {"-local", "7000"} << false << true << true << 7000 << -1 << true;
        QTest::newRow("automatic monitoring preset")
            << QStringList {"-local", "6174", "-wait", "2000", "-noserver"} << false << true << true
            << 6174 << 2000 << false;
        QTest::newRow("-wait 0 waits without limit")
            << QStringList {"-wait", "0"} << false << false << false << 6174 << 0 << true;
    }

    void switchesOverrideTheConfiguration()
    {
        QFETCH(QStringList, switches);
        QFETCH(bool, configServer);
        CommandLine cmd;
        QString error;
        QVERIFY2(cmd.parse(switches << QStringLiteral("model.lua"), error), qPrintable(error));
        QCOMPARE(cmd.modelFile, QStringLiteral("model.lua"));
        Configuration config;
        config.monitorServer = configServer;
        const MonitorSettings s = MonitorSettings::resolve(cmd, config);
        QTEST(s.serverEnabled, "enabled");
        QTEST(s.localOnly, "localOnly");
        QTEST(s.port, "port");
        QTEST(s.waitMs, "wait");
        QTEST(s.logsThroughServer, "logs");
    }
};

QTEST_GUILESS_MAIN(MonitorSettingsTest)
#include "tst_monitorsettings.moc"
