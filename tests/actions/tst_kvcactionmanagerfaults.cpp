// Faults seen through the action manager: simulators killed in every phase,
// servers that break off a frame, refuse, or fall silent. Each one must end
// in its status and its message, and leave the actions usable.

#include "kvcactionmanager.h"

#include "childprocesses.h"
#include "kvcommclient.h"
#include "kvcommframewriter.h"
#include "kvcommserver.h"
#include "managerhost.h"
#include "modalanswerer.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <csignal>
#include <sys/socket.h>
#include <sys/types.h>

using Status = KvcActionManager::ExecutionStatus;
using Host = ManagerHost;

namespace {

const QString stallingKivo = QStringLiteral(STALLING_KIVO);
const QString endlessLoadingModel = QStringLiteral(KVC_FAULT_MODELS_DIR "/endless-loading.lua");

const QString processKilled
    = QStringLiteral("The Kivo process finished unexpectedly: Process crashed");
const QString willDisconnect = QStringLiteral("\nThe server will be disconnected");

// The simulator dies as under the OOM killer or `kill -9`: no chance to say goodbye.
bool killTheOnlyChild()
{
    const QList<qint64> pids = childProcesses();
    return pids.size() == 1 && ::kill(pid_t(pids.first()), SIGKILL) == 0;
}

// A well-behaved server in this process: running, accepts cancel and terminate.
struct HealthyServer {
    KvCommServer server;
    HealthyServer()
    {
        server.setIdentity("3.1.0", "5012");
        server.setControlOptions(KvCommControlCancel | KvCommControlTerminate);
        server.listen(QHostAddress::LocalHost, 0);
        server.publishStatus(KvCommStatusRunning);
    }
    quint16 port() const { return server.serverPort(); }
};

// A server in this process that greets like a simulator's, then misbehaves
// when told to. What the client sends (its greeting, heartbeats) is read and
// dropped, so that closing never turns into a reset by accident.
class FaultPeer
{
public:
    FaultPeer()
    {
        server.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&server, &QTcpServer::newConnection, [this] {
            socket = server.nextPendingConnection();
            QTcpSocket *s = socket;
            QObject::connect(s, &QTcpSocket::readyRead, s, [s] { s->readAll(); });
            s->write(KvCommFrameWriter::hello() + KvCommFrameWriter::identity("3.1.0", "5012")
                + KvCommFrameWriter::controlOptions(KvCommControlCancel | KvCommControlTerminate)
                + KvCommFrameWriter::status(KvCommStatusRunning, QDateTime::currentDateTime())
                + KvCommFrameWriter::ready());
        });
    }

    quint16 port() const { return server.serverPort(); }
    bool hasClient() const { return socket; }

    void send(const QByteArray &bytes)
    {
        socket->write(bytes);
        socket->flush();
    }

    void sendHalfAFrame()
    {
        const QByteArray frame = KvCommFrameWriter::log(3, QString(200, 'x') + "\n");
        send(frame.left(frame.size() / 2));
    }

    void closeCleanly()
    {
        socket->readAll();
        socket->disconnectFromHost();
    }

    // As when the simulator dies: the kernel answers with a reset, whatever
    // was still queued is lost.
    void reset()
    {
        const linger hard {1, 0};
        ::setsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        socket->abort();
    }

private:
    QTcpServer server;
    QPointer<QTcpSocket> socket;
};

} // namespace

class KvcActionManagerFaultsTest : public QObject
{
    Q_OBJECT

private:
    // Connected to a healthy server since status `before`: it reports its
    // status, and the disconnect action ends that connection.
    static void monitorsThenDisconnects(Host &host, int before)
    {
        QVERIFY(host.manager.isRemote());
        QCOMPARE(host.names(before), QStringList {"Running"});
        QCOMPARE(host.enabled(), QString("-ct--sd"));
        host.disconnect.trigger();
        QTRY_VERIFY(!host.manager.isRemote());
        QCOMPARE(host.names(before, true), QStringList({"Running", "Disconnected (null)"}));
        QCOMPARE(host.enabled(), QString("----m--"));
    }

