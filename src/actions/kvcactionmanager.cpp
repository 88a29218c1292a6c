#include "kvcactionmanager.h"

#include "kvcmonitordlg.h"
#include "kvcommclient.h"
#include "kvcoptionsdlg.h"
#include "kvcserverinfodlg.h"
#include "qtmessagebox.h"
#include "qtoptionalmessagebox.h"

#include <QAction>
#include <QCoreApplication>
#include <QFileInfo>
#include <QPushButton>
#include <QTimer>

KvcActionManager::KvcActionManager(QAction *runAction, QAction *cancelAction,
    QAction *terminateAction, QAction *configAction, QAction *monitorAction,
    QAction *serverInfoAction, QAction *disconnectAction)
    : QObject(nullptr)
{
    // A fresh manager monitors its local runs until the user says otherwise.
    options.enableAutoMonitorOptions();

    this->runAction = runAction;
    this->cancelAction = cancelAction;
    this->terminateAction = terminateAction;
    this->configAction = configAction;
    this->monitorAction = monitorAction;
    this->serverInfoAction = serverInfoAction;
    this->disconnectAction = disconnectAction;

    enableActions();

    connect(runAction, &QAction::triggered, this, &KvcActionManager::runRequested);
    if (cancelAction)
        connect(cancelAction, &QAction::triggered, this, &KvcActionManager::cancelRequested);
    if (terminateAction)
        connect(terminateAction, &QAction::triggered, this, &KvcActionManager::terminateRequested);
    if (configAction)
        connect(configAction, &QAction::triggered, this, &KvcActionManager::configRequested);
    if (monitorAction)
        connect(monitorAction, &QAction::triggered, this, &KvcActionManager::monitorRequested);
    if (serverInfoAction)
        connect(
            serverInfoAction, &QAction::triggered, this, &KvcActionManager::serverInfoRequested);
    if (disconnectAction)
        connect(
            disconnectAction, &QAction::triggered, this, &KvcActionManager::disconnectRequested);
}

KvcActionManager::~KvcActionManager()
{
    // Nothing may reach this half-destroyed object: the clients' destructors
    // end their connections, the runner's destructor ends its process. The
    // connections go first, so that a simulator flushing to a client that
    // nobody reads any more is not kept from stopping.
    if (pendingAutoClient) {
        pendingAutoClient->disconnect(this);
        delete pendingAutoClient;
    }
    if (client) {
        client->disconnect(this);
        delete client;
    }
    if (executer) {
        executer->disconnect(this);
        delete executer;
    }
    resultData.reset();
}

bool KvcActionManager::runnerBusy() const { return executer && executer->process; }

bool KvcActionManager::localRunUnderWay() const { return canExecLocalKivo() && runnerBusy(); }

bool KvcActionManager::runAllowed() const
{
    return canExecLocalKivo() && !modelFile.isEmpty() && !localRunUnderWay() && !client;
}

bool KvcActionManager::active() const { return client || runnerBusy(); }

bool KvcActionManager::isRemote() const { return client; }

bool KvcActionManager::canExecLocalKivo() const { return executer && executer->initialized; }

void KvcActionManager::asyncLocalKivoInit(QString path)
{
    if (path.isEmpty())
        path = QCoreApplication::applicationDirPath() + QLatin1String("/kivo")
            + QLatin1String(".exe");
    if (executer) {
        // A host may ask again from within localKivoInitFinished(), while the
        // old runner's signal is still on the stack.
        executer->disconnect(this);
        executer->deleteLater();
    }
    executer = new KvcExecuter;
    connect(executer, SIGNAL(asyncOpFinished(KvcExecuter::AsyncOpType, bool, QString)), this,
        SLOT(localKivoOpFinished(KvcExecuter::AsyncOpType, bool, QString)));
    executer->asyncInit(path);
}

void KvcActionManager::setLocalKivoModelFile(QString file)
{
    modelFile = file;
    enableActions();
}

QString KvcActionManager::localKivoPath() const { return executer ? executer->exePath : QString(); }

