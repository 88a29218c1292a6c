#pragma once

#include "kvcexecuter.h"
#include "kvcexport.h"
#include "kvcoptions.h"
#include "kvcresultsdata.h"

#include <QDateTime>
#include <QObject>
#include <QSharedPointer>
#include <QStringList>

class KvCommClient;
class QAction;

/// The one object through which a host drives simulations. The host hands
/// over its seven actions (only the run action is required; the others may
/// be null); from then on the manager sets their enabled states, reacts to
/// their triggers, runs the simulator locally, monitors local and remote
/// simulations, and reports through three signals:
/// - localKivoInitFinished(): once at the end of every interrogation of the
///   local executable, successful or not (then ask canExecLocalKivo());
/// - executionStatusChanged(status, data): at every status change of an
///   execution; `data` is the manager's own results data at that moment (null
///   after an end): copy the pointer to keep it;
/// - logDataReceived(level, text): the local process's output (level -1) and,
///   while connected, the monitoring server's log messages (levels 0..7).
///
/// Failures are shown in modal critical boxes titled "Error..." (or
/// "Communication error..."), after which every action is usable again.
///
/// Decided here where the behaviour is otherwise open:
/// - While the automatic monitoring client of a local run is still
///   connecting, that pending connection counts as a connection for the
///   monitor action, which stays disabled, so two clients never compete.
/// - A local run that ends while its automatic monitoring client is still
///   connecting takes that client with it, without a box: the client could
///   only reach whatever listens on the port afterwards.
/// - A host that triggers a disabled action itself (QAction::trigger ignores
///   the enabled state) gets nothing done and nothing broken: every slot
///   checks its own precondition. Terminate keeps its rule: it asks a
///   connected server, or else kills whatever process the runner holds, an
///   interrogation that never ends included.
/// - Destroying the manager during a local run ends the connection, then the
///   simulator process (the runner asks it to stop and kills it only if it
///   has not stopped 5 s later, without blocking the GUI), without message
///   boxes and without further signals. A host that wants the user asked
///   first calls prepareClose() when it is about to close.
class KVC_EXPORT KvcActionManager : public QObject
{
    Q_OBJECT

public:
    enum ExecutionStatus { Loading, Running, Disconnected, Finished, Canceled, Aborted, Unknown };
    Q_ENUM(ExecutionStatus)

    KvcActionManager(QAction *runAction, QAction *cancelAction, QAction *terminateAction,
        QAction *configAction, QAction *monitorAction, QAction *serverInfoAction,
        QAction *disconnectAction);
    ~KvcActionManager() override;

    /// Connected, or the runner holds a process (the interrogation counts too).
    bool active() const;
    bool isRemote() const;
    bool canExecLocalKivo() const;

    /// Interrogates the executable at `path` (empty: "kivo.exe" in the
    /// application's directory). A missing executable is reported before this
    /// returns.
    void asyncLocalKivoInit(QString path);
    void setLocalKivoModelFile(QString file);

    QString localKivoPath() const;
    QString localKivoVersionString() const;
    QString localKivoRevisionString() const;
    QString localKivoDefConfigFile() const;
    QStringList localKivoInfoString() const;
    QString currentSimVersionString() const;
    QString currentSimRevisionString() const;
    QDateTime currentSimLoadingTime() const;
    QDateTime currentSimRunningTime() const;

    static QString execStatusStr(ExecutionStatus status);

    /// For a host that is about to close (from its closeEvent): true when it
    /// may close now. A local run still under way would otherwise be killed
    /// with the host and could leave its output files half written, so the
    /// user is asked first whether to stop it (Stop / Cancel, Cancel by
    /// default; the question names the model). Stop ends the run as the
    /// terminate action does, but gently: a terminate request when its server
    /// is connected and accepts one, else SIGTERM; the simulator then ends its
    /// step and exits with its own "terminated" code. The call returns false
    /// at once and readyToClose() follows, from the event loop, once the
    /// process has ended; a run still going kStopGraceMs later is killed, and
    /// the log says so. Cancel returns false and changes nothing; so does a
    /// call while a stop is under way. Monitoring a remote simulation or
    /// interrogating the executable needs no question: closing leaves the
    /// remote run going and ends the interrogation.
    bool prepareClose(QWidget *parent = nullptr);
    /// True from the user's Stop until the process has ended.
    bool isStoppingForClose() const;

    static constexpr int kStopGraceMs = 10000;

signals:
    void localKivoInitFinished();
    void executionStatusChanged(
        KvcActionManager::ExecutionStatus status, QSharedPointer<KvcResultsData> &remoteResultData);
    void logDataReceived(int level, const QString &msg);
    /// The run that prepareClose() stopped has ended; the host may close now.
    void readyToClose();

private slots:
    void localKivoOpFinished(KvcExecuter::AsyncOpType op, bool ok, QString err);
    void serverConnected(KvCommClient *client);
    void serverDisconnected();
    void serverError(QString msg);
    void serverSimStatusChanged(int status, QDateTime time);
    void runRequested();
    void cancelRequested();
    void terminateRequested();
    void configRequested();
    void monitorRequested();
    void serverInfoRequested();
    void disconnectRequested();

private:
    void enableActions();
    ExecutionStatus translateStatus(int status) const;
    QString projectPath() const;
    bool runnerBusy() const;
    bool localRunUnderWay() const;
    bool runAllowed() const;
    void startAutoMonitoring();
    void stopForClose();

    KvcExecuter *executer = nullptr;
    QString modelFile;
    KvcOptions options;
    KvCommClient *client = nullptr;
    int pendingStatus = -1;
    QSharedPointer<KvcResultsData> resultData;
    QAction *runAction = nullptr;
    QAction *cancelAction = nullptr;
    QAction *terminateAction = nullptr;
    QAction *configAction = nullptr;
    QAction *monitorAction = nullptr;
    QAction *serverInfoAction = nullptr;
    QAction *disconnectAction = nullptr;
    // The automatic monitoring client while it connects; not yet `client`.
    KvCommClient *pendingAutoClient = nullptr;
    bool stoppingForClose = false;
};
