#pragma once

#include "kvcactionmanager.h"
#include "kvcluafilewidget.h"
#include "kvcresultswidget.h"
#include "runfilemenu.h"

#include "ui_studiowindow.h"

#include <QElapsedTimer>
#include <QHash>
#include <QMainWindow>
#include <QPointer>
#include <QSet>
#include <QSharedPointer>

class QDialog;
class QLabel;
class QMenu;
class QSettings;
class QSplitter;
class QSystemTrayIcon;

// The demo host: one action manager driven by the window's seven actions,
// the model in a viewer tab, a results tab per execution (kept as a record
// when the execution ends) and a dock of the current execution's graphics.
//
// A results tab is named after its model and the time it started
// ("heat1d.lua — 14:02:11"): the local model's file name until the server
// names the model's file (a remote run shows "Remote run" until then); its
// icon and tooltip give the execution's status. When an execution ends while
// the window is not the active one, the window asks for attention
// (QApplication::alert) and, where the platform has a system tray, a desktop
// notice names the model, the final status and the run's duration; the
// tray icon goes once the window is active again.
//
// The window remembers, in the application's QSettings, its geometry, its
// docks and toolbar, the splitters of results views, the last model and the
// recent models. A settings file that cannot be read is kept aside as
// "<file>.unreadable" and the defaults are used; values of a foreign type are
// ignored one by one.
//
// A run that aborts shows the simulator's own error line (its first "kivo:
// error:" or "[ERROR]" line, or the server's first error message) in the
// status bar and above its results tab; when the monitoring port is taken,
// the line says what to do instead.
class StudioWindow
    : public QMainWindow
    , private Ui::StudioWindow
{
    Q_OBJECT

public:
    explicit StudioWindow(QWidget *parent = nullptr);
    ~StudioWindow() override;

    KvcActionManager *manager() const { return actMgr; }
    /// Interrogates the simulator at `kivoPath`; localKivoInitFinished() follows.
    void initSimulator(const QString &kivoPath);
    void openModel(const QString &file);
    QAction *runAction() const { return actionRun; }
    /// The results data of the latest execution (null before the first).
    QSharedPointer<KvcResultsData> latestResults() const { return latestData; }
    KvcResultsWidget *latestView() const { return latestResultsView; }
    RunFileMenu *runFiles() const { return runFileMenu; }
    /// The model opened last time (empty when none was, or it is gone).
    static QString lastModel();
    /// The remembered models, most recent first.
    static QStringList recentModels();
    static constexpr int MaxRecentModels = 8;
    /// Whether the window took the geometry it had when it last closed.
    bool hasRestoredGeometry() const { return geometryRestored; }
    /// The error line of the latest run (empty when it had none).
    QString runErrorLine() const { return runError; }

signals:
    /// An execution has ended and the manager is idle again.
    void executionEnded(KvcActionManager::ExecutionStatus status);
    /// The user was told that an execution ended (the window was not active):
    /// the notice's title and text, also where no tray shows them.
    void runEndNotified(const QString &title, const QString &text);

protected:
    /// Asks before a running simulation is stopped; the window then closes
    /// once the simulator has ended.
    void closeEvent(QCloseEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void setUpActions();
    void statusChanged(
        KvcActionManager::ExecutionStatus status, QSharedPointer<KvcResultsData> &data);
    void simulatorReady();
    void chooseModel();
    void showAbout();
    void nameRunTab();
    void showRunStatus(KvcActionManager::ExecutionStatus status);
    void notifyRunEnded(KvcActionManager::ExecutionStatus status);
    void restoreSettings();
    void saveSettings();
    void rememberModel(const QString &file);
    void fillRecentModels();
    void openRecentModel(const QString &file);
    // Graphics shown on a logarithmic axis are remembered by title.
    void applyLogarithmicGraphics(KvcResultsWidget *view);
    void noteLogarithmicGraphics();
    void restoreSplitters(QWidget *view);
    void noteLogLine(int level, const QString &text);
    void showRunError();
    void updateCloseButtons();
    void showGraphicLarge(int index);
    void showShortcuts();
    void showGraphicsOf(const KvcResultsData *data);
    QString runEndText(KvcActionManager::ExecutionStatus status) const;
    static QString runningTabTip();

    KvcActionManager *actMgr = nullptr;
    QPointer<KvcLuaFileWidget> modelView;
    QPointer<KvcResultsWidget> latestResultsView;
    QSharedPointer<KvcResultsData> latestData;
    RunFileMenu *runFileMenu = nullptr;
    QString modelFile;
    int executions = 0;
    bool executionOpen = false;
    // The current execution: its model's name, start and clock.
    QString runModel;
    QString runStarted;
    QElapsedTimer runClock;
    KvcActionManager::ExecutionStatus runStatus = KvcActionManager::Unknown;
    QSystemTrayIcon *tray = nullptr;
    QMenu *recentModelsMenu = nullptr;
    QPointer<QDialog> shortcutsDialog;
    // Splitter states of results views by splitter name, the latest moved.
    QHash<QString, QByteArray> splitterStates;
    // The first error line of the current run.
    QString runError;
    QString outputTail;
    bool settingsUnreadable = false;
    bool geometryRestored = false;
    // The log's level filter (the index of its choice) and the titles of
    // graphics shown on a logarithmic axis, as last left.
    int logFilter = 0;
    QSet<QString> logarithmicGraphics;
};