QString KvcActionManager::localKivoVersionString() const
{
    return canExecLocalKivo() ? executer->versionString : QString();
}

QString KvcActionManager::localKivoRevisionString() const
{
    return canExecLocalKivo() ? executer->revisionString : QString();
}

QString KvcActionManager::localKivoDefConfigFile() const
{
    return executer ? executer->defConfigFile : QString();
}

QStringList KvcActionManager::localKivoInfoString() const
{
    return canExecLocalKivo() ? executer->infoLines : QStringList();
}

QString KvcActionManager::currentSimVersionString() const
{
    if (client)
        return client->version();
    return runnerBusy() ? executer->versionString : QString();
}

QString KvcActionManager::currentSimRevisionString() const
{
    if (client)
        return client->revision();
    return runnerBusy() ? executer->revisionString : QString();
}

QDateTime KvcActionManager::currentSimLoadingTime() const
{
    if (client)
        return client->clientData()->simLoadingTime();
    return runnerBusy() ? executer->startTime : QDateTime();
}

QDateTime KvcActionManager::currentSimRunningTime() const
{
    if (client)
        return client->clientData()->simRunningTime();
    return QDateTime();
}

bool KvcActionManager::prepareClose(QWidget *parent)
{
    if (stoppingForClose)
        return false;
    if (!localRunUnderWay())
        return true;
    QMessageBox box(QMessageBox::Question, tr("Simulation running"),
        tr("The simulation of %1 is still running.\nStop it and close?")
            .arg(QFileInfo(executer->modelFile).fileName()),
        QMessageBox::Yes | QMessageBox::Cancel, parent);
    box.button(QMessageBox::Yes)->setText(tr("Stop"));
    box.setDefaultButton(QMessageBox::Cancel);
    const bool stop = QtMessageBox::exec(box) == QMessageBox::Yes;
    // The run may have ended while the question was open.
    if (!stop || !localRunUnderWay())
        return stop;
    stopForClose();
    return false;
}

bool KvcActionManager::isStoppingForClose() const { return stoppingForClose; }

void KvcActionManager::stopForClose()
{
    stoppingForClose = true;
    emit logDataReceived(-1, tr("Stopping the simulation before closing...\n"));
    if (client && (client->controlOptions() & KvCommControlTerminate)) {
        pendingStatus = Aborted;
        client->sendControlRequest(KvCommControlTerminate);
    } else {
        executer->terminate();
    }
    QTimer::singleShot(kStopGraceMs, this, [this] {
        if (!stoppingForClose || !localRunUnderWay())
            return;
        emit logDataReceived(-1,
            tr("The simulation did not stop within %1 seconds; it is killed.\n")
                .arg(kStopGraceMs / 1000));
        executer->kill();
    });
}

QString KvcActionManager::execStatusStr(ExecutionStatus status)
{
    static const char *const names[] = {QT_TRANSLATE_NOOP("QObject", "Loading"),
        QT_TRANSLATE_NOOP("QObject", "Running"), QT_TRANSLATE_NOOP("QObject", "Disconnected"),
        QT_TRANSLATE_NOOP("QObject", "Finished"), QT_TRANSLATE_NOOP("QObject", "Canceled"),
        QT_TRANSLATE_NOOP("QObject", "Aborted"), QT_TRANSLATE_NOOP("QObject", "Unknown")};
    const int index = int(status);
    if (index < 0 || index >= int(sizeof(names) / sizeof(names[0])))
        return QObject::tr(names[Unknown]);
    return QObject::tr(names[index]);
}

void KvcActionManager::enableActions()
{
    const bool connected = client;
    const quint32 control = connected ? client->controlOptions() : 0;
    const bool run = runAllowed();
    runAction->setEnabled(run);
    if (cancelAction)
        cancelAction->setEnabled(connected && (control & KvCommControlCancel));
    if (terminateAction)
        terminateAction->setEnabled(
            localRunUnderWay() || (connected && (control & KvCommControlTerminate)));
    if (configAction)
        configAction->setEnabled(run);
    if (monitorAction)
        monitorAction->setEnabled(!connected && !pendingAutoClient);
    if (serverInfoAction)
        serverInfoAction->setEnabled(connected);
    if (disconnectAction)
        disconnectAction->setEnabled(connected);
}

