#include "commandline.h"
#include "configuration.h"
#include "logger.h"
#include "monitorsettings.h"
#include "nullmonitorsink.h"
#include "servermonitorsink.h"
#include "simulationcontrol.h"
#include "simulationdriver.h"

#include "kvcommprotocol.h"
#include "kvcommserver.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSocketNotifier>

#include <lua.hpp>

#include <csignal>
#include <cstdio>
#include <memory>
#include <thread>
#include <unistd.h>

namespace {

const char *const versionLine = "Kivo 3.1 (Version: 3.1.0, Revision: 5012)";

int signalPipe[2] = {-1, -1};

void onSignal(int sig)
{
    const char c = 1;
    if (::write(signalPipe[1], &c, 1) < 0) {
        // The pipe is full: a stop is already on its way.
    }
    // A second signal ends the process at once, should the run not stop.
    struct sigaction sa = {};
    sa.sa_handler = SIG_DFL;
    sigaction(sig, &sa, nullptr);
}

void printOut(const QString &text)
{
    std::fputs(text.toLocal8Bit().constData(), stdout);
    std::fflush(stdout);
}

QString absoluteDir(const QString &dir, const QString &fallback)
{
    const QString d = dir.trimmed().isEmpty() ? fallback : dir.trimmed();
    return QDir::cleanPath(QFileInfo(d).absoluteFilePath());
}

int fail(int exitCode, const QString &error)
{
    std::fprintf(stderr, "kivo: error: %s\n", error.toLocal8Bit().constData());
    return exitCode;
}

// SIGTERM and SIGINT stop the run at the end of the current step; the
// handler only writes to a pipe, and the event loop passes the stop on.
void stopOnSignals(QCoreApplication &app, SimulationControl &control)
{
    if (::pipe(signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [&control] {
        char buf[16];
        if (::read(signalPipe[0], buf, sizeof buf) > 0)
            control.requestTerminate();
    });
    struct sigaction sa = {};
    sa.sa_handler = onSignal;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGINT, &sa, nullptr);
}

QString versionText()
{
    return QStringLiteral("%1\nBuild date: %2\nLua: %3\nQt: %4\n"
                          "Physics: transient heat conduction, implicit Euler, 1-D line "
                          "and 2-D rectangle meshes\n"
                          "Linear solvers: Conjugate Gradient (Jacobi), Gauss-Seidel\n"
                          "Monitoring: embedded server, protocol version %6\n"
                          "Default configuration: %5\n")
        .arg(QLatin1String(versionLine), QLatin1String(__DATE__), QLatin1String(LUA_RELEASE),
            QLatin1String(qVersion()), QDir::toNativeSeparators(Configuration::defaultFile()))
        .arg(KvCommProtocol::Version);
}

// A switch wins over the configuration; the input folder defaults to the model's.
SimulationDriver::Settings runSettings(const CommandLine &cmd, const Configuration &config)
{
    SimulationDriver::Settings run;
    run.modelFile = cmd.modelFile;
    run.userParams = cmd.userParams;
    run.paths.log
        = absoluteDir(cmd.logPath.isEmpty() ? config.logPath : cmd.logPath, QStringLiteral("."));
    run.paths.input = absoluteDir(cmd.inputPath.isEmpty() ? config.inputPath : cmd.inputPath,
        QFileInfo(cmd.modelFile).absolutePath());
    run.paths.output = absoluteDir(
        cmd.outputPath.isEmpty() ? config.outputPath : cmd.outputPath, QStringLiteral("."));
    run.luaMemoryBytes = std::size_t(config.luaMemoryMB) << 20;
    return run;
}

Logger::Settings logSettings(
    const CommandLine &cmd, const Configuration &config, const QString &logDir)
{
    Logger::Settings settings;
    settings.minLevel = config.logLevel;
    settings.time = cmd.time || (config.logTime && !cmd.notime);
    settings.memory = cmd.memory || (config.logMemory && !cmd.nomemory);
    settings.quiet = cmd.quiet;
    settings.verbose = cmd.verbose;
    settings.console = config.logConsole && !cmd.noconsole;
    settings.regression = cmd.regression;
    QString logFile = cmd.logFile.trimmed().isEmpty() ? config.logFile : cmd.logFile.trimmed();
    logFile.replace(QLatin1String("$LOG"), logDir);
    settings.file = logFile;
    return settings;
}

// A listening server that has written its connection file, or null with the
// reason in `error`.
std::unique_ptr<KvCommServer> startServer(const MonitorSettings &monitor, QString &error)
{
    auto server = std::make_unique<KvCommServer>();
    server->setIdentity(QStringLiteral("3.1.0"), QStringLiteral("5012"));
    server->setControlOptions(KvCommControlCancel | KvCommControlTerminate
        | (monitor.logsThroughServer ? KvCommControlLog : 0u));
    const QHostAddress address = monitor.localOnly ? QHostAddress(QHostAddress::LocalHost)
                                                   : QHostAddress(QHostAddress::Any);
    if (!server->listen(address, quint16(monitor.port))) {
        error = QStringLiteral("the monitoring server cannot listen on %1 port %2: %3")
                    .arg(address.toString())
                    .arg(monitor.port)
                    .arg(server->errorString());
        return nullptr;
    }
    if (!monitor.connectFile.isEmpty()
        && !ServerMonitorSink::writeConnectionFile(
            monitor.connectFile, server->serverPort(), monitor.localOnly, error))
        return nullptr;
    return server;
}

void logStart(Logger &logger, const Configuration &config, const SimulationDriver::Settings &run,
    const MonitorSettings &monitor, const KvCommServer *server)
{
    logger.log(Logger::Debug,
        QStringLiteral("Configuration: %1")
            .arg(config.sourceFile.isEmpty() ? QStringLiteral("built-in") : config.sourceFile));
    logger.log(Logger::Debug,
        QStringLiteral("$LOG = %1, $INPUT = %2, $OUTPUT = %3")
            .arg(run.paths.log, run.paths.input, run.paths.output));
    if (monitor.waitMs >= 0 && !monitor.serverEnabled)
        logger.log(
            Logger::Info, QStringLiteral("No monitoring server is started; -wait is ignored."));
    if (server)
        logger.log(Logger::Info,
            QStringLiteral("Monitoring server listening on %1 port %2")
                .arg(monitor.localOnly ? QStringLiteral("localhost")
                                       : QStringLiteral("all interfaces"))
                .arg(server->serverPort()));
}

// The numbers run on a worker so that this thread's event loop stays free
// for the monitoring server; clients get everything, the final status
// included, before the process ends.
int runOnWorker(QCoreApplication &app, SimulationDriver &driver, KvCommServer *server)
{
    int exitCode = SimulationDriver::Success;
    std::thread worker([&] {
        exitCode = driver.run();
        QMetaObject::invokeMethod(
            &app,
            [&app, server] {
                if (!server) {
                    app.quit();
                    return;
                }
                QObject::connect(server, &KvCommServer::allClosed, &app, &QCoreApplication::quit);
                server->closeAllAfterFlush(5000);
            },
            Qt::QueuedConnection);
    });
    app.exec();
    worker.join();
    return exitCode;
}

} // namespace

