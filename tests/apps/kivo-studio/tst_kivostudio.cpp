// The demo host's wiring, driven through its own actions against the real
// simulator: model tab, monitored runs with their results tabs, the graphics
// dock and its drag onto a chart, quitting, the About box. Each test has a
// window of its own.
#include "studiowindow.h"

#include "childprocesses.h"
#include "graphicslist.h"
#include "kvcommclientdata.h"
#include "kvcresultsdata.h"
#include "kvcresultswidget.h"
#include "kvcversion.h"
#include "managerhost.h"

#include <QChartView>
#include <QCheckBox>
#include <QComboBox>
#include <QDockWidget>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QSplitter>
#include <QStatusBar>
#include <QTabBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QToolBar>
#include <QtTest>

#include <memory>

using Status = KvcActionManager::ExecutionStatus;
QT_CHARTS_USE_NAMESPACE

namespace {

// The fast example, paced so that a run lasts about a second and a half:
// long enough to be watched while it runs, short enough for a test.
const char pacedModel[] = R"(
Simulation{ name = "Paced rod", endTime = 200, timeStep = 5, wallTimePerStep = 0.04 }
Mesh{ name = "rod", type = "line", length = 0.2, cells = 20 }
StateVar{ name = "T", unit = "degC", initial = 20 }
PropertySet{ name = "copper", conductivity = 400, density = 8960, heatCapacity = 385 }
BoundaryCondition{ side = "left", type = "temperature", value = 100 }
BoundaryCondition{ side = "right", type = "convection", h = 50, ambient = 20 }
NumericalSolver{ method = "cg", tolerance = 1e-12 }
SpatialIndex{ name = "probes", points = { { "left", x = 0.02 }, { "right", x = 0.18 } } }
MonitorRule{ name = "rod", track = { { name = "T.max", quantity = "max" },
                                     { name = "q.left", quantity = "heatFlux", side = "left" } } }
MonitorRule{ name = "probes", index = "probes", track = { { name = "T.probe", quantity = "probes" } } }
)";

QAction *action(StudioWindow &studio, const char *name)
{
    return studio.findChild<QAction *>(name);
}

// A shown window whose simulator has been interrogated.
std::unique_ptr<StudioWindow> readyStudio()
{
    auto studio = std::make_unique<StudioWindow>();
    studio->resize(1400, 900);
    studio->show();
    QSignalSpy ready(studio->manager(), &KvcActionManager::localKivoInitFinished);
    studio->initSimulator(kivoPath);
    if (!QTest::qWaitFor([&] { return ready.count() == 1; }, 10000)
        || !studio->manager()->canExecLocalKivo())
        return nullptr;
    return studio;
}

// Automatic monitoring kept, its server moved off the preset's port, through
// the configure action's dialog.
void monitorOnAFreePort(StudioWindow &studio)
{
    const auto edit = presetOnAFreePort();
    handleNextModal(
        [edit](QWidget *dialog) {
            edit(dialog);
            dialog->findChild<QPushButton *>("okBtn")->click();
        },
        "KvcOptionsDlg");
    action(studio, "actionConfigure")->trigger();
}

