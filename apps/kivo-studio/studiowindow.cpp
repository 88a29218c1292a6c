#include "studiowindow.h"

#include "kvcluafilewidget.h"
#include "kvcommclientdata.h"
#include "kvcprogressestimate.h"
#include "kvcresultsdata.h"
#include "kvcresultswidget.h"
#include "kvcversion.h"
#include "qtmessagebox.h"

#include <QApplication>
#include <QBoxLayout>
#include <QChartView>
#include <QCloseEvent>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QRegularExpression>
#include <QScreen>
#include <QSettings>
#include <QSplitter>
#include <QStyle>
#include <QSystemTrayIcon>
#include <QTabBar>
#include <QTableWidget>
#include <QTime>
#include <QTimer>

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

const char geometryKey[] = "window_geometry";
const char stateKey[] = "window_state";
const char splittersGroup[] = "results_splitters";
const char lastModelKey[] = "last_model";
const char recentModelsKey[] = "recent_models";
const char logLevelKey[] = "log_filter";
const char logGraphicsKey[] = "logarithmic_graphics";
// Tells a results view whose splitters have been given their remembered sizes.
const char splittersRestored[] = "kvcSplittersRestored";

// Where the simulator's error line starts, in its output.
bool isErrorLine(const QString &line)
{
    return line.startsWith(QLatin1String("kivo: error: "))
        || line.startsWith(QLatin1String("[ERROR] "));
}

// The server's log level of errors.
constexpr int errorLevel = 5;

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
    connect(actionShortcuts, &QAction::triggered, this, &StudioWindow::showShortcuts);
    connect(actMgr, &KvcActionManager::logDataReceived, this, &StudioWindow::noteLogLine);

    // Recent models right below "Open model...".
    recentModelsMenu = new QMenu(tr("Recent &models"), menuFile);
    recentModelsMenu->setObjectName(QStringLiteral("menuRecentModels"));
    menuFile->insertMenu(menuFile->actions().value(1), recentModelsMenu);
    connect(recentModelsMenu, &QMenu::aboutToShow, this, &StudioWindow::fillRecentModels);
    runFileMenu = new RunFileMenu(this, menuFile, actionQuit, tabs);

    // A closed panel or toolbar comes back from here, not only from a
    // right-click on what is left of them.
    QAction *showGraphics = graphicsDock->toggleViewAction();
    showGraphics->setObjectName(QStringLiteral("actionShowGraphics"));
    showGraphics->setText(tr("&Graphics panel"));
    showGraphics->setShortcut(Qt::CTRL + Qt::SHIFT + Qt::Key_G);
    QAction *showToolBar = simulationToolBar->toggleViewAction();
    showToolBar->setObjectName(QStringLiteral("actionShowToolBar"));
    showToolBar->setText(tr("&Toolbar"));
    menuView->addAction(showGraphics);
    menuView->addAction(showToolBar);

    graphicsFilterLed->hide();
    connect(graphicsFilterLed, &QLineEdit::textChanged, graphicsLst, &GraphicsList::setFilterText);
    connect(graphicsLst, &GraphicsList::graphicChosen, this, &StudioWindow::showGraphicLarge);

    connect(tabs, &QTabWidget::tabCloseRequested, this, [this](int index) {
        QWidget *page = tabs->widget(index);
        // The model tab stays; a results tab of a running execution too.
        if (page == modelView)
            return;
        if (page == latestResultsView && executionOpen) {
            statusBar()->showMessage(runningTabTip(), 5000);
            return;
        }
        tabs->removeTab(index);
        page->deleteLater();
    });
    connect(tabs, &QTabWidget::currentChanged, this, [this](int) {
        auto *view = qobject_cast<KvcResultsWidget *>(tabs->currentWidget());
        showGraphicsOf(view ? view->resultData().data() : nullptr);
        if (view)
            restoreSplitters(view);
        updateCloseButtons();
    });
    statusBar()->showMessage(tr("Looking for the simulator..."));
    restoreSettings();
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
        saveSettings();
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
    updateCloseButtons();
    rememberModel(file);
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
        KvcResultsWidget *view = latestResultsView;
        connect(shown, &KvcResultsData::simulationRuleDataAvailable, this, [this, shown, view] {
            applyLogarithmicGraphics(view);
            if (latestData.data() == shown && tabs->currentWidget() == latestResultsView)
                showGraphicsOf(shown);
        });
        showGraphicsOf(shown);
        runError.clear();
        outputTail.clear();
        updateCloseButtons();
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
        updateCloseButtons();
        noteLogLine(-1, QStringLiteral("\n")); // a last line without its line feed
        if (runStatus == KvcActionManager::Aborted && !runError.isEmpty())
            showRunError();
        else
            statusBar()->showMessage(runEndText(runStatus));
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
    const QString text = runEndText(status);
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
    else
        text += tr("<p>Simulator: none usable at %1</p>")
                    .arg(QDir::toNativeSeparators(actMgr->localKivoPath()).toHtmlEscaped());
    QtMessageBox::information(this, tr("About Kivo Studio"), text);
}