KvcActionManager::ExecutionStatus KvcActionManager::translateStatus(int status) const
{
    switch (status) {
    case KvCommStatusLoading:
        return Loading;
    case KvCommStatusRunning:
        return Running;
    case KvCommStatusFinished:
        return Finished;
    case KvCommStatusCanceled:
        return Canceled;
    case KvCommStatusAborted:
        return Aborted;
    default:
        return Unknown;
    }
}

QString KvcActionManager::projectPath() const { return QFileInfo(modelFile).path(); }

void KvcActionManager::localKivoOpFinished(KvcExecuter::AsyncOpType op, bool ok, QString err)
{
    if (op == KvcExecuter::RunOp && pendingAutoClient) {
        // Still trying to reach a run that has ended, it could only reach
        // whatever listens on that port next, such as the next run's server.
        // Dropped before the box and the status, during which a host may
        // start that next run.
        pendingAutoClient->disconnect(this);
        pendingAutoClient->deleteLater();
        pendingAutoClient = nullptr;
    }
    if (!ok) {
        const QString what = op == KvcExecuter::InitOp ? tr("Error configuring Kivo environment")
                                                       : tr("Error executing Kivo simulation");
        QtMessageBox::critical(nullptr, tr("Error..."), QStringLiteral("%1:\n%2").arg(what, err));
    }
    resultData.reset();
    if (op == KvcExecuter::InitOp) {
        emit localKivoInitFinished();
    } else {
        const ExecutionStatus status = ok && executer->exitCode == 0 ? Finished : Aborted;
        emit executionStatusChanged(status, resultData);
        disconnect(executer, SIGNAL(logMessage(int, const QString &)), nullptr, nullptr);
        if (stoppingForClose) {
            stoppingForClose = false;
            // Queued, so that the host may close, and delete this manager,
            // outside the runner's signal.
            QTimer::singleShot(0, this, [this] { emit readyToClose(); });
        }
    }
    enableActions();
}

void KvcActionManager::runRequested()
{
    if (!runAllowed())
        return;
    connect(executer, SIGNAL(logMessage(int, const QString &)), this,
        SIGNAL(logDataReceived(int, const QString &)));
    executer->modelFile = modelFile;
    executer->options = options;
    if (!executer->asyncRun(true))
        return;
    if (options.autoMonitor)
        resultData = QSharedPointer<KvcResultsData>(new KvcResultsData);
    emit executionStatusChanged(Running, resultData);
    enableActions();
    if (options.autoMonitor)
        startAutoMonitoring();
}

void KvcActionManager::startAutoMonitoring()
{
    auto *pending = new KvCommClient(nullptr);
    pendingAutoClient = pending;
    connect(pending, &KvCommClient::serverConnected, this, [this, pending] {
        pending->disconnect(this);
        if (pendingAutoClient == pending)
            pendingAutoClient = nullptr;
        serverConnected(pending);
        enableActions();
    });
    connect(pending, &KvCommClient::serverError, this, [this, pending](const QString &msg) {
        pending->disconnect(this);
        if (pendingAutoClient == pending)
            pendingAutoClient = nullptr;
        pending->deleteLater();
        // The monitor action was held back while this client connected.
        enableActions();
        QtMessageBox::critical(nullptr, tr("Error..."), msg);
    });
    pending->connectToServer(
        QStringLiteral("localhost"), quint16(options.localPort & 0xFFFF), 5000);
    enableActions();
}