// Drops the graphics list's own drag data for entry `index` onto `view`, as
// a real drag would carry it.
bool dragGraphic(QListWidget *graphics, int index, QChartView *view)
{
    std::unique_ptr<QMimeData> mime(
        graphics->model()->mimeData({graphics->model()->index(index, 0)}));
    if (!mime || mime->data("application/x-GraphIndex") != QByteArray::number(index))
        return false;
    QWidget *target = view->viewport();
    const QPoint pos = target->rect().center();
    QDragEnterEvent enter(pos, Qt::CopyAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    QDropEvent drop(pos, Qt::CopyAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
    return enter.isAccepted() && drop.isAccepted();
}

} // namespace

class KivoStudioTest : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    QString modelFile;

private slots:
    void initTestCase()
    {
        // Far from UTC, in minutes too: a time shown in the wrong zone shows.
        qputenv("TZ", "KIVO-13:45");
        QStandardPaths::setTestModeEnabled(true);
        qRegisterMetaType<Status>();
        QCoreApplication::setOrganizationName("kivoClientLibTests");
        QCoreApplication::setApplicationName("tst_kivostudio");
        QVERIFY2(QFile::exists(kivoPath), qPrintable(kivoPath));
        QVERIFY(dir.isValid());
        modelFile = dir.filePath("paced.lua");
        QFile file(modelFile);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(pacedModel);
    }

    // Every test starts from the defaults; nothing reaches a user's settings.
    void init() { QSettings().clear(); }

    void cleanup()
    {
        QTRY_COMPARE(visibleTopLevelWidgets(), 0);
        QTRY_COMPARE(childProcesses().size(), 0);
    }

    void monitoredRunsEachKeepATabOfTheirOwn()
    {
        ModalAnswerer boxes;
        const std::unique_ptr<StudioWindow> studio = readyStudio();
        QVERIFY(studio);
        auto *tabs = studio->findChild<QTabWidget *>("tabs");
        auto *graphics = studio->findChild<QListWidget *>("graphicsLst");
        QVERIFY(tabs && graphics && studio->findChild<QDockWidget *>("graphicsDock"));
        QSignalSpy ended(studio.get(), &StudioWindow::executionEnded);
        // Nothing to run before a model is open.
        QVERIFY(!studio->runAction()->isEnabled());

        studio->openModel(modelFile);
        QCOMPARE(tabs->count(), 1);
        auto *model = qobject_cast<KvcLuaFileWidget *>(tabs->widget(0));
        QVERIFY(model && model->toPlainText().contains("Paced rod"));
        QCOMPARE(tabs->tabText(0), QString("paced.lua"));
        QVERIFY(studio->windowTitle().startsWith("paced.lua"));
        QVERIFY(studio->runAction()->isEnabled());

        monitorOnAFreePort(*studio);
        QSignalSpy notices(studio.get(), &StudioWindow::runEndNotified);
        QApplication::setActiveWindow(studio.get());
        const QDateTime started = QDateTime::currentDateTime();
        studio->runAction()->trigger();
        QCOMPARE(tabs->count(), 2);
        auto *first = qobject_cast<KvcResultsWidget *>(tabs->widget(1));
        QVERIFY(first);
        QCOMPARE(tabs->currentWidget(), first);
        const QSharedPointer<KvcResultsData> data = studio->latestResults();
        QVERIFY(data);
        QCOMPARE(first->resultData(), data);

        // Samples arrive and the dock lists the graphics by title.
        QTRY_VERIFY_WITH_TIMEOUT(data->simulationData()
                && data->simulationData()->samplesReceived() > 0 && data->currentTime() > 0,
            15000);
        QTRY_VERIFY(data->graphics().size() > data->numSpecialGraphics());
        QTRY_COMPARE(graphics->count(), data->graphics().size());
        for (int i = 0; i < data->graphics().size(); ++i) {
            QVERIFY(graphics->item(i)->text().startsWith(data->graphics().at(i)->title));
            QCOMPARE(graphics->item(i)->font().italic(), i < data->numSpecialGraphics());
        }
        // With its unit, its rule and series as a tooltip; too few for a filter.
        const QList<QListWidgetItem *> maxima
            = graphics->findItems("rod (T.max)", Qt::MatchStartsWith);
        QCOMPARE(maxima.size(), 1);
        QCOMPARE(maxima.first()->text(), QString("rod (T.max) [degC]"));
        QVERIFY2(maxima.first()->toolTip().startsWith("Rule: rod\nSeries: T.max"),
            qPrintable(maxima.first()->toolTip()));
        QVERIFY(studio->findChild<QLineEdit *>("graphicsFilterLed")->isHidden());
        auto *list = qobject_cast<GraphicsList *>(graphics);
        list->setFilterText("PROBE");
        for (int i = 0; i < graphics->count(); ++i)
            QCOMPARE(graphics->item(i)->isHidden(), !graphics->item(i)->text().contains("probe"));
        list->setFilterText(QString());

        // A double-click (or Enter) puts a graphic on the large chart.
        auto *large = first->findChild<QChartView *>("lrChart");
        QSignalSpy chosen(list, &GraphicsList::graphicChosen);
        emit graphics->itemDoubleClicked(maxima.first());
        QCOMPARE(chosen.count(), 1);
        QCOMPARE(large->chart()->title(), QString("rod (T.max)"));
        large->chart()->setTitle(QString());
        graphics->setCurrentItem(maxima.first());
        QTest::keyClick(graphics, Qt::Key_Return);
        QCOMPARE(large->chart()->title(), QString("rod (T.max)"));

        // The server's times (UTC on the wire) read in local time, as the
        // run's own start does.
        QTRY_VERIFY(!first->findChild<QLabel *>("simRunningStartedLbl")->text().isEmpty());
        for (const char *label : {"simLoadingStartedLbl", "simRunningStartedLbl"}) {
            const QString text = first->findChild<QLabel *>(label)->text();
            const QDateTime shown = QLocale::system().toDateTime(text, "dd-MMM-yyyy hh:mm:ss.zzz");
            QVERIFY2(shown >= started.addSecs(-1) && shown <= QDateTime::currentDateTime(),
                qPrintable(QString("%1: %2").arg(label, text)));
        }

        // The last graphic, on no chart yet, dragged from the dock.
        auto *chart = first->findChild<QChartView *>("lrChart");
        const int last = graphics->count() - 1;
        QVERIFY(chart->chart()->title() != data->graphics().at(last)->title);
        QVERIFY(dragGraphic(graphics, last, chart));
        QCOMPARE(chart->chart()->title(), data->graphics().at(last)->title);

        QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 1, 30000);
        QCOMPARE(ended.at(0).at(0).value<Status>(), KvcActionManager::Finished);
        QVERIFY(!studio->manager()->active());
        QCOMPARE(tabs->widget(1), first);
        // The user was looking: no notice. The tab tells how it ended.
        QCOMPARE(notices.count(), 0);
        QCOMPARE(tabs->tabToolTip(1), QString("Finished"));
        QVERIFY(!tabs->tabIcon(1).isNull());
        const qint64 firstSamples = data->simulationData()->samplesReceived();

        // A second run, ending while another window is active: a second tab,
        // the first stays as it was; the user is told.
        monitorOnAFreePort(*studio);
        QWidget elsewhere;
        elsewhere.show();
        QApplication::setActiveWindow(&elsewhere);
        studio->runAction()->trigger();
        QCOMPARE(tabs->count(), 3);
        auto *second = qobject_cast<KvcResultsWidget *>(tabs->widget(2));
        QVERIFY(second && second != first);
        QVERIFY(studio->latestResults() != data);
        const QRegularExpression named("^paced\\.lua — \\d\\d:\\d\\d:\\d\\d$");
        QVERIFY2(named.match(tabs->tabText(1)).hasMatch(), qPrintable(tabs->tabText(1)));
        QVERIFY2(named.match(tabs->tabText(2)).hasMatch(), qPrintable(tabs->tabText(2)));
        QCOMPARE(tabs->tabToolTip(2), QString("Running"));
        QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 2, 30000);
        QCOMPARE(ended.at(1).at(0).value<Status>(), KvcActionManager::Finished);
        QCOMPARE(notices.count(), 1);
        QCOMPARE(notices.at(0).at(0).toString(), QString("Kivo Studio: a run has ended"));
        const QString notice = notices.at(0).at(1).toString();
        QVERIFY2(notice.startsWith("paced.lua: Finished after ") && notice.endsWith(" s"),
            qPrintable(notice));
        QCOMPARE(first->resultData(), data);
        QCOMPARE(data->simulationData()->samplesReceived(), firstSamples);

        // The dock follows the tab: the first run's graphics, none for the model.
        tabs->setCurrentIndex(1);
        QCOMPARE(graphics->count(), data->graphics().size());
        tabs->setCurrentIndex(0);
        QCOMPARE(graphics->count(), 0);
        QCOMPARE(boxes.count(), 0);
    }

    // As kivo-studio starts: the interrogation before the event loop runs,
    // its error box closed through the box's own loop, then quitting.
    void simulatorThatCannotStartIsReportedAndTheWindowQuits()
    {
        ModalAnswerer boxes;
        QTemporaryDir scratch;
        const QString notAProgram = scratch.filePath("kivo");
        QFile file(notAProgram);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("not a program");
        file.close();

        StudioWindow studio;
        studio.show();
        studio.initSimulator(notAProgram);
        QCOMPARE(boxes.count(), 1);
        QVERIFY(boxes.last().text.contains(
            QString("The Kivo executable [%1] failed to start: ").arg(notAProgram)));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(studio.statusBar()->currentMessage().startsWith("No usable simulator at "));
        action(studio, "actionQuit")->trigger();
        QVERIFY(!studio.isVisible());
        QCOMPARE(boxes.count(), 1);
    }

    // Quitting mid-run asks, stops the simulator as it would stop itself and
    // closes once it has ended.
    void quittingDuringARunStopsTheSimulatorFirst()
    {
        ModalAnswerer boxes;
        const std::unique_ptr<StudioWindow> studio = readyStudio();
        QVERIFY(studio);
        QSignalSpy ended(studio.get(), &StudioWindow::executionEnded);
        studio->openModel(longModel);
        monitorOnAFreePort(*studio);
        studio->runAction()->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(studio->manager()->isRemote(), 10000);

        boxes.queueAnswer(QMessageBox::Cancel);
        action(*studio, "actionQuit")->trigger();
        QCOMPARE(boxes.count(), 1);
        QVERIFY(boxes.last().text.contains("heat1d-long.lua"));
        QVERIFY(studio->isVisible());
        QCOMPARE(childProcesses().size(), 1);

        boxes.queueAnswer(QMessageBox::Yes);
        action(*studio, "actionQuit")->trigger();
        QCOMPARE(boxes.count(), 2);
        QVERIFY(studio->isVisible());
        QVERIFY(studio->statusBar()->currentMessage().startsWith("Stopping the simulation"));
        QTRY_VERIFY_WITH_TIMEOUT(!studio->isVisible(), 2 * KvcActionManager::kStopGraceMs);
        QCOMPARE(childProcesses().size(), 0);
        // Ended by its server, with its own exit code: no crash box.
        QCOMPARE(boxes.count(), 2);
        // The window may close before the monitor notices the end.
        QTRY_COMPARE(ended.count(), 1);
        QCOMPARE(ended.at(0).at(0).value<Status>(), KvcActionManager::Aborted);
    }

    void noChartTextIsCutShort_data()
    {
        QTest::addColumn<QString>("model");
        for (const char *model :
            {"heat1d.lua", "heat1d-long.lua", "heat2d.lua", "heat1d-probes.lua"})
            QTest::newRow(model) << QString(KVC_EXAMPLES_DIR "/") + model;
    }

    // Titles, ticks and legend names in full at the sizes people use, with
    // the examples' graphics, the one of 24 series on the large chart.
    void noChartTextIsCutShort()
    {
        QFETCH(QString, model);
        ModalAnswerer boxes;
        const std::unique_ptr<StudioWindow> studio = readyStudio();
        QVERIFY(studio);
        studio->openModel(model);
        monitorOnAFreePort(*studio);
        studio->runAction()->trigger();
        auto *view = studio->findChild<KvcResultsWidget *>();
        const QSharedPointer<KvcResultsData> data = studio->latestResults();
        QVERIFY(view && data);
        QTRY_VERIFY_WITH_TIMEOUT(data->graphics().size() > data->numSpecialGraphics()
                && data->simTrackedData(data->graphics().last()->trackId).time.size() > 2,
            15000);
        int widest = data->numSpecialGraphics();
        for (int g = widest; g < data->graphics().size(); ++g)
            if (data->graphics().at(g)->series.size() > data->graphics().at(widest)->series.size())
                widest = g;
        QVERIFY(dragGraphic(studio->findChild<QListWidget *>("graphicsLst"), widest,
            view->findChild<QChartView *>("ulChart")));

        const auto cutShort = [view] {
            QStringList texts;
            for (QChartView *chart : view->findChildren<QChartView *>())
                for (QGraphicsItem *item : chart->scene()->items()) {
                    const auto *text = qgraphicsitem_cast<QGraphicsTextItem *>(item);
                    if (text && text->isVisible() && text->toPlainText().endsWith("..."))
                        texts << chart->objectName() + ": " + text->toPlainText();
                }
            return texts.join(", ");
        };
        for (const QSize size : {QSize(1400, 900), QSize(1024, 700)}) {
            studio->resize(size);
            // Laid out, then a few frames of every chart as data goes on
            // arriving, each fitting its texts a step further.
            QTest::qWait(600);
            QTRY_VERIFY2_WITH_TIMEOUT(cutShort().isEmpty(),
                qPrintable(
                    QString("at %1x%2: %3").arg(size.width()).arg(size.height()).arg(cutShort())),
                5000);
        }
        action(*studio, "actionTerminate")->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(!studio->manager()->active(), 10000);
        studio->close();
    }

    // Its process still exits as finished afterwards; the run was canceled.
    void canceledRunIsShownAndToldAsCanceled()
    {
        ModalAnswerer boxes;
        const std::unique_ptr<StudioWindow> studio = readyStudio();
        QVERIFY(studio);
        QSignalSpy ended(studio.get(), &StudioWindow::executionEnded);
        QSignalSpy notices(studio.get(), &StudioWindow::runEndNotified);
        studio->openModel(longModel);
        monitorOnAFreePort(*studio);
        QWidget elsewhere;
        elsewhere.show();
        QApplication::setActiveWindow(&elsewhere);
        studio->runAction()->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(studio->latestResults()->currentTime() > 0
                && action(*studio, "actionCancel")->isEnabled(),
            15000);
        action(*studio, "actionCancel")->trigger();
        QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 1, 20000);
        auto *tabs = studio->findChild<QTabWidget *>("tabs");
        QCOMPARE(tabs->tabToolTip(1), QString("Canceled"));
        QCOMPARE(notices.count(), 1);
        QVERIFY2(notices.at(0).at(1).toString().startsWith("heat1d-long.lua: Canceled after "),
            qPrintable(notices.at(0).at(1).toString()));
        QCOMPARE(boxes.count(), 0);
    }

    // Closed and opened again, the window is as it was left: hidden panels,
    // its size, the results splitters, the model and the recent models; a
    // model gone since is dropped from the list with a note.
    void settingsSurviveARestart()
    {
        ModalAnswerer boxes;
        const QString gone = dir.filePath("gone.lua");
        QFile::copy(modelFile, gone);
        const QString runFile = dir.filePath("kept.kivorun");
        QList<int> sizes;
        {
            const std::unique_ptr<StudioWindow> studio = readyStudio();
            QVERIFY(studio);
            studio->openModel(gone);
            studio->openModel(modelFile);
            QCOMPARE(StudioWindow::recentModels(), QStringList({modelFile, gone}));
            // The View menu hides and shows the panel and the toolbar.
            auto *dock = studio->findChild<QDockWidget *>("graphicsDock");
            auto *toolBar = studio->findChild<QToolBar *>("simulationToolBar");
            action(*studio, "actionShowToolBar")->trigger();
            QVERIFY(toolBar->isHidden());
            action(*studio, "actionShowToolBar")->trigger();
            QVERIFY(toolBar->isVisible());
            action(*studio, "actionShowGraphics")->trigger();
            QVERIFY(dock->isHidden());
            studio->resize(1100, 720);

            QSignalSpy ended(studio.get(), &StudioWindow::executionEnded);
            monitorOnAFreePort(*studio);
            studio->runAction()->trigger();
            QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 1, 30000);
            auto *splitter = studio->latestView()->findChild<QSplitter *>("splitter_3");
            sizes = splitter->sizes();
            sizes = {sizes.value(0) + sizes.value(1) - 150, 150};
            splitter->setSizes(sizes);
            sizes = splitter->sizes();
            // The iteration error on a logarithmic axis, warnings and worse.
            studio->latestView()->setLogarithmic(2, true);
            studio->latestView()->findChild<QComboBox *>("levelCmb")->setCurrentIndex(3);
            QVERIFY(studio->runFiles()->saveRun(studio->latestView(), runFile));
            QVERIFY(studio->close());
        }
        QFile::remove(gone);

        StudioWindow again;
        again.show();
        QCOMPARE(again.size(), QSize(1100, 720));
        QVERIFY(again.findChild<QDockWidget *>("graphicsDock")->isHidden());
        QVERIFY(!action(again, "actionShowGraphics")->isChecked());
        QVERIFY(again.findChild<QToolBar *>("simulationToolBar")->isVisible());
        QCOMPARE(StudioWindow::lastModel(), modelFile);
        auto *recent = again.findChild<QMenu *>("menuRecentModels");
        emit recent->aboutToShow();
        QCOMPARE(recent->actions().size(), 1);
        QCOMPARE(recent->actions().first()->toolTip(), QDir::toNativeSeparators(modelFile));
        QVERIFY2(again.statusBar()->currentMessage().contains("gone.lua"),
            qPrintable(again.statusBar()->currentMessage()));
        QCOMPARE(StudioWindow::recentModels(), QStringList({modelFile}));
        KvcResultsWidget *opened = again.runFiles()->openRun(runFile);
        QVERIFY(opened);
        QCOMPARE(opened->findChild<QSplitter *>("splitter_3")->sizes(), sizes);
        QVERIFY(opened->isLogarithmic(2) && !opened->isLogarithmic(1));
        QCOMPARE(opened->findChild<QComboBox *>("levelCmb")->currentIndex(), 3);
        QCOMPARE(boxes.count(), 0);
        again.close();
    }

    void unreadableSettingsGiveTheDefaults_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("told");
        QTest::newRow("not a settings file")
            << QByteArray("[General\n\x01\x02\xff garbage = = =\n[[[\n", 24) << true;
        QTest::newRow("values of a foreign type")
            << QByteArray("[General]\nwindow_geometry=hello\nwindow_state=42\n"
                          "recent_models=7\nlast_model=@Variant(\\0\\0\\0\\x7f)\n"
                          "[results_splitters]\nsplitter_3=@Point(1 2)\n")
            << false;
    }

    // Nothing crashes, the defaults are used; a file that cannot be read at
    // all is kept aside and the user told where.
    void unreadableSettingsGiveTheDefaults()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, told);
        ModalAnswerer boxes;
        const QString fileName = QSettings().fileName();
        QFile::remove(fileName + ".unreadable");
        {
            QFile file(fileName);
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write(content);
        }
        StudioWindow studio;
        studio.show();
        QTRY_COMPARE(boxes.count(), told ? 1 : 0);
        if (told) {
            QCOMPARE(boxes.last().title, QString("Settings"));
            QVERIFY(boxes.last().text.contains(fileName + ".unreadable"));
            QFile kept(fileName + ".unreadable");
            QVERIFY(kept.open(QIODevice::ReadOnly));
            QCOMPARE(kept.readAll(), content);
        }
        QVERIFY(studio.findChild<QDockWidget *>("graphicsDock")->isVisible());
        QVERIFY(StudioWindow::lastModel().isEmpty());
        auto *recent = studio.findChild<QMenu *>("menuRecentModels");
        emit recent->aboutToShow();
        QCOMPARE(recent->actions().size(), 1);
        QVERIFY(!recent->actions().first()->isEnabled());
        // Closing writes settings that read again.
        QVERIFY(studio.close());
        QSettings settings;
        QCOMPARE(settings.status(), QSettings::NoError);
        QVERIFY(settings.value("window_geometry").toByteArray().size() > 0);
    }

    void abortedRunShowsTheSimulatorsErrorLine_data()
    {
        QTest::addColumn<QByteArray>("model");
        QTest::addColumn<bool>("portTaken");
        QTest::addColumn<QString>("line");
        QTest::newRow("model with an error")
            << QByteArray("Simulation{ name = \"broken\"\n") << false << "'}' expected";
        QTest::newRow("port taken by another run")
            << QByteArray(pacedModel) << true << "cannot listen on 127.0.0.1 port ";
    }

    void abortedRunShowsTheSimulatorsErrorLine()
    {
        QFETCH(QByteArray, model);
        QFETCH(bool, portTaken);
        QFETCH(QString, line);
        ModalAnswerer boxes;
        const QString file = dir.filePath("aborted.lua");
        QFile out(file);
        QVERIFY(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
        out.write(model);
        out.close();
        const std::unique_ptr<StudioWindow> studio = readyStudio();
        QVERIFY(studio);
        studio->openModel(file);
        // What another run's server does to this one: hold its port.
        const quint16 port = portForAutomaticMonitoring();
        QTcpServer other;
        if (portTaken)
            QVERIFY(other.listen(QHostAddress::LocalHost, port));
        handleNextModal(
            [port](QWidget *dialog) {
                auto *preset = dialog->findChild<QCheckBox *>("autoMonitorChk");
                preset->setChecked(false);
                setText(dialog, "localPortLed", QString::number(port));
                QSignalBlocker blocker(preset);
                preset->setChecked(true);
                dialog->findChild<QPushButton *>("okBtn")->click();
            },
            "KvcOptionsDlg");
        action(*studio, "actionConfigure")->trigger();
        QSignalSpy ended(studio.get(), &StudioWindow::executionEnded);
        studio->runAction()->trigger();
        QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 1, 15000);
        QCOMPARE(ended.at(0).at(0).value<Status>(), KvcActionManager::Aborted);
        const QString error = studio->runErrorLine();
        QVERIFY2(error.startsWith("kivo: error: ") && error.contains(line), qPrintable(error));
        auto *label = studio->latestView()->findChild<QLabel *>("runErrorLbl");
        QVERIFY(label && label->isVisible());
        QVERIFY(label->text().contains(error));
        const QString status = studio->statusBar()->currentMessage();
        if (portTaken) {
            const QString taken = QString("Port %1 is taken").arg(port);
            QVERIFY2(label->text().contains(taken) && label->text().contains("Run options"),
                qPrintable(label->text()));
            QVERIFY2(status.contains(QString("port %1 is taken").arg(port)), qPrintable(status));
        } else {
            QVERIFY2(status.contains(error), qPrintable(status));
        }
        // The running tab could not be closed; the ended one can.
        auto *tabs = studio->findChild<QTabWidget *>("tabs");
        QCOMPARE(tabs->tabBar()->tabButton(0, QTabBar::RightSide), nullptr);
        QCOMPARE(
            tabs->tabBar()->tabButton(1, QTabBar::RightSide)->toolTip(), QString("Close this tab"));
        QCOMPARE(boxes.count(), 0);
    }

    // The shortcuts fit a 1366x768 screen with room for a title bar and a
    // panel and list every key; the main window works at 1024x700.
    void shortcutsAreListedAndTheWindowFitsASmallScreen()
    {
        ModalAnswerer boxes;
        const std::unique_ptr<StudioWindow> studio = readyStudio();
        QVERIFY(studio);
        studio->openModel(modelFile);
        const QSize screen(1366, 768 - 70);
        QVERIFY(studio->minimumSizeHint().boundedTo(QSize(1024, 700)) == studio->minimumSizeHint());

        action(*studio, "actionShortcuts")->trigger();
        auto *shortcuts = studio->findChild<QDialog *>("shortcutsDlg");
        QVERIFY(shortcuts && shortcuts->isVisible());
        QVERIFY(shortcuts->size().boundedTo(screen) == shortcuts->size());
        auto *table = shortcuts->findChild<QTableWidget *>("shortcutsTbl");
        QStringList keys;
        for (int r = 0; r < table->rowCount(); ++r)
            keys << table->item(r, 0)->text();
        for (const char *key : {"F5", "Ctrl+O", "Ctrl+Shift+G", "Ctrl+Wheel", "Double-click, Home",
                 "Click on a legend entry"})
            QVERIFY2(keys.contains(key), key);
        shortcuts->close();
        QCOMPARE(boxes.count(), 0);
    }

    void aboutBoxShowsTheVersionRecords()
    {
        ModalAnswerer boxes;
        const std::unique_ptr<StudioWindow> studio = readyStudio();
        QVERIFY(studio);
        action(*studio, "actionAbout")->trigger();
        QTRY_COMPARE(boxes.count(), 1);
        const SeenBox box = boxes.last();
        QCOMPARE(box.title, QString("About Kivo Studio"));
        QCOMPARE(box.icon, QMessageBox::Information);
        QVERIFY(box.hasParent);
        const QStringList &info = KvcClientLibVersionInfo();
        QCOMPARE(info.size(), 6);
        for (int i : {0, 1, 3, 4, 5})
            QVERIFY2(box.text.contains(info.at(i)), qPrintable(info.at(i)));
        for (const QString &entry : KvcClientLibRevisionDependencies())
            QVERIFY2(box.text.contains(entry), qPrintable(entry));
        QVERIFY(box.text.contains(studio->manager()->localKivoVersionString()));
        QVERIFY(box.text.contains(studio->manager()->localKivoRevisionString()));
    }
};

QTEST_MAIN(KivoStudioTest)
#include "tst_kivostudio.moc"
