#pragma once

#include "kvcactionmanager.h"
#include "kvcluafilewidget.h"
#include "kvcresultswidget.h"
#include "runfilemenu.h"

#include "ui_studiowindow.h"

#include <QElapsedTimer>
#include <QMainWindow>
#include <QPointer>
#include <QSharedPointer>

// The demo host: one action manager driven by the window's seven actions,
// the model in a viewer tab, a results tab per execution (kept as a record
// when the execution ends) and a dock of the current execution's graphics.
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

signals:
    /// An execution has ended and the manager is idle again.
    void executionEnded(KvcActionManager::ExecutionStatus status);

protected:
    /// Asks before a running simulation is stopped; the window then closes
    /// once the simulator has ended.
    void closeEvent(QCloseEvent *event) override;

private:
    void setUpActions();
    void statusChanged(
        KvcActionManager::ExecutionStatus status, QSharedPointer<KvcResultsData> &data);
    void simulatorReady();
    void chooseModel();
    void showAbout();

    KvcActionManager *actMgr = nullptr;
    QPointer<KvcLuaFileWidget> modelView;
    QPointer<KvcResultsWidget> latestResultsView;
    QSharedPointer<KvcResultsData> latestData;
    RunFileMenu *runFileMenu = nullptr;
    QString modelFile;
    int executions = 0;
    bool executionOpen = false;
};