void KvcActionManager::serverConnected(KvCommClient *client)
{
    if (!client)
        return;
    this->client = client;
    if (!resultData)
        resultData = QSharedPointer<KvcResultsData>(new KvcResultsData);
    resultData->setSimulationData(client->clientData());

    if (!(runnerBusy() && client->simulationStatus() == KvCommStatusNone))
        emit executionStatusChanged(translateStatus(client->simulationStatus()), resultData);

    connect(client, SIGNAL(serverDisconnected()), this, SLOT(serverDisconnected()));
    connect(client, SIGNAL(serverError(QString)), this, SLOT(serverError(QString)));
    connect(client, SIGNAL(logDataReceived(int, const QString &)), this,
        SIGNAL(logDataReceived(int, const QString &)));
    connect(client, &KvCommClient::simulationStatusChanged, this,
        &KvcActionManager::serverSimStatusChanged);

    // From now on the server's log replaces the process's output, so that no
    // line is shown twice.
    if ((client->controlOptions() & KvCommControlLog) && runnerBusy())
        executer->stopReadingOutput();
}

void KvcActionManager::serverSimStatusChanged(int status, QDateTime)
{
    emit executionStatusChanged(translateStatus(status), resultData);
}

void KvcActionManager::serverError(QString msg)
{
    QtMessageBox::critical(
        nullptr, tr("Communication error..."), tr("%1\nThe server will be disconnected").arg(msg));
    if (client) {
        pendingStatus = Unknown;
        client->disconnectFromServer();
    }
}

void KvcActionManager::serverDisconnected()
{
    if (!client)
        return;
    if (pendingStatus == -1) {
        switch (client->simulationStatus()) {
        case KvCommStatusFinished:
            pendingStatus = Finished;
            break;
        case KvCommStatusCanceled:
            pendingStatus = Canceled;
            break;
        case KvCommStatusAborted:
            pendingStatus = Aborted;
            break;
        default:
            pendingStatus = Unknown;
        }
    }
    client->disconnect(this);
    client->deleteLater();
    client = nullptr;
    resultData.reset();
    // A user who left a local run lets the run report its own end.
    if (!(pendingStatus == Disconnected && runnerBusy()))
        emit executionStatusChanged(ExecutionStatus(pendingStatus), resultData);
    pendingStatus = -1;
    enableActions();
}

void KvcActionManager::disconnectRequested()
{
    if (!client)
        return;
    if (runnerBusy() && (client->controlOptions() & KvCommControlLog)) {
        const QMessageBox::StandardButton answer = QtOptionalMessageBox::question(nullptr,
            QStringLiteral("ACTMANAGER_DISCONNECT"), tr("Disconnect requested"),
            tr("Disconnecting from the simulation will prevent receiving additional log "
               "messages.\nDo you want to continue?"),
            QMessageBox::Yes | QMessageBox::No, QMessageBox::No, QMessageBox::No);
        if (answer == QMessageBox::No)
            return;
        // The connection may have ended while the question was open.
        if (!client)
            return;
    }
    pendingStatus = Disconnected;
    client->disconnectFromServer();
}

void KvcActionManager::cancelRequested()
{
    if (client)
        client->sendControlRequest(KvCommControlCancel);
}

void KvcActionManager::terminateRequested()
{
    if (client) {
        pendingStatus = Aborted;
        client->sendControlRequest(KvCommControlTerminate);
    } else if (executer) {
        executer->kill();
    }
}

void KvcActionManager::configRequested()
{
    if (!runAllowed())
        return;
    KvcOptionsDlg dialog(&options, projectPath());
    dialog.exec();
}

void KvcActionManager::monitorRequested()
{
    if (client || pendingAutoClient)
        return;
    KvcMonitorDlg dialog(QStringLiteral("server_list"), projectPath(), 5);
    connect(
        &dialog, SIGNAL(connected(KvCommClient *)), this, SLOT(serverConnected(KvCommClient *)));
    dialog.exec();
    if (!client)
        return;
    enableActions();
    if (dialog.showServerInfo())
        serverInfoRequested();
}

void KvcActionManager::serverInfoRequested()
{
    if (!client)
        return;
    KvcServerInfoDlg dialog(client);
    dialog.exec();
}
