#include "studiowindow.h"

#include "kvcluafilewidget.h"
#include "kvcommclientdata.h"
#include "kvcprogressestimate.h"
#include "kvcresultsdata.h"
#include "kvcresultswidget.h"
#include "kvcversion.h"
#include "qtmessagebox.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QStyle>
#include <QSystemTrayIcon>
#include <QTime>

namespace {

QStyle::StandardPixmap statusIcon(KvcActionManager::ExecutionStatus status)
{
    switch (status) {
    case KvcActionManager::Loading:
        return QStyle::SP_BrowserReload;
    case KvcActionManager::Running:
        return QStyle::SP_MediaPlay;
    case KvcActionManager::Finished:
        return QStyle::SP_DialogApplyButton;
    case KvcActionManager::Canceled:
        return QStyle::SP_MediaStop;
    case KvcActionManager::Aborted:
        return QStyle::SP_MessageBoxCritical;
    case KvcActionManager::Disconnected:
        return QStyle::SP_MessageBoxWarning;
    default:
        return QStyle::SP_MessageBoxQuestion;
    }
}

} // namespace

StudioWindow::StudioWindow(QWidget *parent)
    : QMainWindow(parent)
{
    setupUi(this);
    setUpActions();
    actMgr = new KvcActionManager(actionRun, actionCancel, actionTerminate, actionConfigure,
        actionMonitor, actionServerInfo, actionDisconnect);
    connect(actMgr, &KvcActionManager::executionStatusChanged, this, &StudioWindow::statusChanged);
    connect(actMgr, &KvcActionManager::localKivoInitFinished, this, &StudioWindow::simulatorReady);
    connect(actionOpenModel, &QAction::triggered, this, &StudioWindow::chooseModel);
    connect(actionQuit, &QAction::triggered, this, &QWidget::close);
    connect(actMgr, &KvcActionManager::readyToClose, this, &QWidget::close);
    connect(actionAbout, &QAction::triggered, this, &StudioWindow::showAbout);
    runFileMenu = new RunFileMenu(this, menuFile, actionQuit, tabs);
    connect(tabs, &QTabWidget::tabCloseRequested, this, [this](int index) {
        QWidget *page = tabs->widget(index);
        // The model tab stays; a results tab of a running execution too.
        if (page == modelView || (page == latestResultsView && executionOpen))
            return;
        tabs->removeTab(index);
        page->deleteLater();
    });
    connect(tabs, &QTabWidget::currentChanged, this, [this](int) {
        auto *view = qobject_cast<KvcResultsWidget *>(tabs->currentWidget());
        graphicsLst->showGraphics(view ? view->resultData().data() : nullptr);
    });
    statusBar()->showMessage(tr("Looking for the simulator..."));
}

StudioWindow::~StudioWindow()
{
    // Results views follow the manager: they go first.
    while (tabs->count() > 0) {
        QWidget *page = tabs->widget(0);
        tabs->removeTab(0);
        delete page;
    }
    delete actMgr;
}

void StudioWindow::closeEvent(QCloseEvent *event)
{
    if (actMgr->prepareClose(this)) {
        event->accept();
        return;
    }
    event->ignore();
    if (actMgr->isStoppingForClose())
        statusBar()->showMessage(
            tr("Stopping the simulation; the window closes once it has ended..."));
}

void StudioWindow::changeEvent(QEvent *event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow() && tray)
        tray->hide();
}

void StudioWindow::setUpActions()
{
    const struct {
        QAction *action;
        QStyle::StandardPixmap icon;
    } icons[] = {{actionOpenModel, QStyle::SP_DialogOpenButton}, {actionRun, QStyle::SP_MediaPlay},
        {actionCancel, QStyle::SP_MediaStop}, {actionTerminate, QStyle::SP_BrowserStop},
        {actionConfigure, QStyle::SP_FileDialogDetailedView},
        {actionMonitor, QStyle::SP_ComputerIcon},
        {actionServerInfo, QStyle::SP_MessageBoxInformation},
        {actionDisconnect, QStyle::SP_DialogCloseButton},
        {actionAbout, QStyle::SP_TitleBarContextHelpButton}};
    for (const auto &entry : icons)
        entry.action->setIcon(style()->standardIcon(entry.icon));
}

void StudioWindow::initSimulator(const QString &kivoPath) { actMgr->asyncLocalKivoInit(kivoPath); }

void StudioWindow::simulatorReady()
{
    if (actMgr->canExecLocalKivo())
        statusBar()->showMessage(
            tr("Kivo %1 (revision %2), default configuration %3")
                .arg(actMgr->localKivoVersionString(), actMgr->localKivoRevisionString(),
                    QDir::toNativeSeparators(actMgr->localKivoDefConfigFile())));
    else
        statusBar()->showMessage(
            tr("No usable simulator at %1: only remote monitoring is available")
                .arg(QDir::toNativeSeparators(actMgr->localKivoPath())));
}

void StudioWindow::openModel(const QString &file)
{
    modelFile = file;
    if (modelView) {
        tabs->removeTab(tabs->indexOf(modelView));
        delete modelView;
    }
    modelView = new KvcLuaFileWidget(file);
    tabs->insertTab(0, modelView, QFileInfo(file).fileName());
    tabs->setCurrentIndex(0);
    actMgr->setLocalKivoModelFile(file);
    setWindowTitle(tr("%1 - Kivo Studio").arg(QFileInfo(file).fileName()));
}