QString StudioWindow::runEndText(KvcActionManager::ExecutionStatus status) const
{
    return tr("%1: %2 after %3")
        .arg(runModel, KvcActionManager::execStatusStr(status),
            KvcProgressEstimate::durationText(runClock.elapsed() / 1000.0));
}

QString StudioWindow::runningTabTip()
{
    return tr("This run is still going: cancel or terminate it before closing its tab");
}

void StudioWindow::showGraphicsOf(const KvcResultsData *data)
{
    graphicsLst->showGraphics(data);
    graphicsFilterLed->setVisible(graphicsLst->count() >= GraphicsList::FilterFrom);
}

void StudioWindow::restoreSettings()
{
    QSettings settings;
    if (settings.status() != QSettings::NoError) {
        // Kept aside, not overwritten: the user may want it back.
        const QString file = settings.fileName();
        const QString kept = file + QStringLiteral(".unreadable");
        QFile::remove(kept);
        QFile::copy(file, kept);
        settingsUnreadable = true;
        QTimer::singleShot(0, this, [this, file, kept] {
            QtMessageBox::warning(this, tr("Settings"),
                tr("The settings in %1 could not be read; Kivo Studio starts with its defaults. "
                   "The file was kept as %2.")
                    .arg(QDir::toNativeSeparators(file), QDir::toNativeSeparators(kept)));
        });
        return;
    }
    // Values of a foreign type read as empty and are refused one by one.
    geometryRestored = restoreGeometry(settings.value(QLatin1String(geometryKey)).toByteArray());
    restoreState(settings.value(QLatin1String(stateKey)).toByteArray());
    bool known = false;
    const int level = settings.value(QLatin1String(logLevelKey)).toInt(&known);
    if (known && level >= 0)
        logFilter = level;
    const QVariant logarithmic = settings.value(QLatin1String(logGraphicsKey));
    if (logarithmic.canConvert<QStringList>()) {
        const QStringList titles = logarithmic.toStringList();
        logarithmicGraphics = QSet<QString>(titles.cbegin(), titles.cend());
    }
    settings.beginGroup(QLatin1String(splittersGroup));
    for (const QString &name : settings.childKeys())
        splitterStates.insert(name, settings.value(name).toByteArray());
}

void StudioWindow::applyLogarithmicGraphics(KvcResultsWidget *view)
{
    if (!view)
        return;
    const QVector<KvcResultsData::GraphicsData *> &graphics = view->resultData()->graphics();
    for (int g = 0; g < graphics.size(); ++g)
        if (logarithmicGraphics.contains(graphics.at(g)->title))
            view->setLogarithmic(g, true);
}

void StudioWindow::noteLogarithmicGraphics()
{
    // The choice of the views open now; graphics none of them has keep theirs.
    for (int t = 0; t < tabs->count(); ++t) {
        auto *view = qobject_cast<KvcResultsWidget *>(tabs->widget(t));
        if (!view)
            continue;
        const QVector<KvcResultsData::GraphicsData *> &graphics = view->resultData()->graphics();
        for (int g = 0; g < graphics.size(); ++g) {
            if (view->isLogarithmic(g))
                logarithmicGraphics.insert(graphics.at(g)->title);
            else
                logarithmicGraphics.remove(graphics.at(g)->title);
        }
    }
}