    // After a fault: the monitor action connects to a healthy server again.
    void monitorsAHealthyServerAgain(Host &host)
    {
        HealthyServer healthy;
        const int before = host.statuses.size();
        host.connectThroughDialog(healthy.port());
        monitorsThenDisconnects(host, before);
    }

    // After a fault: a plain local run of the fast model runs to its end.
    void runsAgain(Host &host)
    {
        host.manager.setLocalKivoModelFile(fastModel);
        host.editOptions(localRun());
        const int before = host.statuses.size();
        host.run.trigger();
        QTRY_COMPARE_WITH_TIMEOUT(
            host.names(before, true), QStringList({"Running (null)", "Finished (null)"}), 30000);
        QCOMPARE(host.enabled(), QString("r--cm--"));
    }

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QCoreApplication::setOrganizationName("kivoClientLibTests");
        QCoreApplication::setApplicationName("tst_kvcactionmanagerfaults");
        QVERIFY2(QFile::exists(kivoPath), qPrintable(kivoPath));
        QVERIFY2(QFile::exists(stallingKivo), qPrintable(stallingKivo));
        QVERIFY2(QFile::exists(endlessLoadingModel), qPrintable(endlessLoadingModel));
    }

    void cleanup()
    {
        QTRY_COMPARE(visibleTopLevelWidgets(), 0);
        QTRY_COMPARE(childProcesses().size(), 0);
    }

    void interrogationKilledFromOutsideIsAnInterrogationError()
    {
        ModalAnswerer boxes;
        Host host;
        host.manager.asyncLocalKivoInit(stallingKivo);
        QVERIFY(host.manager.active());
        QCOMPARE(host.enabled(), QString("----m--"));
        QVERIFY(killTheOnlyChild());
        QTRY_COMPARE(host.initFinished, 1);
        QCOMPARE(boxes.count(), 1);
        QCOMPARE(boxes.last().title, QString("Error..."));
        QCOMPARE(boxes.last().text, "Error configuring Kivo environment:\n" + processKilled);
        QVERIFY(host.statuses.isEmpty());
        QVERIFY(!host.manager.active());
        QVERIFY(!host.manager.canExecLocalKivo());
        QVERIFY(host.manager.localKivoVersionString().isEmpty());
        QCOMPARE(host.enabled(), QString("----m--"));

        QVERIFY(host.interrogate(kivoPath, fastModel));
        QCOMPARE(host.enabled(), QString("r--cm--"));
    }

    // Terminating a stalled interrogation is covered with the other manager
    // scenarios; these are the two other ways of leaving one behind.
    void stalledInterrogationLeftBehindEndsQuietly_data()
    {
        QTest::addColumn<bool>("destroyManager");
        QTest::newRow("a new interrogation replaces it and ends its process") << false;
        QTest::newRow("destroying the manager ends its process") << true;
    }

    void stalledInterrogationLeftBehindEndsQuietly()
    {
        QFETCH(bool, destroyManager);
        ModalAnswerer boxes;
        QScopedPointer<Host> host(new Host);
        host->manager.asyncLocalKivoInit(stallingKivo);
        QCOMPARE(childProcesses().size(), 1);
        if (destroyManager) {
            host.reset();
        } else {
            QVERIFY(host->interrogate(kivoPath, fastModel));
            QCOMPARE(host->initFinished, 1);
            QCOMPARE(host->manager.localKivoPath(), kivoPath);
            QCOMPARE(host->enabled(), QString("r--cm--"));
        }
        QTRY_COMPARE(childProcesses().size(), 0);
        QCOMPARE(boxes.count(), 0);
    }

    void localRunKilledFromOutside_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<bool>("monitored");
        QTest::addColumn<QString>("phase");
        QTest::addColumn<QStringList>("ends");
        const QStringList both {"Aborted (null)", "Unknown (null)"};
        const QStringList runOnly {"Aborted (null)"};
        QTest::newRow("monitored, loading: the run ends Aborted, the connection Unknown")
            << endlessLoadingModel << true << "Loading" << both;
        QTest::newRow("monitored, running: the run ends Aborted, the connection Unknown")
            << longModel << true << "Running" << both;
        QTest::newRow("unmonitored, loading: Aborted")
            << endlessLoadingModel << false << "Loading model" << runOnly;
        QTest::newRow("unmonitored, running: Aborted")
            << longModel << false << "Running '" << runOnly;
    }

    void localRunKilledFromOutside()
    {
        QFETCH(QString, model);
        QFETCH(bool, monitored);
        QFETCH(QString, phase);
        QFETCH(QStringList, ends);
        ModalAnswerer boxes;
        Host host;
        QVERIFY(host.interrogate(kivoPath, model));
        if (monitored)
            host.editOptions(presetOnAFreePort());
        else
            host.editOptions(localRun());
        host.run.trigger();
        QCOMPARE(host.names(0), QStringList {"Running"});

        // Monitored, the phase is the server's report (after the run's own
        // Running); unmonitored, the simulator's log line.
        if (monitored)
            QTRY_VERIFY_WITH_TIMEOUT(host.names(1).contains(phase), 30000);
        else
            QTRY_VERIFY_WITH_TIMEOUT(host.log.contains(phase), 30000);
        QCOMPARE(host.manager.isRemote(), monitored);

        const int before = host.statuses.size();
        QVERIFY(killTheOnlyChild());
        QTRY_VERIFY_WITH_TIMEOUT(!host.manager.active(), 30000);

        // The process's end and the connection's end come in either order.
        QStringList seen = host.names(before, true);
        seen.sort();
        QCOMPARE(seen, ends);
        int processBoxes = 0;
        for (const SeenBox &box : boxes.boxes()) {
            if (box.title == "Error...") {
                ++processBoxes;
                QCOMPARE(box.text, "Error executing Kivo simulation:\n" + processKilled);
            } else {
                // A connection that the kernel reset mid-frame may add one.
                QVERIFY(monitored);
                QCOMPARE(box.title, QString("Communication error..."));
                QVERIFY2(box.text.endsWith(willDisconnect), qPrintable(box.text));
            }
        }
        QCOMPARE(processBoxes, 1);
        QVERIFY(boxes.count() <= (monitored ? 2 : 1));
        QVERIFY(!host.manager.isRemote());
        QCOMPARE(host.enabled(), QString("r--cm--"));
        QTRY_COMPARE(childProcesses().size(), 0);

        runsAgain(host);
    }

    // Killed before its server listens, a run leaves its automatic client
    // retrying on the run's port; the next run listens on that same port.
    void runKilledBeforeItsServerListensThenRunAgain()
    {
        ModalAnswerer boxes;
        Host host;
        QVERIFY(host.interrogate(kivoPath, longModel));
        host.editOptions(presetOnAFreePort());
        host.run.trigger();
        QVERIFY(killTheOnlyChild());
        QTRY_COMPARE_WITH_TIMEOUT(
            host.names(0, true), QStringList({"Running", "Aborted (null)"}), 15000);
        QCOMPARE(boxes.count(), 1);
        QCOMPARE(boxes.last().text, "Error executing Kivo simulation:\n" + processKilled);
        QVERIFY(!host.manager.isRemote());
        QVERIFY(!host.manager.active());
        // Its automatic client went with it: nothing holds the monitor action back.
        QCOMPARE(host.enabled(), QString("r--cm--"));

        host.run.trigger();
        QTRY_VERIFY_WITH_TIMEOUT(host.manager.isRemote(), 15000);
        QCOMPARE(host.enabled(), QString("-ct--sd"));
        // One connection reports the server's statuses, once each.
        QTRY_VERIFY_WITH_TIMEOUT(host.names(2).count("Running") >= 2, 30000);
        host.cancel.trigger();
        QTRY_VERIFY_WITH_TIMEOUT(!host.manager.active(), 30000);
        QCOMPARE(host.names(2).count("Running"), 2);
        QCOMPARE(host.names(2).count("Loading"), 1);
        QCOMPARE(boxes.count(), 1);
        QCOMPARE(host.enabled(), QString("r--cm--"));
    }

    // The question runs its own loop: the run and its connection both end
    // inside it, and the user's Yes then finds nothing left to disconnect.
    void simulatorKilledWhileTheDisconnectQuestionIsOpen()
    {
        ModalAnswerer boxes;
        Host host;
        QVERIFY(host.interrogate(kivoPath, longModel));
        host.editOptions(localRun(true, true));
        host.run.trigger();
        QTRY_VERIFY_WITH_TIMEOUT(listeningPort(host.log), 15000);
        host.connectThroughDialog(listeningPort(host.log));
        QVERIFY(host.manager.isRemote());
        // After the run's own Running, the server's.
        QTRY_VERIFY_WITH_TIMEOUT(host.names(1).contains("Running"), 30000);
        const int before = host.statuses.size();

        bool endedInside = false;
        boxes.queueAction([&](QMessageBox *question) {
            // Once the question runs its loop.
            QTimer::singleShot(0, question, [&, question] {
                endedInside = killTheOnlyChild()
                    && QTest::qWaitFor([&] { return !host.manager.active(); }, 30000);
                question->button(QMessageBox::Yes)->click();
            });
        });
        host.disconnect.trigger();
        QVERIFY(endedInside);
        QCOMPARE(boxes.boxes().first().title, QString("Disconnect requested"));
        QStringList ends = host.names(before, true);
        ends.sort();
        QCOMPARE(ends, QStringList({"Aborted (null)", "Unknown (null)"}));
        QVERIFY(boxes.count() >= 2);
        QCOMPARE(boxes.boxes().at(1).text, "Error executing Kivo simulation:\n" + processKilled);
        QCOMPARE(host.enabled(), QString("r--cm--"));
        runsAgain(host);
    }

    void monitoredServerBreaksOff_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QStringList>("ends");
        QTest::addColumn<QString>("boxText"); // %1 the port; empty: no box

        const QString box = "The server at localhost:%1 closed the connection in the middle of "
                            "a message"
            + willDisconnect;
        QTest::newRow("half a frame, then a clean close: communication error, Unknown")
            << "half+close" << QStringList {"Unknown (null)"} << box;
        QTest::newRow("half a frame, then a reset as from a killed simulator: the same")
            << "half+reset" << QStringList {"Unknown (null)"} << box;
        QTest::newRow("a clean close between frames while running: Unknown without a box")
            << "close" << QStringList {"Unknown (null)"} << QString();
        QTest::newRow("the final status, then a clean close: that status without a box")
            << "canceled+close" << QStringList {"Canceled", "Canceled (null)"} << QString();
        QTest::newRow("terminate, then a clean close without a status: Aborted")
            << "terminate+close" << QStringList {"Aborted (null)"} << QString();
    }

    void monitoredServerBreaksOff()
    {
        QFETCH(QString, fault);
        QFETCH(QStringList, ends);
        QFETCH(QString, boxText);
        ModalAnswerer boxes;
        FaultPeer peer;
        Host host;
        host.connectThroughDialog(peer.port());
        QVERIFY(host.manager.isRemote());
        QCOMPARE(host.names(0, true), QStringList {"Running"});
        QCOMPARE(host.enabled(), QString("-ct--sd"));

        if (fault.startsWith("half"))
            peer.sendHalfAFrame();
        if (fault.startsWith("terminate"))
            host.terminate.trigger();
        if (fault.startsWith("canceled"))
            peer.send(
                KvCommFrameWriter::status(KvCommStatusCanceled, QDateTime::currentDateTime()));
        if (fault.endsWith("reset"))
            peer.reset();
        else
            peer.closeCleanly();

        QTRY_VERIFY_WITH_TIMEOUT(!host.manager.isRemote(), 15000);
        QCOMPARE(host.names(1, true), ends);
        if (boxText.isEmpty()) {
            QCOMPARE(boxes.count(), 0);
        } else {
            QCOMPARE(boxes.count(), 1);
            QCOMPARE(boxes.last().title, QString("Communication error..."));
            QCOMPARE(boxes.last().text, boxText.arg(peer.port()));
        }
        QCOMPARE(host.enabled(), QString("----m--"));
        QVERIFY(!host.manager.active());

        monitorsAHealthyServerAgain(host);
    }

    // The error box and the end of the connection run inside the server info
    // dialog's loop; the client goes away while the dialog is still open.
    void serverBreaksOffWhileTheServerInfoIsOpen()
    {
        ModalAnswerer boxes;
        FaultPeer peer;
        Host host;
        host.connectThroughDialog(peer.port());
        QVERIFY(host.manager.isRemote());
        QString enabledInside;
        bool endedInside = false;
        handleNextModal(
            [&](QWidget *dialog) {
                peer.sendHalfAFrame();
                peer.closeCleanly();
                endedInside = QTest::qWaitFor([&] { return !host.manager.isRemote(); }, 15000);
                enabledInside = host.enabled();
                dialog->close();
            },
            "KvcServerInfoDlg");
        host.serverInfo.trigger();
        QVERIFY(endedInside);
        QCOMPARE(enabledInside, QString("----m--"));
        QCOMPARE(host.names(1, true), QStringList {"Unknown (null)"});
        QCOMPARE(boxes.count(), 1);
        QCOMPARE(boxes.last().title, QString("Communication error..."));
        QCOMPARE(host.enabled(), QString("----m--"));
        monitorsAHealthyServerAgain(host);
    }

    void refusedConnectionThroughTheDialog_data()
    {
        QTest::addColumn<QString>("timeout");
        QTest::addColumn<QString>("message"); // %1 the port
        QTest::newRow("no time limit: one try, refused at once")
            << "0"
            << "Connection refused by localhost:%1";
        QTest::newRow("a time limit: retried until it, then refused")
            << "1"
            << "Connection refused by localhost:%1 (retried for 1 s)";
    }

    void refusedConnectionThroughTheDialog()
    {
        QFETCH(QString, timeout);
        QFETCH(QString, message);
        ModalAnswerer boxes;
        Host host;
        quint16 deadPort = 0; // a port the system handed out, where nothing listens any more
        {
            QTcpServer closed;
            closed.listen(QHostAddress::LocalHost, 0);
            deadPort = closed.serverPort();
        }
        HealthyServer healthy;
        bool failedFirst = false;
        QString enabledMeanwhile;
        handleNextModal(
            [&](QWidget *dialog) {
                auto *connectBtn = dialog->findChild<QPushButton *>("connectBtn");
                dialog->findChild<QComboBox *>("addressCmb")->setEditText("localhost");
                setText(dialog, "portLed", QString::number(deadPort));
                setText(dialog, "timeoutLed", timeout);
                connectBtn->click();
                // The refusal comes back as the dialog's box; the user then
                // corrects the port and tries again in the same dialog.
                failedFirst = QTest::qWaitFor(
                    [&] { return boxes.count() == 1 && connectBtn->isEnabled(); }, 15000);
                enabledMeanwhile = host.enabled();
                setText(dialog, "portLed", QString::number(healthy.port()));
                setText(dialog, "timeoutLed", "5");
                connectBtn->click();
            },
            "KvcMonitorDlg");
        host.monitor.trigger();

        QVERIFY(failedFirst);
        QCOMPARE(boxes.count(), 1);
        QCOMPARE(boxes.last().title, QString("Error..."));
        QCOMPARE(boxes.last().text, message.arg(deadPort));
        QVERIFY(boxes.last().hasParent);
        QCOMPARE(enabledMeanwhile, QString("----m--"));
        // The failed attempt reached the manager not at all; the second did.
        monitorsThenDisconnects(host, 0);
    }
};

QTEST_MAIN(KvcActionManagerFaultsTest)
#include "tst_kvcactionmanagerfaults.moc"
