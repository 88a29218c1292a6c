#include "kivomonitor.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("kivo-monitor"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Follows a Kivo simulation through its monitoring server and prints "
                       "statuses, log messages, rules, index data and samples.\n"
                       "Exit code: 0 when the simulation finished, 1 when it ended otherwise, "
                       "2 when the connection failed, 3 on a communication error."));
    parser.addHelpOption();
    QCommandLineOption timeout(QStringLiteral("timeout"),
        QStringLiteral("Connection time limit in seconds (default 5, 0: one "
                       "try)."),
        QStringLiteral("s"), QStringLiteral("5"));
    QCommandLineOption samples(QStringLiteral("samples"),
        QStringLiteral("Print every sample instead of a count per second."));
    QCommandLineOption recordFile(QStringLiteral("record"),
        QStringLiteral("Also record what the server sends into a run file."),
        QStringLiteral("file"));
    QCommandLineOption replayFile(QStringLiteral("replay"),
        QStringLiteral("Print what a run file holds instead of connecting (no host, no port)."),
        QStringLiteral("file"));
    parser.addOption(timeout);
    parser.addOption(samples);
    parser.addOption(recordFile);
    parser.addOption(replayFile);
    parser.addPositionalArgument(QStringLiteral("host"), QStringLiteral("Server address."));
    parser.addPositionalArgument(QStringLiteral("port"), QStringLiteral("Server port."));
    parser.process(app);

    const QStringList args = parser.positionalArguments();
    if (parser.isSet(replayFile)) {
        if (!args.isEmpty() || parser.isSet(recordFile)) {
            std::fprintf(stderr, "kivo-monitor: --replay takes no host, port or --record\n");
            return 2;
        }
        return KivoMonitor::replay(parser.value(replayFile), parser.isSet(samples));
    }
    bool portOk = false;
    bool timeoutOk = false;
    const uint port = args.size() == 2 ? args.at(1).toUInt(&portOk) : 0;
    const double seconds = parser.value(timeout).toDouble(&timeoutOk);
    if (args.size() != 2 || !portOk || port == 0 || port > 65535) {
        std::fprintf(stderr, "kivo-monitor: expected a host and a port (1..65535)\n%s",
            qPrintable(parser.helpText()));
        return 2;
    }
    if (!timeoutOk || seconds < 0 || seconds > 1000) {
        std::fprintf(stderr, "kivo-monitor: invalid time limit \"%s\" (0 to 1000 s)\n",
            qPrintable(parser.value(timeout)));
        return 2;
    }

    KivoMonitor monitor(parser.isSet(samples));
    if (parser.isSet(recordFile) && !monitor.recordTo(parser.value(recordFile)))
        return 2;
    QObject::connect(
        &monitor, &KivoMonitor::finished, &app, [](int code) { QCoreApplication::exit(code); },
        Qt::QueuedConnection);
    monitor.start(args.at(0), quint16(port), unsigned(seconds * 1000));
    return app.exec();
}