void StudioWindow::saveSettings()
{
    QSettings settings;
    if (settingsUnreadable) {
        // The unreadable file has been kept aside: start a clean one.
        settings.clear();
    }
    settings.setValue(QLatin1String(geometryKey), saveGeometry());
    settings.setValue(QLatin1String(stateKey), saveState());
    // The results view in front is the one the user arranged last.
    if (auto *view = qobject_cast<KvcResultsWidget *>(tabs->currentWidget()))
        for (QSplitter *splitter : view->findChildren<QSplitter *>())
            if (!splitter->objectName().isEmpty())
                splitterStates.insert(splitter->objectName(), splitter->saveState());
    settings.remove(QLatin1String(splittersGroup));
    settings.beginGroup(QLatin1String(splittersGroup));
    for (auto it = splitterStates.cbegin(); it != splitterStates.cend(); ++it)
        settings.setValue(it.key(), it.value());
    settings.endGroup();
    if (!modelFile.isEmpty())
        settings.setValue(QLatin1String(lastModelKey), modelFile);
    if (auto *view = qobject_cast<KvcResultsWidget *>(tabs->currentWidget()))
        if (auto *levels = view->findChild<QComboBox *>(QStringLiteral("levelCmb")))
            logFilter = levels->currentIndex();
    settings.setValue(QLatin1String(logLevelKey), logFilter);
    noteLogarithmicGraphics();
    QStringList logarithmic = logarithmicGraphics.values();
    logarithmic.sort();
    settings.setValue(QLatin1String(logGraphicsKey), logarithmic);
}

QString StudioWindow::lastModel()
{
    const QString file = QSettings().value(QLatin1String(lastModelKey)).toString();
    return !file.isEmpty() && QFileInfo(file).isFile() ? file : QString();
}

QStringList StudioWindow::recentModels()
{
    const QVariant value = QSettings().value(QLatin1String(recentModelsKey));
    return value.type() == QVariant::StringList || value.type() == QVariant::String
        ? value.toStringList()
        : QStringList();
}

void StudioWindow::rememberModel(const QString &file)
{
    QStringList recent = recentModels();
    recent.removeAll(file);
    recent.prepend(file);
    while (recent.size() > MaxRecentModels)
        recent.removeLast();
    QSettings settings;
    settings.setValue(QLatin1String(recentModelsKey), recent);
    settings.setValue(QLatin1String(lastModelKey), file);
}

void StudioWindow::fillRecentModels()
{
    recentModelsMenu->clear();
    QStringList kept;
    QStringList gone;
    for (const QString &file : recentModels())
        (QFileInfo(file).isFile() ? kept : gone) << file;
    if (!gone.isEmpty()) {
        QSettings().setValue(QLatin1String(recentModelsKey), kept);
        QStringList names;
        for (const QString &file : gone)
            names << QDir::toNativeSeparators(file);
        statusBar()->showMessage(tr("No longer found, removed from the recent models: %1")
                                     .arg(names.join(QStringLiteral(", "))),
            15000);
    }
    for (int i = 0; i < kept.size(); ++i) {
        const QString file = kept[i];
        QAction *entry = recentModelsMenu->addAction(QStringLiteral("&%1 %2").arg(i + 1).arg(
            QFileInfo(file).fileName().replace(QLatin1Char('&'), QLatin1String("&&"))));
        entry->setToolTip(QDir::toNativeSeparators(file));
        entry->setStatusTip(QDir::toNativeSeparators(file));
        connect(entry, &QAction::triggered, this, [this, file] { openRecentModel(file); });
    }
    if (kept.isEmpty())
        recentModelsMenu->addAction(tr("No recent models"))->setEnabled(false);
    recentModelsMenu->setToolTipsVisible(true);
}

