#pragma once

#include "kvcexport.h"

#include <QString>
#include <QStringList>

/// Run options of the Kivo simulator: a plain, copyable record whose fields
/// (all but autoMonitor) stand for command-line switches.
///
/// Numbers use -1 for "not set" and are written on the command line as the
/// unsigned reading of their 32-bit pattern (-2 gives 4294967294). Blanks
/// around text fields are ignored when the list is built.
struct KVC_EXPORT KvcOptions {
    QString configFile; ///< "-c": configuration file overriding the standard one
    QString userParams; ///< "-u": user parameters for the model, one text
    QString logFile; ///< "-r": output log file
    QString logPath; ///< "-l": value of the $LOG path macro
    QString inputPath; ///< "-i": value of the $INPUT path macro
    QString outputPath; ///< "-o": value of the $OUTPUT path macro
    bool autoMonitor = false; ///< library only: monitor a local run on localhost:localPort
    bool monitor = false; ///< "-monitor"
    bool nomonitor = false; ///< "-nomonitor"
    bool local = false; ///< "-local [port]"
    int localPort = -1; ///< port of "-local"; -1: none given
    QString connectFile; ///< "-s": file into which the server address is exported
    int wait = -1; ///< "-wait ms": 0 waits forever; -1: switch not given
    bool quiet = false; ///< "-quiet"
    bool verbose = false; ///< "-verbose"
    bool memory = false; ///< "-memory"
    bool nomemory = false; ///< "-nomemory"
    bool time = false; ///< "-time"
    bool notime = false; ///< "-notime"
    bool server = false; ///< "-server"
    bool noserver = false; ///< "-noserver"
    bool noconsole = false; ///< "-noconsole"
    bool regression = false; ///< "-regression"

    KvcOptions();
    KvcOptions(const KvcOptions &other);
    KvcOptions(KvcOptions &&other) noexcept;
    KvcOptions &operator=(const KvcOptions &other);
    KvcOptions &operator=(KvcOptions &&other) noexcept;
    ~KvcOptions();

    /// The switches in their fixed order. With `separateValues` a switch and
    /// its value are two entries (process arguments); otherwise one entry
    /// "switch value" (readable form). Does not call check().
    QStringList toParamList(bool separateValues) const;
    /// False with the message of the first broken rule in `msg`; true with
    /// `msg` untouched otherwise.
    bool check(QString &msg) const;
    /// The automatic local monitoring preset: -local 6174 -wait 2000 -noserver.
    void enableAutoMonitorOptions();

private:
    void addBool(QStringList &list, const char *name, bool value) const;
    void addString(
        QStringList &list, const char *name, const QString &value, bool separateValues) const;
    void addUnsigned(QStringList &list, const char *name, int value, bool separateValues) const;
};
