// kivo-studio: a desktop host of kivoClientLib. With --headless (or without a
// display) it runs the model once, monitored, follows it to its end, saves a
// screenshot and a summary, and exits with 0 only if the execution finished.
#include "studiowindow.h"

#include "kvcommclientdata.h"
#include "kvcresultsdata.h"
#include "qtmessagebox.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QLocale>
#include <QMetaEnum>
#include <QSaveFile>
#include <QScreen>
#include <QTextStream>
#include <QTimer>
#include <QTranslator>

#include <cstdio>

namespace {

QString defaultModel()
{
    const QString appDir = QCoreApplication::applicationDirPath();
    const QStringList candidates {
        appDir + QStringLiteral("/../share/kivoClientLib/examples/heat1d.lua"),
        QStringLiteral(KVC_EXAMPLES_DIR "/heat1d.lua")};
    for (const QString &candidate : candidates)
        if (QFileInfo::exists(candidate))
            return QDir::cleanPath(candidate);
    return QString();
}

bool wantsHeadless(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i)
        if (qstrcmp(argv[i], "--headless") == 0)
            return true;
    return qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

// The locale to translate into: --lang <name> (or --lang=<name>) wins over the
// environment, for systems where the wanted locale is not installed. The
// parser sees the option too, but only after the translators are in place.
QLocale wantedLocale(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg(argv[i]);
        if (arg == "--lang" && i + 1 < argc)
            return QLocale(QString::fromLocal8Bit(argv[i + 1]));
        if (arg.startsWith("--lang="))
            return QLocale(QString::fromLocal8Bit(arg.mid(7)));
    }
    return QLocale();
}

void loadTranslations(QApplication &app, const QLocale &locale)
{
    const QString dir = QCoreApplication::applicationDirPath();
    const QStringList folders {dir + QStringLiteral("/translations"),
        dir + QStringLiteral("/../share/kivoClientLib/translations")};
    const QStringList names {QStringLiteral("kivoclientlib"), QStringLiteral("kivostudio")};
    for (const QString &name : names) {
        auto *translator = new QTranslator(&app);
        bool loaded = false;
        for (const QString &folder : folders)
            if ((loaded = translator->load(locale, name, QStringLiteral("_"), folder)))
                break;
        if (loaded)
            app.installTranslator(translator);
        else
            delete translator;
    }
}

// The offscreen platform warns about every dialog it cannot size for a
// window manager; in a headless run that says nothing to the user.
QtMessageHandler previousHandler = nullptr;

void quietOffscreenWarnings(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    if (type == QtWarningMsg && msg.contains(QLatin1String("propagateSizeHints")))
        return;
    if (previousHandler)
        previousHandler(type, context, msg);
}

// Without a display nobody can answer a message box: say it on standard
// error and dismiss it, through its own event loop, as its escape button would.
void answerBoxesOnStderr()
{
    QtMessageBox::setExecHook([](QMessageBox *box) {
        std::fprintf(stderr, "%s\n%s\n", qPrintable(box->windowTitle()), qPrintable(box->text()));
        QTimer::singleShot(0, box, [box] {
            if (QAbstractButton *button = box->escapeButton())
                button->click();
            else
                box->reject();
        });
    });
}

} // namespace