void StudioWindow::openRecentModel(const QString &file)
{
    if (QFileInfo(file).isFile()) {
        openModel(file);
        return;
    }
    QStringList recent = recentModels();
    recent.removeAll(file);
    QSettings().setValue(QLatin1String(recentModelsKey), recent);
    QtMessageBox::warning(this, tr("Recent models"),
        tr("The model %1 no longer exists; it was removed from the recent models.")
            .arg(QDir::toNativeSeparators(file)));
}

void StudioWindow::restoreSplitters(QWidget *view)
{
    if (view->property(splittersRestored).toBool())
        return;
    view->setProperty(splittersRestored, true);
    for (QSplitter *splitter : view->findChildren<QSplitter *>()) {
        const QString name = splitter->objectName();
        if (name.isEmpty())
            continue;
        if (splitterStates.contains(name))
            splitter->restoreState(splitterStates.value(name));
        connect(splitter, &QSplitter::splitterMoved, this,
            [this, splitter, name] { splitterStates.insert(name, splitter->saveState()); });
    }
    applyLogarithmicGraphics(qobject_cast<KvcResultsWidget *>(view));
    // The log shows what the user chose last to see.
    if (auto *levels = view->findChild<QComboBox *>(QStringLiteral("levelCmb"))) {
        if (logFilter < levels->count())
            levels->setCurrentIndex(logFilter);
        connect(levels, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            [this](int index) { logFilter = qMax(0, index); });
    }
}

void StudioWindow::noteLogLine(int level, const QString &text)
{
    if (!executionOpen)
        return;
    if (level == errorLevel && runError.isEmpty()) {
        runError = text.trimmed();
        return;
    }
    if (level != -1)
        return;
    // The process's output comes in pieces that need not end at a line's end.
    outputTail += text;
    const int end = outputTail.lastIndexOf(QLatin1Char('\n'));
    if (end < 0)
        return;
    const QStringList lines = outputTail.left(end).split(QLatin1Char('\n'));
    outputTail.remove(0, end + 1);
    for (const QString &line : lines) {
        const QString trimmed = line.trimmed();
        if (runError.isEmpty() && isErrorLine(trimmed))
            runError = trimmed;
    }
}

void StudioWindow::showRunError()
{
    QString text = runError;
    // The automatic monitoring's port is in use, most likely by another run
    // (another Kivo Studio, or a simulator started by hand).
    static const QRegularExpression portTaken(QStringLiteral("cannot listen on \\S+ port (\\d+)"));
    const QRegularExpressionMatch match = portTaken.match(runError);
    QString hint;
    if (match.hasMatch())
        hint = tr("Port %1 is taken, most likely by another run's monitoring server. To run this "
                  "model at the same time, open Simulation > Run options, untick \"Enable "
                  "automatic monitoring settings\", enter a free port and connect with "
                  "Simulation > Monitor once the run has started; or run it again when the other "
                  "run has ended.")
                   .arg(match.captured(1));
    statusBar()->showMessage(hint.isEmpty()
            ? tr("The run was aborted: %1").arg(text)
            : tr("The run was aborted: port %1 is taken by another run").arg(match.captured(1)));
    if (!latestResultsView)
        return;
    auto *label = latestResultsView->findChild<QLabel *>(QStringLiteral("runErrorLbl"));
    if (!label) {
        auto *box = qobject_cast<QBoxLayout *>(latestResultsView->layout());
        if (!box)
            return;
        label = new QLabel(latestResultsView);
        label->setObjectName(QStringLiteral("runErrorLbl"));
        label->setWordWrap(true);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        label->setStyleSheet(QStringLiteral("QLabel { background: #fde8e8; color: #8a1010; border: "
                                            "1px solid #e0a0a0; padding: 4px; }"));
        box->insertWidget(0, label);
        label->show();
    }
    label->setText(hint.isEmpty() ? tr("The simulator stopped with: %1").arg(text)
                                  : tr("The simulator stopped with: %1\n%2").arg(text, hint));
}

