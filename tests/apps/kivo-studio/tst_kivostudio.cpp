// The demo host's wiring, driven through its own actions against the real
// simulator: model tab, monitored runs with their results tabs, the graphics
// dock and its drag onto a chart, the About box.
#include "studiowindow.h"

#include "childprocesses.h"
#include "kvcommclientdata.h"
#include "kvcresultsdata.h"
#include "kvcresultswidget.h"
#include "kvcversion.h"
#include "modalanswerer.h"

#include <QAction>
#include <QChartView>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTabWidget>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using Status = KvcActionManager::ExecutionStatus;
QT_CHARTS_USE_NAMESPACE

namespace {

const QString kivoPath = QStringLiteral(KVC_BIN_DIR "/kivo");

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

quint16 freePort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost, 0);
    return server.serverPort();
}

} // namespace

class KivoStudioTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StudioWindow> window;
    QTemporaryDir dir;
    QString modelFile;
    QTabWidget *tabs = nullptr;
    QListWidget *graphics = nullptr;
    KvcResultsWidget *firstView = nullptr;
    // Every end the window reports, from the start: a run may end while a
    // slot before the one that checks its end is still busy.
    std::unique_ptr<QSignalSpy> ended;

    QAction *action(const char *name) { return window->findChild<QAction *>(name); }

    // Automatic monitoring kept, its server moved off the preset's port to a
    // free one, through the configure action's dialog.
    static void monitorOnAFreePort(StudioWindow &studio)
    {
        const quint16 port = freePort();
        handleNextModal(
            [port](QWidget *dialog) {
                auto *preset = dialog->findChild<QCheckBox *>("autoMonitorChk");
                preset->setChecked(false);
                dialog->findChild<QLineEdit *>("localPortLed")->setText(QString::number(port));
                // Ticking the box again would bring the preset's port back.
                QSignalBlocker blocker(preset);
                preset->setChecked(true);
                dialog->findChild<QPushButton *>("okBtn")->click();
            },
            "KvcOptionsDlg");
        studio.findChild<QAction *>("actionConfigure")->trigger();
    }

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
        file.close();

        window = std::make_unique<StudioWindow>();
        window->resize(1400, 900);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        tabs = window->findChild<QTabWidget *>("tabs");
        graphics = window->findChild<QListWidget *>("graphicsLst");
        QVERIFY(tabs && graphics);
        QVERIFY(window->findChild<QDockWidget *>("graphicsDock"));
        ended = std::make_unique<QSignalSpy>(window.get(), &StudioWindow::executionEnded);

        QSignalSpy ready(window->manager(), &KvcActionManager::localKivoInitFinished);
        window->initSimulator(kivoPath);
        QTRY_COMPARE_WITH_TIMEOUT(ready.count(), 1, 10000);
        QVERIFY(window->manager()->canExecLocalKivo());
        // Nothing to run before a model is open.
        QVERIFY(!window->runAction()->isEnabled());
    }

    void cleanupTestCase()
    {
        ended.reset();
        window.reset();
    }

    void openedModelShowsInTheModelTab()
    {
        window->openModel(modelFile);
        QCOMPARE(tabs->count(), 1);
        auto *view = qobject_cast<KvcLuaFileWidget *>(tabs->widget(0));
        QVERIFY(view);
        QCOMPARE(view->fileName(), modelFile);
        QVERIFY(view->toPlainText().contains("Paced rod"));
        QCOMPARE(tabs->tabText(0), QString("paced.lua"));
        QVERIFY(window->windowTitle().startsWith("paced.lua"));
        QVERIFY(window->runAction()->isEnabled());
        QVERIFY(!window->latestResults());
    }

    void monitoredRunOpensAResultsTabThatFills()
    {
        ModalAnswerer boxes;
        monitorOnAFreePort(*window);
        const QDateTime started = QDateTime::currentDateTime();
        window->runAction()->trigger();

        QCOMPARE(tabs->count(), 2);
        firstView = qobject_cast<KvcResultsWidget *>(tabs->widget(1));
        QVERIFY(firstView);
        QCOMPARE(tabs->currentWidget(), firstView);
        QCOMPARE(window->latestView(), firstView);
        const QSharedPointer<KvcResultsData> data = window->latestResults();
        QVERIFY(data);
        QCOMPARE(firstView->resultData(), data);

        // Samples arrive and the dock lists the rule graphics by title.
        QTRY_VERIFY_WITH_TIMEOUT(data->simulationData()
                && data->simulationData()->samplesReceived() > 0 && data->currentTime() > 0,
            15000);
        QTRY_VERIFY(data->graphics().size() > data->numSpecialGraphics());
        // The server's times (in UTC on the wire) read in local time, as the
        // run's own start does.
        QTRY_VERIFY(!firstView->findChild<QLabel *>("simRunningStartedLbl")->text().isEmpty());
        for (const char *label : {"simLoadingStartedLbl", "simRunningStartedLbl"}) {
            const QString text = firstView->findChild<QLabel *>(label)->text();
            const QDateTime shown = QLocale::system().toDateTime(text, "dd-MMM-yyyy hh:mm:ss.zzz");
            QVERIFY2(shown >= started.addSecs(-1) && shown <= QDateTime::currentDateTime(),
                qPrintable(QString("%1: %2").arg(label, text)));
        }
        QTRY_COMPARE(graphics->count(), data->graphics().size());
        for (int i = 0; i < data->graphics().size(); ++i) {
            QCOMPARE(graphics->item(i)->text(), data->graphics().at(i)->title);
            QCOMPARE(graphics->item(i)->font().italic(), i < data->numSpecialGraphics());
        }
        QCOMPARE(boxes.count(), 0);
    }

    void graphicDraggedOntoAChartRetitlesIt()
    {
        const QSharedPointer<KvcResultsData> data = window->latestResults();
        auto *chartView = firstView->findChild<QChartView *>("lrChart");
        QVERIFY(chartView && chartView->chart());
        // The last rule graphic is on no chart yet.
        const int index = graphics->count() - 1;
        const QString title = data->graphics().at(index)->title;
        QVERIFY(!title.isEmpty());
        QVERIFY(chartView->chart()->title() != title);

        // The list's own drag data, as a real drag would carry it.
        const QModelIndexList indexes {graphics->model()->index(index, 0)};
        std::unique_ptr<QMimeData> mime(graphics->model()->mimeData(indexes));
        QVERIFY(mime);
        QCOMPARE(mime->formats(), QStringList {"application/x-GraphIndex"});
        QCOMPARE(mime->data("application/x-GraphIndex"), QByteArray::number(index));

        QWidget *target = chartView->viewport();
        const QPoint pos = target->rect().center();
        QDragEnterEvent enter(pos, Qt::CopyAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &enter);
        QVERIFY(enter.isAccepted());
        QDropEvent drop(pos, Qt::CopyAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &drop);
        QVERIFY(drop.isAccepted());
        QCOMPARE(chartView->chart()->title(), title);

        // Foreign drag data is refused and leaves the chart alone.
        QMimeData text;
        text.setText("3");
        QDragEnterEvent foreign(pos, Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &foreign);
        QVERIFY(!foreign.isAccepted());
        QDropEvent foreignDrop(pos, Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &foreignDrop);
        QCOMPARE(chartView->chart()->title(), title);
    }

    void endedExecutionKeepsItsTab()
    {
        QTRY_COMPARE_WITH_TIMEOUT(ended->count(), 1, 30000);
        QCOMPARE(ended->at(0).at(0).value<Status>(), KvcActionManager::Finished);
        QVERIFY(!window->manager()->active());
        QCOMPARE(tabs->count(), 2);
        QCOMPARE(tabs->widget(1), firstView);
        QVERIFY(window->runAction()->isEnabled());
    }

    void secondRunAddsASecondTabAndKeepsTheFirst()
    {
        ModalAnswerer boxes;
        const QSharedPointer<KvcResultsData> first = window->latestResults();
        const qint64 firstSamples = first->simulationData()->samplesReceived();
        ended->clear();
        monitorOnAFreePort(*window);
        window->runAction()->trigger();

        QCOMPARE(tabs->count(), 3);
        auto *second = qobject_cast<KvcResultsWidget *>(tabs->widget(2));
        QVERIFY(second && second != firstView);
        QCOMPARE(tabs->currentWidget(), second);
        QVERIFY(window->latestResults() != first);
        QVERIFY(tabs->tabText(1).startsWith("Run 1"));
        QVERIFY(tabs->tabText(2).startsWith("Run 2"));

        QTRY_COMPARE_WITH_TIMEOUT(ended->count(), 1, 30000);
        QCOMPARE(ended->at(0).at(0).value<Status>(), KvcActionManager::Finished);
        QVERIFY(window->latestResults()->simulationData()->samplesReceived() > 0);
        // The record of the first run is untouched.
        QCOMPARE(tabs->widget(1), firstView);
        QCOMPARE(firstView->resultData(), first);
        QCOMPARE(first->simulationData()->samplesReceived(), firstSamples);

        // Back on the first tab, the dock lists the first run's graphics.
        tabs->setCurrentIndex(1);
        QCOMPARE(graphics->count(), first->graphics().size());
        // The model tab shows none.
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
        studio.findChild<QAction *>("actionQuit")->trigger();
        QVERIFY(!studio.isVisible());
        QCOMPARE(boxes.count(), 1);
    }

    // Quitting mid-run asks, stops the simulator as it would stop itself and
    // closes once it has ended.
    void quittingDuringARunStopsTheSimulatorFirst()
    {
        ModalAnswerer boxes;
        StudioWindow studio;
        studio.show();
        QSignalSpy ready(studio.manager(), &KvcActionManager::localKivoInitFinished);
        QSignalSpy ended(&studio, &StudioWindow::executionEnded);
        studio.initSimulator(kivoPath);
        QTRY_COMPARE_WITH_TIMEOUT(ready.count(), 1, 10000);
        studio.openModel(KVC_EXAMPLES_DIR "/heat1d-long.lua");
        monitorOnAFreePort(studio);
        studio.runAction()->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(studio.manager()->isRemote(), 10000);

        boxes.queueAnswer(QMessageBox::Cancel);
        studio.findChild<QAction *>("actionQuit")->trigger();
        QCOMPARE(boxes.count(), 1);
        QVERIFY(boxes.last().text.contains("heat1d-long.lua"));
        QVERIFY(studio.isVisible());
        QCOMPARE(childProcesses().size(), 1);

        boxes.queueAnswer(QMessageBox::Yes);
        studio.findChild<QAction *>("actionQuit")->trigger();
        QCOMPARE(boxes.count(), 2);
        QVERIFY(studio.isVisible());
        QVERIFY(studio.statusBar()->currentMessage().startsWith("Stopping the simulation"));
        QTRY_VERIFY_WITH_TIMEOUT(!studio.isVisible(), 2 * KvcActionManager::kStopGraceMs);
        QCOMPARE(childProcesses().size(), 0);
        // Ended by its server, with its own exit code: no crash box.
        QCOMPARE(boxes.count(), 2);
        QCOMPARE(ended.count(), 1);
        QCOMPARE(ended.at(0).at(0).value<Status>(), KvcActionManager::Aborted);
    }

    void aboutBoxShowsTheVersionRecords()
    {
        ModalAnswerer boxes;
        action("actionAbout")->trigger();
        QTRY_COMPARE(boxes.count(), 1);
        const SeenBox box = boxes.last();
        QCOMPARE(box.title, QString("About Kivo Studio"));
        QCOMPARE(box.icon, QMessageBox::Information);
        QVERIFY(box.hasParent);
        const QStringList &info = KvcClientLibVersionInfo();
        QCOMPARE(info.size(), 6);
        for (int i : {0, 1, 3, 4, 5})
            QVERIFY2(box.text.contains(info.at(i)), qPrintable(info.at(i)));
        const QStringList &deps = KvcClientLibRevisionDependencies();
        QCOMPARE(deps.size(), 6);
        for (const QString &entry : deps)
            QVERIFY2(box.text.contains(entry), qPrintable(entry));
        QVERIFY(box.text.contains(window->manager()->localKivoVersionString()));
        QVERIFY(box.text.contains(window->manager()->localKivoRevisionString()));
    }
};

QTEST_MAIN(KivoStudioTest)
#include "tst_kivostudio.moc"
