#include "runfilemenu.h"

#include "kvcresultswidget.h"
#include "kvcrunfile.h"
#include "qtmessagebox.h"

#include <QAction>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMainWindow>
#include <QMenu>
#include <QRegularExpression>
#include <QSettings>
#include <QStatusBar>
#include <QStyle>
#include <QTabWidget>

namespace {

const char recentKey[] = "recent_runs";

QString runFilter() { return RunFileMenu::tr("Kivo runs (*.kivorun);;All files (*)"); }

} // namespace

RunFileMenu::RunFileMenu(QMainWindow *window, QMenu *fileMenu, QAction *before, QTabWidget *tabs)
    : QObject(window)
    , window(window)
    , tabs(tabs)
{
    openAction = new QAction(tr("Open &run..."), this);
    openAction->setShortcut(Qt::CTRL + Qt::SHIFT + Qt::Key_O);
    openAction->setObjectName(QStringLiteral("actionOpenRun"));
    saveAction = new QAction(tr("&Save run..."), this);
    saveAction->setObjectName(QStringLiteral("actionSaveRun"));
    saveAction->setShortcut(QKeySequence::Save);
    exportAction = new QAction(tr("&Export run data..."), this);
    exportAction->setObjectName(QStringLiteral("actionExportRun"));
    recentMenu = new QMenu(tr("Recent runs"), fileMenu);
    recentMenu->setObjectName(QStringLiteral("menuRecentRuns"));
    fileMenu->insertAction(before, openAction);
    fileMenu->insertMenu(before, recentMenu);
    fileMenu->insertAction(before, saveAction);
    fileMenu->insertAction(before, exportAction);
    fileMenu->insertSeparator(before);

    connect(openAction, &QAction::triggered, this, [this] {
        const QString file
            = QFileDialog::getOpenFileName(this->window, tr("Open a run"), QString(), runFilter());
        if (!file.isEmpty())
            openRun(file);
    });
    connect(saveAction, &QAction::triggered, this, [this] {
        KvcResultsWidget *view = currentView();
        if (!view)
            return;
        // A tab's name holds the time, and ':' is not allowed in names on Windows.
        QString name = this->tabs->tabText(this->tabs->currentIndex());
        name.replace(QRegularExpression(QStringLiteral("[<>:\"/\\\\|?*]")), QStringLiteral("-"));
        QString file = QFileDialog::getSaveFileName(
            this->window, tr("Save the run"), name + QStringLiteral(".kivorun"), runFilter());
        if (file.isEmpty())
            return;
        if (QFileInfo(file).suffix().isEmpty())
            file += QStringLiteral(".kivorun");
        saveRun(view, file);
    });
    connect(exportAction, &QAction::triggered, this, [this] {
        KvcResultsWidget *view = currentView();
        if (!view)
            return;
        const QString folder = QFileDialog::getExistingDirectory(
            this->window, tr("Export the run's tracked values to a folder"));
        if (!folder.isEmpty())
            exportRun(view, folder);
    });
    connect(tabs, &QTabWidget::currentChanged, this, &RunFileMenu::updateActions);
    connect(recentMenu, &QMenu::aboutToShow, this, &RunFileMenu::fillRecent);
    updateActions();
}

KvcResultsWidget *RunFileMenu::currentView() const
{
    return qobject_cast<KvcResultsWidget *>(tabs->currentWidget());
}

void RunFileMenu::updateActions()
{
    const bool results = currentView() != nullptr;
    saveAction->setEnabled(results);
    exportAction->setEnabled(results);
}

KvcResultsWidget *RunFileMenu::openRun(const QString &fileName)
{
    KvcRunFile::Run run;
    if (!KvcRunFile::open(fileName, run)) {
        QtMessageBox::critical(window, tr("Error..."), run.message);
        return nullptr;
    }
    auto *view = new KvcResultsWidget(nullptr, run.view.status, run.data, tabs);
    view->showRecord(run.view);
    const int index = tabs->addTab(
        view, window->style()->standardIcon(QStyle::SP_FileIcon), QFileInfo(fileName).fileName());
    tabs->setTabToolTip(index, tr("Run read from %1").arg(QDir::toNativeSeparators(fileName)));
    tabs->setCurrentIndex(index);
    remember(fileName);
    if (!run.complete)
        QtMessageBox::warning(window, tr("Damaged run file"), run.message);
    return view;
}

bool RunFileMenu::saveRun(KvcResultsWidget *view, const QString &fileName)
{
    QString error, warning;
    if (!KvcRunFile::save(fileName, *view->resultData(), view->record(), &error, &warning)) {
        QtMessageBox::critical(window, tr("Error..."), error);
        return false;
    }
    remember(fileName);
    window->statusBar()->showMessage(
        tr("Run saved to %1").arg(QDir::toNativeSeparators(fileName)), 5000);
    if (!warning.isEmpty())
        QtMessageBox::warning(window, tr("Run saved in part"), warning);
    return true;
}

bool RunFileMenu::exportRun(KvcResultsWidget *view, const QString &folder)
{
    QStringList written;
    QString error;
    if (!KvcRunFile::exportCsv(*view->resultData(), folder, &written, &error)) {
        QtMessageBox::critical(window, tr("Error..."), error);
        return false;
    }
    window->statusBar()->showMessage(tr("%n CSV file(s) written to %1", nullptr, written.size())
                                         .arg(QDir::toNativeSeparators(folder)),
        5000);
    return true;
}

void RunFileMenu::remember(const QString &fileName)
{
    QSettings settings;
    QStringList recent = settings.value(QLatin1String(recentKey)).toStringList();
    const QString path = QFileInfo(fileName).absoluteFilePath();
    recent.removeAll(path);
    recent.prepend(path);
    settings.setValue(QLatin1String(recentKey), QStringList(recent.mid(0, MaxRecent)));
}

void RunFileMenu::fillRecent()
{
    recentMenu->clear();
    const QStringList recent = QSettings().value(QLatin1String(recentKey)).toStringList();
    for (const QString &path : recent) {
        QAction *action = recentMenu->addAction(QDir::toNativeSeparators(path));
        connect(action, &QAction::triggered, this, [this, path] { openRun(path); });
    }
    if (recent.isEmpty())
        recentMenu->addAction(tr("No runs yet"))->setEnabled(false);
}
