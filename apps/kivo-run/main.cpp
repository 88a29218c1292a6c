// kivo-run: interrogates the Kivo simulator and runs one model through the
// library's runner, printing the version, the simulator's output and the
// final status. Exits 0 only when the simulation finished.
#include "kvcexecuter.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTextStream>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("kivo-run"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Runs a Kivo model on the simulator through kivoClientLib."));
    parser.addHelpOption();
    const QCommandLineOption kivoOption(QStringLiteral("kivo"),
        QStringLiteral("Simulator executable (default: kivo beside this program)."),
        QStringLiteral("path"), QCoreApplication::applicationDirPath() + QStringLiteral("/kivo"));
    parser.addOption(kivoOption);
    parser.addPositionalArgument(QStringLiteral("model"), QStringLiteral("The model file to run."));
    parser.process(app);
    if (parser.positionalArguments().size() != 1)
        parser.showHelp(2);

    QTextStream out(stdout);
    QTextStream err(stderr);
    KvcExecuter executer;
    int result = 1;
    QElapsedTimer clock;

    QObject::connect(&executer, &KvcExecuter::logMessage, [&out](int, const QString &text) {
        out << text;
        out.flush();
    });
    QObject::connect(&executer, &KvcExecuter::asyncOpFinished,
        [&](KvcExecuter::AsyncOpType op, bool ok, const QString &error) {
            if (!ok) {
                err << (op == KvcExecuter::InitOp ? "Error configuring Kivo environment"
                                                  : "Error executing Kivo simulation")
                    << ":\n"
                    << error << "\n";
                err.flush();
            }
            if (op == KvcExecuter::InitOp && ok) {
                out << "Simulator " << QDir::toNativeSeparators(executer.exePath) << "\n  version "
                    << executer.versionString << ", revision " << executer.revisionString
                    << "\n  default configuration "
                    << QDir::toNativeSeparators(executer.defConfigFile) << "\n";
                for (const QString &line : executer.infoLines)
                    if (!line.trimmed().isEmpty())
                        out << "  | " << line.trimmed() << "\n";
                out << "Running " << executer.modelFile << " with "
                    << executer.options.toParamList(false).join(QLatin1Char(' ')) << "\n\n";
                out.flush();
                clock.start();
                // A later failure to start ends through this same signal.
                QMetaObject::invokeMethod(
                    &executer, [&executer] { executer.asyncRun(true); }, Qt::QueuedConnection);
                return;
            }
            if (op == KvcExecuter::RunOp) {
                const bool finished = ok && executer.exitCode == 0;
                out << "\nFinal status: " << (finished ? "Finished" : "Aborted") << " (exit code "
                    << executer.exitCode << ", "
                    << QString::number(clock.elapsed() / 1000.0, 'f', 1) << " s)\n";
                out.flush();
                result = finished ? 0 : 1;
            }
            QCoreApplication::exit(result);
        });

    executer.modelFile = parser.positionalArguments().first();
    executer.options.enableAutoMonitorOptions();
    executer.asyncInit(parser.value(kivoOption));
    if (executer.currentOp == KvcExecuter::NoOp && !executer.initialized)
        return 1;
    app.exec();
    return result;
}