void StudioWindow::updateCloseButtons()
{
    QTabBar *bar = tabs->tabBar();
    const auto side = QTabBar::ButtonPosition(
        style()->styleHint(QStyle::SH_TabBar_CloseButtonPosition, nullptr, bar));
    for (int i = 0; i < tabs->count(); ++i) {
        QWidget *button = bar->tabButton(i, side);
        if (!button)
            continue;
        QWidget *page = tabs->widget(i);
        if (page == modelView) {
            // The model tab is replaced by the next model, never closed.
            bar->setTabButton(i, side, nullptr);
            button->deleteLater();
            continue;
        }
        button->setToolTip(
            page == latestResultsView && executionOpen ? runningTabTip() : tr("Close this tab"));
    }
}

void StudioWindow::showGraphicLarge(int index)
{
    auto *view = qobject_cast<KvcResultsWidget *>(tabs->currentWidget());
    auto *chart
        = view ? view->findChild<QtCharts::QChartView *>(QStringLiteral("lrChart")) : nullptr;
    if (!chart)
        return;
    // The view takes graphics by drop only: the same data a drag carries.
    QMimeData mime;
    mime.setData(QStringLiteral("application/x-GraphIndex"), QByteArray::number(index));
    QWidget *target = chart->viewport();
    const QPoint pos = target->rect().center();
    QDragEnterEvent enter(pos, Qt::CopyAction, &mime, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    QDropEvent drop(pos, Qt::CopyAction, &mime, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
}

void StudioWindow::showShortcuts()
{
    if (shortcutsDialog) {
        shortcutsDialog->show();
        shortcutsDialog->raise();
        shortcutsDialog->activateWindow();
        return;
    }
    QList<QPair<QString, QString>> rows;
    const QList<QMenu *> menus {menuFile, recentModelsMenu, menuView, menuSimulation, menuHelp};
    for (QMenu *menu : menus)
        for (QAction *entry : menu->actions())
            if (!entry->shortcut().isEmpty())
                rows.append({entry->shortcut().toString(QKeySequence::NativeText),
                    entry->text().remove(QLatin1Char('&')).remove(QStringLiteral("..."))});
    rows.append(
        {tr("Double-click, Enter"), tr("Graphics panel: show the graphic on the large chart")});
    rows.append({tr("Drag"), tr("Graphics panel: show the graphic on the chart it is dropped on")});
    rows.append({tr("Wheel"), tr("Chart: zoom the time axis around the mouse")});
    rows.append({tr("Ctrl+Wheel"), tr("Chart: zoom the value axis")});
    rows.append({tr("Middle button drag, Shift+drag"), tr("Chart: move the plot")});
    rows.append({tr("Left button drag"), tr("Chart: zoom into the rectangle")});
    rows.append({tr("Double-click, Home"), tr("Chart: reset the zoom and follow the data again")});
    rows.append({tr("Right click, Menu key, Shift+F10"),
        tr("Chart: menu to reset the zoom, save or copy the image, export or copy the data")});
    rows.append({tr("Click on a legend entry"), tr("Chart: hide or show that series")});

    auto *dialog = new QDialog(this);
    dialog->setObjectName(QStringLiteral("shortcutsDlg"));
    dialog->setWindowTitle(tr("Keyboard shortcuts"));
    auto *table = new QTableWidget(rows.size(), 2, dialog);
    table->setObjectName(QStringLiteral("shortcutsTbl"));
    table->setHorizontalHeaderLabels({tr("Keys"), tr("Action")});
    table->verticalHeader()->hide();
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    for (int r = 0; r < rows.size(); ++r) {
        table->setItem(r, 0, new QTableWidgetItem(rows[r].first));
        table->setItem(r, 1, new QTableWidgetItem(rows[r].second));
    }
    table->resizeColumnsToContents();
    table->horizontalHeader()->setStretchLastSection(true);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, dialog);
    connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::close);
    auto *layout = new QVBoxLayout(dialog);
    layout->addWidget(table);
    layout->addWidget(buttons);
    dialog->resize(640, 480);
    shortcutsDialog = dialog;
    dialog->show();
}