int main(int argc, char **argv)
{
    const bool headless = wantsHeadless(argc, argv);
    if (headless)
        previousHandler = qInstallMessageHandler(quietOffscreenWarnings);
    if (headless && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    // Sharp text and lines at the size the screen's density calls for.
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication app(argc, argv);
    // Saved servers and silenced questions live under these names.
    QCoreApplication::setOrganizationName(QStringLiteral("kivoClientLib"));
    QCoreApplication::setApplicationName(QStringLiteral("kivo-studio"));
    const QLocale locale = wantedLocale(argc, argv);
    QLocale::setDefault(locale);
    loadTranslations(app, locale);

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Runs and monitors Kivo simulations."));
    parser.addHelpOption();
    const QCommandLineOption kivoOption(QStringLiteral("kivo"),
        QStringLiteral("The simulator (default: kivo beside this program)."),
        QStringLiteral("path"), QCoreApplication::applicationDirPath() + QStringLiteral("/kivo"));
    const QCommandLineOption headlessOption(QStringLiteral("headless"),
        QStringLiteral("Run the model once without a display, save a screenshot and a summary."));
    const QCommandLineOption screenshotOption(QStringLiteral("screenshot"),
        QStringLiteral("Where the headless run saves its picture."), QStringLiteral("png"),
        QStringLiteral("kivo-studio.png"));
    const QCommandLineOption summaryOption(QStringLiteral("summary"),
        QStringLiteral("Where the headless run writes its summary."), QStringLiteral("file"),
        QStringLiteral("kivo-studio-summary.txt"));
    const QCommandLineOption timeoutOption(QStringLiteral("timeout"),
        QStringLiteral("Headless: give up after this many seconds."), QStringLiteral("s"),
        QStringLiteral("600"));
    const QCommandLineOption langOption(QStringLiteral("lang"),
        QStringLiteral("The language of the user interface, e.g. de or de_DE (default: the "
                       "system's)."),
        QStringLiteral("locale"));
    parser.addOptions(
        {kivoOption, headlessOption, screenshotOption, summaryOption, timeoutOption, langOption});
    parser.addPositionalArgument(QStringLiteral("model"),
        QStringLiteral("The model to open (default: the bundled example)."));
    parser.process(app);

    // The model named, else the one of last time, else the bundled example.
    QString model = parser.positionalArguments().value(0);
    if (model.isEmpty() && !headless)
        model = StudioWindow::lastModel();
    if (model.isEmpty())
        model = defaultModel();
    StudioWindow window;
    // As the user left it; else its preferred size, on a screen that has room
    // for it. The headless job's picture always has the preferred size.
    if (headless || !window.hasRestoredGeometry()) {
        QSize size(1400, 900);
        if (!headless && window.screen())
            size = size.boundedTo(window.screen()->availableGeometry().size());
        window.resize(size);
    }
    window.show();
    if (!model.isEmpty())
        window.openModel(QFileInfo(model).absoluteFilePath());

    if (!headless) {
        window.initSimulator(parser.value(kivoOption));
        return app.exec();
    }

    // The headless main job.
    answerBoxesOnStderr();
    QTextStream out(stdout);
    QElapsedTimer clock;
    clock.start();
    int exitCode = 1;
    bool finished = false;
    auto finish = [&](const QString &status, int code) {
        if (finished)
            return;
        finished = true;
        exitCode = code;
        const QString screenshot = QFileInfo(parser.value(screenshotOption)).absoluteFilePath();
        QDir().mkpath(QFileInfo(screenshot).path());
        const bool saved = window.grab().save(screenshot, "PNG");
        const QSharedPointer<KvcResultsData> data = window.latestResults();
        const QSharedPointer<KvCommClientData> store = data ? data->simulationData() : nullptr;
        QString summary;
        QTextStream text(&summary);
        text << "model: " << QDir::toNativeSeparators(model) << "\n"
             << "simulator: Kivo " << window.manager()->localKivoVersionString() << " (revision "
             << window.manager()->localKivoRevisionString() << ")\n"
             << "status: " << status << "\n"
             << "simulated time reached: " << (data ? data->currentTime() : 0.0) << " s\n"
             << "samples received: " << (store ? store->samplesReceived() : 0)
             << " (missed: " << (store ? store->samplesMissed() : 0) << ")\n"
             << "graphics: " << (data ? data->graphics().size() : 0) << "\n"
             << "elapsed time: " << QString::number(clock.elapsed() / 1000.0, 'f', 1) << " s\n"
             << "screenshot: "
             << (saved ? QDir::toNativeSeparators(screenshot) : QStringLiteral("not saved"))
             << "\n";
        text.flush();
        QSaveFile file(parser.value(summaryOption));
        if (file.open(QIODevice::WriteOnly | QIODevice::Text)) {
            file.write(summary.toUtf8());
            file.commit();
        }
        out << summary;
        out.flush();
        // Queued: the end may come before the event loop runs (a simulator
        // that cannot be started fails at once), and exit() would be lost then.
        QTimer::singleShot(0, qApp, [code] { QCoreApplication::exit(code); });
    };

    QObject::connect(window.manager(), &KvcActionManager::localKivoInitFinished, &window, [&] {
        if (!window.manager()->canExecLocalKivo() || model.isEmpty()) {
            finish(QStringLiteral("no simulator or no model"), 2);
            return;
        }
        window.runAction()->trigger();
    });
    QObject::connect(&window, &StudioWindow::executionEnded, &window,
        [&](KvcActionManager::ExecutionStatus status) {
            // Let the charts draw their last frames first.
            QTimer::singleShot(1500, &window, [&, status] {
                // The summary is read by scripts: the status in its untranslated form.
                finish(QString::fromLatin1(
                           QMetaEnum::fromType<KvcActionManager::ExecutionStatus>().valueToKey(
                               status)),
                    status == KvcActionManager::Finished ? 0 : 1);
            });
        });
    QTimer::singleShot(parser.value(timeoutOption).toInt() * 1000, &window,
        [&] { finish(QStringLiteral("timed out"), 3); });
    window.initSimulator(parser.value(kivoOption));
    app.exec();
    return exitCode;
}
