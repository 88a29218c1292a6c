#include "commandline.h"

#include <climits>

namespace {

bool isUnsigned(const QString &s)
{
    if (s.isEmpty())
        return false;
    for (QChar c : s)
        if (!c.isDigit() || c.unicode() > 127)
            return false;
    return true;
}

} // namespace

bool CommandLine::parse(const QStringList &args, QString &error)
{
    if (args.contains(QLatin1String("-pversion"))) {
        action = PrintVersion;
        return true;
    }
    if (args.contains(QLatin1String("-h")) || args.contains(QLatin1String("-help"))
        || args.contains(QLatin1String("--help"))) {
        action = PrintHelp;
        return true;
    }
    QStringList positional;
    for (int i = 0; i < args.size(); ++i) {
        if (!parseArgument(args, i, positional, error))
            return false;
    }
    return checkContradictions(error) && takeModelFile(positional, error);
}

QString *CommandLine::textField(const QString &name)
{
    static const struct {
        const char *name;
        QString CommandLine::*field;
    } switches[] = {
        {"-c", &CommandLine::configFile},
        {"-u", &CommandLine::userParams},
        {"-r", &CommandLine::logFile},
        {"-l", &CommandLine::logPath},
        {"-i", &CommandLine::inputPath},
        {"-o", &CommandLine::outputPath},
        {"-s", &CommandLine::connectFile},
    };
    for (const auto &s : switches)
        if (name == QLatin1String(s.name))
            return &(this->*s.field);
    return nullptr;
}

bool *CommandLine::flagField(const QString &name)
{
    static const struct {
        const char *name;
        bool CommandLine::*field;
    } switches[] = {
        {"-monitor", &CommandLine::monitor},
        {"-nomonitor", &CommandLine::nomonitor},
        {"-quiet", &CommandLine::quiet},
        {"-verbose", &CommandLine::verbose},
        {"-memory", &CommandLine::memory},
        {"-nomemory", &CommandLine::nomemory},
        {"-time", &CommandLine::time},
        {"-notime", &CommandLine::notime},
        {"-server", &CommandLine::server},
        {"-noserver", &CommandLine::noserver},
        {"-noconsole", &CommandLine::noconsole},
        {"-regression", &CommandLine::regression},
    };
    for (const auto &s : switches)
        if (name == QLatin1String(s.name))
            return &(this->*s.field);
    return nullptr;
}

// Takes args[i] and, for a switch with a value, the value too (i moves on).
bool CommandLine::parseArgument(
    const QStringList &args, int &i, QStringList &positional, QString &error)
{
    const QString &arg = args.at(i);
    if (QString *text = textField(arg)) {
        if (i + 1 >= args.size()) {
            error = QStringLiteral("Missing value after %1.").arg(arg);
            return false;
        }
        *text = args.at(++i);
        userParamsGiven = userParamsGiven || arg == QLatin1String("-u");
    } else if (bool *flag = flagField(arg)) {
        *flag = true;
    } else if (arg == QLatin1String("-local")) {
        return parseLocal(args, i, error);
    } else if (arg == QLatin1String("-wait")) {
        return parseWait(args, i, error);
    } else if (arg.startsWith(QLatin1Char('-')) && arg.size() > 1) {
        error = QStringLiteral("Unknown switch '%1'. Try kivo -help.").arg(arg);
        return false;
    } else {
        positional << arg;
    }
    return true;
}

// The port is optional: only a number that follows is taken as one.
bool CommandLine::parseLocal(const QStringList &args, int &i, QString &error)
{
    local = true;
    if (i + 1 >= args.size() || !isUnsigned(args.at(i + 1)))
        return true;
    bool ok = false;
    const uint port = args.at(++i).toUInt(&ok);
    if (!ok || port > 65535) {
        error = QStringLiteral("Bad port number '%1' after -local: expected 0 to 65535.")
                    .arg(args.at(i));
        return false;
    }
    localPort = int(port);
    return true;
}

bool CommandLine::parseWait(const QStringList &args, int &i, QString &error)
{
    if (i + 1 >= args.size()) {
        error = QStringLiteral("Missing value after -wait.");
        return false;
    }
    bool ok = false;
    const QString &value = args.at(++i);
    const uint ms = isUnsigned(value) ? value.toUInt(&ok) : 0;
    if (!ok || ms > uint(INT_MAX)) {
        error = QStringLiteral("Bad number '%1' after -wait: expected milliseconds (0 = "
                               "no limit).")
                    .arg(value);
        return false;
    }
    wait = int(ms);
    return true;
}

bool CommandLine::takeModelFile(const QStringList &positional, QString &error)
{
    if (positional.size() > 1) {
        error = QStringLiteral("Only one model file may be given, got: %1.")
                    .arg(positional.join(QStringLiteral(", ")));
        return false;
    }
    if (positional.isEmpty() || positional.first().trimmed().isEmpty()) {
        error = QStringLiteral("No model file given. Try kivo -help.");
        return false;
    }
    modelFile = positional.first();
    return true;
}

// Same rules, same order as the client's run options check.
bool CommandLine::checkContradictions(QString &error) const
{
    if (quiet && verbose)
        error = QStringLiteral("-quiet and -verbose options can not be used together.");
    else if (memory && nomemory)
        error = QStringLiteral("-memory and -nomemory options can not be used together.");
    else if (time && notime)
        error = QStringLiteral("-time and -notime options can not be used together.");
    else if ((quiet || verbose) && (memory || nomemory || time || notime))
        error = QStringLiteral("-memory, -noMemory, -time and -notime options can not be used "
                               "together with -verbose or -quiet.");
    else if (server && noserver)
        error = QStringLiteral("-server and -noserver options can not be used together.");
    else if (int(monitor) + int(nomonitor) + int(local) >= 2)
        error = QStringLiteral("-monitor, -nomonitor and -local options can not be used together.");
    else
        return true;
    return false;
}

QString CommandLine::usage()
{
    return QStringLiteral(
        "Usage: kivo [switches] model.lua\n"
        "       kivo -pversion | -help\n"
        "\n"
        "Configuration and paths:\n"
        "  -c file        configuration file replacing config/defaultConfig.lua\n"
        "  -u text        user parameters for the model (\"key=value;key2=value2\"), seen\n"
        "                 by the model as userParams (raw text) and params (table)\n"
        "  -r file        also write the log into this file\n"
        "  -l dir         value of the $LOG path macro\n"
        "  -i dir         value of the $INPUT path macro\n"
        "  -o dir         value of the $OUTPUT path macro\n"
        "Monitoring:\n"
        "  -monitor       start the monitoring server\n"
        "  -nomonitor     do not start the monitoring server\n"
        "  -local [port]  start the server on localhost only (any port if 0 or missing)\n"
        "  -s file        write the server's address into this connection file\n"
        "  -wait ms       wait for a client before loading (0 = no limit; needs a server)\n"
        "  -server        send log messages through the monitoring server\n"
        "  -noserver      do not send log messages through the monitoring server\n"
        "Log:\n"
        "  -quiet         warnings and errors only\n"
        "  -verbose       every message\n"
        "  -memory, -nomemory   memory messages on or off\n"
        "  -time, -notime       time messages on or off\n"
        "  -noconsole     no log on the console (fatal errors still go to stderr)\n"
        "  -regression    tag the log file's numbers for regression comparisons\n"
        "\n"
        "Exit codes: 0 finished or canceled, 1 usage error, 2 model error,\n"
        "3 terminated (signal or terminate request), 4 configuration or file error.\n");
}
