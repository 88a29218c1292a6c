#pragma once

#include <QObject>
#include <QString>

class QAction;
class QMainWindow;
class QMenu;
class QTabWidget;
class KvcResultsWidget;

// The File menu's runs: save the run of the current results tab, open a
// saved run into a tab of its own (marked as a file: its name, a file icon,
// the path as tooltip), export the current run's tracked values as CSV, and
// the last runs saved or opened (application settings, "recent_runs").
// Failures are shown in words; a damaged file opens with what it held and a
// warning that says where it stopped.
class RunFileMenu : public QObject
{
    Q_OBJECT

public:
    RunFileMenu(QMainWindow *window, QMenu *fileMenu, QAction *before, QTabWidget *tabs);

    /// Opens `fileName` into a new tab; the tab, or null when refused.
    KvcResultsWidget *openRun(const QString &fileName);
    bool saveRun(KvcResultsWidget *view, const QString &fileName);
    bool exportRun(KvcResultsWidget *view, const QString &folder);

    static constexpr int MaxRecent = 8;

private:
    KvcResultsWidget *currentView() const;
    void updateActions();
    void remember(const QString &fileName);
    void fillRecent();

    QMainWindow *window = nullptr;
    QTabWidget *tabs = nullptr;
    QAction *saveAction = nullptr;
    QAction *openAction = nullptr;
    QAction *exportAction = nullptr;
    QMenu *recentMenu = nullptr;
};
