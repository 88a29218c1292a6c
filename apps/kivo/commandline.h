#pragma once

#include <QString>
#include <QStringList>

// The simulator's switches, each switch and each value a separate argument,
// the model file last. Holds what was given; defaults come from Configuration.
class CommandLine
{
public:
    enum Action { Run, PrintVersion, PrintHelp };

    // args without the program name. On failure error names the switch or value.
    bool parse(const QStringList &args, QString &error);
    static QString usage();

    Action action = Run;
    QString configFile;
    QString userParams;
    bool userParamsGiven = false;
    QString logFile;
    QString logPath;
    QString inputPath;
    QString outputPath;
    bool monitor = false;
    bool nomonitor = false;
    bool local = false;
    int localPort = -1; // -1: -local without a port
    QString connectFile;
    int wait = -1; // -1: not given; 0: no limit
    bool quiet = false;
    bool verbose = false;
    bool memory = false;
    bool nomemory = false;
    bool time = false;
    bool notime = false;
    bool server = false;
    bool noserver = false;
    bool noconsole = false;
    bool regression = false;
    QString modelFile;

private:
    QString *textField(const QString &name);
    bool *flagField(const QString &name);
    bool parseArgument(const QStringList &args, int &i, QStringList &positional, QString &error);
    bool parseLocal(const QStringList &args, int &i, QString &error);
    bool parseWait(const QStringList &args, int &i, QString &error);
    bool checkContradictions(QString &error) const;
    bool takeModelFile(const QStringList &positional, QString &error);
};