int main(int argc, char *argv[])
{
    // A closed stdout must not kill us: writes fail with EPIPE instead.
    std::signal(SIGPIPE, SIG_IGN);
    QCoreApplication app(argc, argv);
    SimulationControl control;
    stopOnSignals(app, control);

    CommandLine cmd;
    QString error;
    if (!cmd.parse(app.arguments().mid(1), error))
        return fail(SimulationDriver::UsageError, error);
    if (cmd.action == CommandLine::PrintVersion || cmd.action == CommandLine::PrintHelp) {
        printOut(cmd.action == CommandLine::PrintVersion ? versionText() : CommandLine::usage());
        return SimulationDriver::Success;
    }

    Configuration config;
    const bool ownConfig = !cmd.configFile.trimmed().isEmpty();
    if (!config.load(
            ownConfig ? cmd.configFile.trimmed() : Configuration::defaultFile(), ownConfig, error))
        return fail(SimulationDriver::FileError, error);
    SimulationDriver::Settings run = runSettings(cmd, config);
    const MonitorSettings monitor = MonitorSettings::resolve(cmd, config);
    run.waitMs = monitor.serverEnabled ? monitor.waitMs : -1;
    Logger logger;
    if (!logger.open(logSettings(cmd, config, run.paths.log), error))
        return fail(SimulationDriver::FileError, error);

    // The server lives on this thread; the worker publishes to it.
    std::unique_ptr<KvCommServer> server;
    std::unique_ptr<MonitorSink> sink;
    if (monitor.serverEnabled) {
        server = startServer(monitor, error);
        if (!server)
            return fail(SimulationDriver::FileError, error);
        sink = std::make_unique<ServerMonitorSink>(server.get());
        QObject::connect(server.get(), &KvCommServer::clientDropped, &app,
            [&logger](const QString &, const QString &reason) {
                // The reason names the client already.
                logger.log(Logger::Warning, QStringLiteral("Monitoring: %1\n").arg(reason));
            });
    } else {
        sink = std::make_unique<NullMonitorSink>();
    }
    sink->setControl(&control);
    logger.setSink(sink.get(), monitor.serverEnabled && monitor.logsThroughServer);
    logStart(logger, config, run, monitor, server.get());

    SimulationDriver driver(run, logger, *sink, control);
    return runOnWorker(app, driver, server.get());
}