void StudioWindow::chooseModel()
{
    const QString file = QFileDialog::getOpenFileName(this, tr("Open a Kivo model"),
        QFileInfo(modelFile).path(), tr("Kivo models (*.lua);;All files (*)"));
    if (!file.isEmpty())
        openModel(file);
}

void StudioWindow::statusChanged(
    KvcActionManager::ExecutionStatus status, QSharedPointer<KvcResultsData> &data)
{
    const bool ongoing = status == KvcActionManager::Loading || status == KvcActionManager::Running;
    if (ongoing && !executionOpen) {
        // A new execution: its own tab, kept as a record after the end. An
        // unmonitored run has no data of its own; give it an empty record so
        // that its log is shown all the same.
        executionOpen = true;
        latestData = data ? data : QSharedPointer<KvcResultsData>(new KvcResultsData);
        latestResultsView = new KvcResultsWidget(actMgr, status, latestData, tabs);
        ++executions;
        runClock.start();
        runStarted = QTime::currentTime().toString(QStringLiteral("hh:mm:ss"));
        // Before its client connects, a local run is the model opened here.
        runModel = actMgr->isRemote() ? tr("Remote run") : QFileInfo(modelFile).fileName();
        tabs->setCurrentIndex(tabs->addTab(latestResultsView, QString()));
        nameRunTab();
        KvcResultsData *shown = latestData.data();
        connect(shown, &KvcResultsData::simulationInfoAvailable, this, [this, shown] {
            if (latestData.data() == shown)
                nameRunTab();
        });
        connect(shown, &KvcResultsData::simulationRuleDataAvailable, this, [this, shown] {
            if (latestData.data() == shown)
                graphicsLst->showGraphics(shown);
        });
        graphicsLst->showGraphics(shown);
    }
    // A canceled run's process still ends as finished afterwards: the first
    // of Finished, Canceled and Aborted is how the run ended.
    const bool decided = runStatus == KvcActionManager::Finished
        || runStatus == KvcActionManager::Canceled || runStatus == KvcActionManager::Aborted;
    if ((executionOpen && ongoing) || (!ongoing && !decided)) {
        runStatus = status;
        showRunStatus(status);
    }
    if (!ongoing && executionOpen && !actMgr->active()) {
        executionOpen = false;
        if (!isActiveWindow())
            notifyRunEnded(runStatus);
        emit executionEnded(status);
    }
}

void StudioWindow::nameRunTab()
{
    const QSharedPointer<KvCommClientData> store
        = latestData ? latestData->simulationData() : nullptr;
    if (store && !store->simFiles().isEmpty())
        runModel = QFileInfo(store->simFiles().constFirst()).fileName();
    else if (store && !store->simName().isEmpty())
        runModel = store->simName();
    const int index = tabs->indexOf(latestResultsView);
    if (index >= 0)
        tabs->setTabText(index, QStringLiteral("%1 — %2").arg(runModel, runStarted));
}

void StudioWindow::showRunStatus(KvcActionManager::ExecutionStatus status)
{
    const int index = tabs->indexOf(latestResultsView);
    if (index < 0)
        return;
    tabs->setTabIcon(index, style()->standardIcon(statusIcon(status)));
    tabs->setTabToolTip(index, KvcActionManager::execStatusStr(status));
}

void StudioWindow::notifyRunEnded(KvcActionManager::ExecutionStatus status)
{
    const QString title = tr("Kivo Studio: a run has ended");
    const QString text = tr("%1: %2 after %3")
                             .arg(runModel, KvcActionManager::execStatusStr(status),
                                 KvcProgressEstimate::durationText(runClock.elapsed() / 1000.0));
    QApplication::alert(this);
    if (QSystemTrayIcon::isSystemTrayAvailable() && QSystemTrayIcon::supportsMessages()) {
        if (!tray)
            tray = new QSystemTrayIcon(style()->standardIcon(QStyle::SP_ComputerIcon), this);
        tray->setToolTip(title);
        tray->show();
        tray->showMessage(title, text, QSystemTrayIcon::Information, 10000);
    }
    emit runEndNotified(title, text);
}

void StudioWindow::showAbout()
{
    const QStringList &info = KvcClientLibVersionInfo();
    const QStringList &deps = KvcClientLibRevisionDependencies();
    QString text
        = tr("<h3>Kivo Studio</h3><p>A host of %1 %2 (%3), revision %4, built %5.</p>")
              .arg(info.value(5), info.value(0), info.value(1), info.value(4), info.value(3));
    text += tr("<p>Built against:</p><ul>");
    for (int i = 0; i + 1 < deps.size(); i += 2)
        text += QStringLiteral("<li>%1, revision %2</li>").arg(deps[i], deps[i + 1]);
    text += QStringLiteral("</ul>");
    if (actMgr->canExecLocalKivo())
        text += tr("<p>Simulator: Kivo %1, revision %2</p>")
                    .arg(actMgr->localKivoVersionString(), actMgr->localKivoRevisionString());
    QtMessageBox::information(this, tr("About Kivo Studio"), text);
}
