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
/// - Destroying the manager during a local run ends the simulator process
///   (the runner terminates it) and the connection, without message boxes and
///   without further signals.
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

signals:
    void localKivoInitFinished();
    void executionStatusChanged(
        KvcActionManager::ExecutionStatus status, QSharedPointer<KvcResultsData> &remoteResultData);
    void logDataReceived(int level, const QString &msg);

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
};
