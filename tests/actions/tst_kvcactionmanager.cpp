#include "kvcactionmanager.h"

#include "childprocesses.h"
#include "fakekivoinstall.h"
#include "kvcommclient.h"
#include "managerhost.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using Status = KvcActionManager::ExecutionStatus;
using Host = ManagerHost;

namespace {

// A long simulation started by hand, as on another machine; the port its
// server reported, 0 if it did not start one.
quint16 startRemote(QProcess &simulator)
{
    simulator.setProcessChannelMode(QProcess::MergedChannels);
    simulator.start(kivoPath, {"-local", "0", "-wait", "0", longModel});
    QString output;
    // A timeout shows as no port.
    (void)QTest::qWaitFor(
        [&] {
            output += QString::fromUtf8(simulator.readAll());
            return listeningPort(output) || simulator.state() == QProcess::NotRunning;
        },
        15000);
    return listeningPort(output);
}

} // namespace

class KvcActionManagerTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QCoreApplication::setOrganizationName("kivoClientLibTests");
        QCoreApplication::setApplicationName("tst_kvcactionmanager");
        QVERIFY2(QFile::exists(kivoPath), qPrintable(kivoPath));
    }

    void cleanup()
    {
        qunsetenv("FAKE_KIVO_RUN");
        QTRY_COMPARE(visibleTopLevelWidgets(), 0);
    }

    void freshManagerEnablesOnlyMonitor()
    {
        Host host;
        QCOMPARE(host.enabled(), QString("----m--"));
        QVERIFY(!host.manager.active());
        QVERIFY(!host.manager.isRemote());

        QAction run;
        KvcActionManager onlyRun(&run, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
        QVERIFY(!run.isEnabled());
        onlyRun.setLocalKivoModelFile("model.lua");
        QVERIFY(!run.isEnabled());
    }

    void disabledActionsTriggeredByTheHostDoNothing()
    {
        ModalAnswerer boxes;
        Host host;
        for (QAction *action : {&host.run, &host.cancel, &host.terminate, &host.config,
                 &host.serverInfo, &host.disconnect})
            action->trigger();
        QCOMPARE(boxes.count(), 0);
        QVERIFY(host.statuses.isEmpty());
        QCOMPARE(host.enabled(), QString("----m--"));
    }

    void interrogationEnablesRunOnceAModelIsSet()
    {
        Host host;
        host.manager.asyncLocalKivoInit(kivoPath);
        QCOMPARE(host.enabled(), QString("----m--")); // busy, not yet interrogated
        QVERIFY(host.manager.active());
        QTRY_COMPARE(host.initFinished, 1);
        QVERIFY(host.manager.canExecLocalKivo());
        QCOMPARE(host.enabled(), QString("----m--"));
        QVERIFY(!host.manager.localKivoVersionString().isEmpty());
        QVERIFY(!host.manager.localKivoRevisionString().isEmpty());
        QCOMPARE(host.manager.localKivoPath(), kivoPath);
        QCOMPARE(host.manager.localKivoDefConfigFile(),
            QString(KVC_BIN_DIR "/config/defaultConfig.lua"));
        QVERIFY(host.manager.localKivoInfoString().first().startsWith("Kivo"));

        host.manager.setLocalKivoModelFile("anything");
        QCOMPARE(host.enabled(), QString("r--cm--"));
        QVERIFY(!host.manager.active());
    }

    void missingExecutableIsReportedBeforeReturning()
    {
        ModalAnswerer boxes;
        Host host;
        host.manager.asyncLocalKivoInit(QString());
        QCOMPARE(host.initFinished, 1);
        QCOMPARE(boxes.count(), 1);
        QCOMPARE(boxes.last().title, QString("Error..."));
        const QString expectedPath
            = QDir::toNativeSeparators(QCoreApplication::applicationDirPath() + "/kivo.exe");
        QCOMPARE(boxes.last().text,
            QString("Error configuring Kivo environment:\nThe Kivo executable [%1] could "
                    "not be found.")
                .arg(expectedPath));
        QVERIFY(!boxes.last().hasParent);
        QCOMPARE(boxes.last().buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
        QVERIFY(host.manager.localKivoPath().isEmpty());
        QVERIFY(!host.manager.canExecLocalKivo());
        QCOMPARE(host.enabled(), QString("----m--"));
    }

    void interrogatingAgainFromTheFinishedSignalIsSafe()
    {
        ModalAnswerer boxes;
        Host host;
        QObject::connect(&host.manager, &KvcActionManager::localKivoInitFinished, [&host] {
            if (host.initFinished == 1) // the failed first try: retry with the real one
                host.manager.asyncLocalKivoInit(kivoPath);
        });
        host.manager.asyncLocalKivoInit("/no/such/kivo");
        QCOMPARE(boxes.count(), 1);
        QTRY_COMPARE(host.initFinished, 2);
        QVERIFY(host.manager.canExecLocalKivo());
    }

    void interrogationThatNeverEndsCanBeTerminated()
    {
        ModalAnswerer boxes;
        QTemporaryDir dir;
        Host host;
        qputenv("FAKE_KIVO_VERSION", "hang");
        host.manager.asyncLocalKivoInit(installFakeKivo(dir));
        qunsetenv("FAKE_KIVO_VERSION");
        QTest::qWait(100);
        QCOMPARE(host.initFinished, 0);
        QVERIFY(host.manager.active());
        // Disabled while interrogating, but a host may trigger it all the same.
        QCOMPARE(host.enabled(), QString("----m--"));
        host.terminate.trigger();
        QTRY_COMPARE(host.initFinished, 1);
        QCOMPARE(boxes.count(), 1);
        QVERIFY2(boxes.last().text.startsWith("Error configuring Kivo environment:\nThe Kivo "
                                              "process finished unexpectedly: "),
            qPrintable(boxes.last().text));
        QVERIFY(!host.manager.active());
        QVERIFY(!host.manager.canExecLocalKivo());
        host.initFinished = 0; // and the user can try again
        QVERIFY(host.interrogate(kivoPath, fastModel));
    }

    // A process that fails to start must not be deleted under its own
    // signal by the error box's event loop: a host calls before its event
    // loop runs (as kivo-studio does at start) or from inside it.
    void startFailureClosedThroughTheEventLoop_data()
    {
        QTest::addColumn<bool>("run");
        QTest::addColumn<bool>("directory");
        QTest::addColumn<bool>("insideLoop");
        for (const bool run : {false, true})
            for (const bool directory : {false, true})
                for (const bool insideLoop : {false, true})
                    QTest::addRow("%s of a %s, %s", run ? "run" : "interrogation",
                        directory ? "directory" : "file without the execute bit",
                        insideLoop ? "inside the event loop" : "before the event loop")
                        << run << directory << insideLoop;
    }

    void startFailureClosedThroughTheEventLoop()
    {
        QFETCH(bool, run);
        QFETCH(bool, directory);
        QFETCH(bool, insideLoop);
        ModalAnswerer boxes;
        QTemporaryDir dir;
        Host host;
        const QString exe = installFakeKivo(dir);
        if (run) {
            QVERIFY(host.interrogate(exe, "model.lua"));
            host.editOptions(localRun());
        }
        // What cannot be started stands where the simulator was.
        QVERIFY(QFile::remove(exe));
        if (directory) {
            QVERIFY(QDir().mkdir(exe));
        } else {
            QFile file(exe);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("not a program");
        }
        const auto start = [&] {
            if (run)
                host.run.trigger();
            else
                host.manager.asyncLocalKivoInit(exe);
        };
        if (insideLoop) {
            QEventLoop loop;
            QTimer::singleShot(0, &loop, [&] {
                start();
                loop.quit();
            });
            loop.exec();
        } else {
            start();
        }
        QCOMPARE(boxes.count(), 1);
        QVERIFY2(boxes.last().text.contains(
                     QString("The Kivo executable [%1] failed to start: ").arg(exe)),
            qPrintable(boxes.last().text));
        QCOMPARE(host.initFinished, 1);
        // A run that never started reports its end all the same.
        QCOMPARE(host.statuses.size(), run ? 1 : 0);
        if (run)
            QCOMPARE(host.statuses[0].status, KvcActionManager::Aborted);
        QVERIFY(!host.manager.active());
        QCOMPARE(host.enabled(), run ? QString("r--cm--") : QString("----m--"));
        // Whatever the runner left for later deletion goes now.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(childProcesses().size(), 0);
    }

    void unmonitoredRunReportsRunningThenFinished()
    {
        ModalAnswerer boxes;
        Host host;
        QVERIFY(host.interrogate(kivoPath, fastModel));
        host.editOptions(localRun());
        QCOMPARE(host.enabled(), QString("r--cm--"));

        host.run.trigger();
        QCOMPARE(host.statuses.size(), 1);
        QCOMPARE(host.statuses[0].status, KvcActionManager::Running);
        QVERIFY(!host.statuses[0].data);
        QCOMPARE(host.enabled(), QString("--t-m--"));
        QVERIFY(host.manager.currentSimLoadingTime().isValid());
        QVERIFY(!host.manager.currentSimRunningTime().isValid());
        QCOMPARE(host.manager.currentSimVersionString(), host.manager.localKivoVersionString());

        QTRY_COMPARE_WITH_TIMEOUT(host.statuses.size(), 2, 30000);
        QCOMPARE(host.statuses[1].status, KvcActionManager::Finished);
        QVERIFY(!host.statuses[1].data);
        QCOMPARE(boxes.count(), 0);
        QVERIFY(!host.log.isEmpty());
        QVERIFY(host.levels.count(-1) == host.levels.size());
        QCOMPARE(host.enabled(), QString("r--cm--"));
    }

    void runEndings_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<bool>("terminate");
        QTest::addColumn<bool>("box");
        QTest::newRow("exit code 3: Aborted without a box") << "exit3" << false << false;
        QTest::newRow("crash: a box, then Aborted") << "crash" << false << true;
        QTest::newRow("terminate kills: a box, then Aborted") << "hang" << true << true;
    }

    void runEndings()
    {
        QFETCH(QString, mode);
        QFETCH(bool, terminate);
        QFETCH(bool, box);
        ModalAnswerer boxes;
        QTemporaryDir dir;
        Host host;
        QVERIFY(host.interrogate(installFakeKivo(dir), "model.lua"));
        host.editOptions(localRun());
        qputenv("FAKE_KIVO_RUN", mode.toUtf8());
        host.run.trigger();
        QCOMPARE(host.statuses.size(), 1);
        if (terminate) {
            QCOMPARE(host.enabled(), QString("--t-m--"));
            host.terminate.trigger();
        }
        QTRY_COMPARE(host.statuses.size(), 2);
        QCOMPARE(host.statuses[1].status, KvcActionManager::Aborted);
        QVERIFY(!host.statuses[1].data);
        QCOMPARE(boxes.count(), box ? 1 : 0);
        if (box)
            QVERIFY2(boxes.last().text.startsWith("Error executing Kivo simulation:\nThe Kivo "
                                                  "process finished unexpectedly: "),
                qPrintable(boxes.last().text));
        QCOMPARE(host.enabled(), QString("r--cm--"));
    }

    void automaticMonitoringSharesItsDataUntilTheEnd()
    {
        ModalAnswerer boxes;
        Host host;
        QVERIFY(host.interrogate(kivoPath, longModel));
        host.editOptions(presetOnAFreePort());

        host.run.trigger();
        QCOMPARE(host.statuses.size(), 1);
        QCOMPARE(host.statuses[0].status, KvcActionManager::Running);
        KvcResultsData *data = host.statuses[0].data;
        QVERIFY(data);
        // The pending automatic connection holds the monitor action back.
        QCOMPARE(host.enabled(), QString("--t----"));
        QTRY_VERIFY_WITH_TIMEOUT(host.manager.isRemote(), 10000);
        QCOMPARE(host.enabled(), QString("-ct--sd"));
        // The simulation's information follows the connection, not with it.
        QTRY_VERIFY(host.manager.currentSimLoadingTime().isValid());
        QTRY_VERIFY_WITH_TIMEOUT(
            data->graphics().size() > data->numSpecialGraphics() && data->currentTime() > 0, 10000);

        host.cancel.trigger();
        QTRY_VERIFY_WITH_TIMEOUT(!host.manager.active(), 30000);
        QCOMPARE(boxes.count(), 0);
        // Every status before the first end carries the shared data; the
        // process (exit code 0) and the connection (the server's Canceled)
        // then report their ends with null, as may a status report of the
        // server that arrives after the process has ended.
        QStringList ends;
        bool ended = false;
        for (const Host::Event &event : host.statuses) {
            if (event.data) {
                QVERIFY(!ended);
                QCOMPARE(event.data, data);
            } else {
                ended = true;
                ends << KvcActionManager::execStatusStr(event.status);
            }
        }
        QCOMPARE(ends.count("Finished"), 1);
        QVERIFY(ends.count("Canceled") >= 1);
        QCOMPARE(ends.count("Finished") + ends.count("Canceled"), ends.size());
        QCOMPARE(host.enabled(), QString("r--cm--"));
        QVERIFY(!host.manager.isRemote());
    }

    void automaticMonitoringThatCannotConnectLetsTheRunGoOn()
    {
        ModalAnswerer boxes;
        QTemporaryDir dir;
        Host host;
        QVERIFY(host.interrogate(installFakeKivo(dir), "model.lua"));
        host.editOptions(presetOnAFreePort());
        qputenv("FAKE_KIVO_RUN", "chatty"); // no server behind the port
        host.run.trigger();
        QVERIFY(host.statuses[0].data);
        QTRY_COMPARE_WITH_TIMEOUT(boxes.count(), 1, 15000);
        QCOMPARE(boxes.last().title, QString("Error..."));
        QVERIFY(!host.manager.isRemote());
        QCOMPARE(host.enabled(), QString("--t-m--"));
        QVERIFY(host.log.contains("line 1\n"));
        host.terminate.trigger();
        QTRY_COMPARE(host.statuses.size(), 2);
        QCOMPARE(host.statuses[1].status, KvcActionManager::Aborted);
        QCOMPARE(host.enabled(), QString("r--cm--"));
    }

    void remoteMonitoringThroughTheDialogThenCancel()
    {
        ModalAnswerer boxes;
        QProcess simulator;
        const quint16 port = startRemote(simulator);
        QVERIFY(port);

        Host host;
        host.connectThroughDialog(port);
        QVERIFY(host.manager.isRemote());
        QCOMPARE(host.statuses.size(), 1);
        QVERIFY(host.statuses[0].data);
        QCOMPARE(host.enabled(), QString("-ct--sd"));
        QTRY_VERIFY_WITH_TIMEOUT(
            !host.statuses.isEmpty() && host.statuses.last().status == KvcActionManager::Running,
            15000);

        const int before = host.statuses.size();
        host.cancel.trigger();
        QCOMPARE(host.statuses.size(), before); // the server reports the outcome
        QTRY_VERIFY_WITH_TIMEOUT(!host.manager.isRemote(), 15000);
        QCOMPARE(host.statuses.last().status, KvcActionManager::Canceled);
        QVERIFY(!host.statuses.last().data);
        QCOMPARE(host.enabled(), QString("----m--"));
        QTRY_COMPARE_WITH_TIMEOUT(simulator.state(), QProcess::NotRunning, 10000);
        QCOMPARE(simulator.exitCode(), 0);
        QCOMPARE(boxes.count(), 0);
    }

    void disconnectFromALocalRunAsksFirstWhenTheServerLogs()
    {
        ModalAnswerer boxes;
        Host host;
        QVERIFY(host.interrogate(kivoPath, longModel));
        host.editOptions(localRun(true, true));
        host.run.trigger();
        QCOMPARE(host.statuses.size(), 1);
        QVERIFY(!host.statuses[0].data);

        QTRY_VERIFY_WITH_TIMEOUT(listeningPort(host.log), 15000);
        host.connectThroughDialog(listeningPort(host.log));
        QVERIFY(host.manager.isRemote());
        QCOMPARE(host.enabled(), QString("-ct--sd"));

        boxes.queueAnswer(QMessageBox::No);
        host.disconnect.trigger();
        QCOMPARE(boxes.count(), 1);
        QCOMPARE(boxes.last().title, QString("Disconnect requested"));
        QCOMPARE(boxes.last().text,
            QString("Disconnecting from the simulation will prevent receiving additional "
                    "log messages.\nDo you want to continue?"));
        QCOMPARE(boxes.last().defaultButton, QMessageBox::No);
        QVERIFY(host.manager.isRemote());

        const int before = host.statuses.size();
        boxes.queueAnswer(QMessageBox::Yes);
        host.disconnect.trigger();
        QTRY_VERIFY(!host.manager.isRemote());
        // The user left a local run that goes on: it reports its own end.
        QCOMPARE(host.statuses.size(), before);
        QCOMPARE(host.enabled(), QString("--t-m--"));
        host.terminate.trigger();
        QTRY_COMPARE(host.statuses.last().status, KvcActionManager::Aborted);
        QTRY_VERIFY(!host.manager.active());
    }

    // Closing during a local run asks first; Stop ends the run gently, with
    // the event loop running, and the host hears when it may close.
    void closingDuringALocalRun_data()
    {
        QTest::addColumn<QString>("simulator"); // "kivo", or a mode of the fake one
        QTest::addColumn<bool>("monitored");
        QTest::addColumn<bool>("stop"); // the answer: Stop, or Cancel
        QTest::addColumn<QString>("logged"); // what the log says of the stop
        const QString stopping = "Stopping the simulation before closing...\n";
        QTest::newRow("monitored: the server is asked to terminate")
            << "kivo" << true << true << stopping;
        QTest::newRow("unmonitored: SIGTERM, the simulator ends its step")
            << "kivo" << false << true << stopping;
        QTest::newRow("a simulator that ignores SIGTERM is killed after the grace period")
            << "stubborn" << false << true
            << stopping + "The simulation did not stop within 10 seconds; it is killed.\n";
        QTest::newRow("Cancel keeps the run") << "kivo" << false << false << "";
    }

    void closingDuringALocalRun()
    {
        QFETCH(QString, simulator);
        QFETCH(bool, monitored);
        QFETCH(bool, stop);
        QFETCH(QString, logged);
        ModalAnswerer boxes;
        QTemporaryDir dir;
        Host host;
        QSignalSpy ready(&host.manager, &KvcActionManager::readyToClose);
        QVERIFY(host.manager.prepareClose()); // nothing running: no question
        QVERIFY(host.interrogate(simulator == "kivo" ? kivoPath : installFakeKivo(dir), longModel));
        host.editOptions(monitored ? presetOnAFreePort() : localRun());
        qputenv("FAKE_KIVO_RUN", simulator.toUtf8());
        host.run.trigger();
        // Until the simulator has started up, SIGTERM would end it as a crash.
        if (monitored)
            QTRY_VERIFY_WITH_TIMEOUT(host.manager.isRemote(), 10000);
        else
            QTRY_VERIFY_WITH_TIMEOUT(!host.log.isEmpty(), 10000);
        QCOMPARE(childProcesses().size(), 1);
        const QString before = host.log;

        boxes.queueAnswer(stop ? QMessageBox::Yes : QMessageBox::Cancel);
        QVERIFY(!host.manager.prepareClose());
        QCOMPARE(boxes.count(), 1);
        QCOMPARE(boxes.last().title, QString("Simulation running"));
        QCOMPARE(boxes.last().text,
            QString("The simulation of heat1d-long.lua is still running.\nStop it and close?"));
        QCOMPARE(boxes.last().buttons, QMessageBox::Yes | QMessageBox::Cancel);
        QCOMPARE(boxes.last().defaultButton, QMessageBox::Cancel);
        if (!stop) {
            QVERIFY(!host.manager.isStoppingForClose());
            QTest::qWait(300);
            QCOMPARE(childProcesses().size(), 1);
            QCOMPARE(ready.count(), 0);
            host.terminate.trigger();
            QTRY_VERIFY_WITH_TIMEOUT(!host.manager.active(), 15000);
            return;
        }
        QVERIFY(host.manager.isStoppingForClose());
        // A second request while stopping neither asks nor closes.
        QVERIFY(!host.manager.prepareClose());
        QCOMPARE(boxes.count(), 1);

        QTRY_COMPARE_WITH_TIMEOUT(ready.count(), 1, 2 * KvcActionManager::kStopGraceMs);
        QCOMPARE(childProcesses().size(), 0);
        QVERIFY(!host.manager.isStoppingForClose());
        QCOMPARE(host.statuses.last().status, KvcActionManager::Aborted);
        QVERIFY2(host.log.mid(before.size()).contains(logged), qPrintable(host.log));
        // Killed, it ends as a crash, which is said; stopped, with its own
        // "terminated" exit code, which the manager reports without a box.
        const bool killed = simulator == "stubborn";
        if (!killed) // its own words on the way to its "terminated" exit code
            QVERIFY2(host.log.contains("Simulation terminated at t = "), qPrintable(host.log));
        QVERIFY2(boxes.count() == (killed ? 2 : 1), qPrintable(boxes.last().text));
        if (killed)
            QVERIFY(boxes.last().text.contains("The Kivo process finished unexpectedly"));
        QVERIFY(host.manager.prepareClose());
    }

    void destroyingTheManagerEndsTheLocalRun()
    {
        ModalAnswerer boxes;
        {
            Host host;
            QVERIFY(host.interrogate(kivoPath, longModel));
            host.editOptions(presetOnAFreePort());
            host.run.trigger();
            QTRY_VERIFY_WITH_TIMEOUT(host.manager.isRemote(), 10000);
            QCOMPARE(childProcesses().size(), 1);
        }
        QTRY_COMPARE(childProcesses().size(), 0);
        QCOMPARE(boxes.count(), 0);
    }
};

QTEST_MAIN(KvcActionManagerTest)
#include "tst_kvcactionmanager.moc"
