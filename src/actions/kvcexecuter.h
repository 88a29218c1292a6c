#pragma once

#include "kvcexport.h"
#include "kvcoptions.h"

#include <QDateTime>
#include <QObject>
#include <QProcess>
#include <QStringList>

#include <memory>

class QTextDecoder;

/// Runs the Kivo simulator executable as a child process: the interrogation
/// ("-pversion": version, revision, default configuration file) and runs
/// with the switches of `options` followed by `modelFile`. One operation at a
/// time; each ends with exactly one asyncOpFinished(). Process output is
/// forwarded as logMessage(-1, text) chunk by chunk, decoded as UTF-8 by one
/// decoder per process, so a character split across two reads stays whole.
///
/// Neither operation has a time limit. Destroying a runner that still holds a
/// process ends that process without blocking: it is asked to stop (SIGTERM)
/// and killed if it is still running 5 s later, from the event loop, so that
/// no simulator is left orphaned; its end is then not reported. Only when the
/// application object goes away before that does its destruction wait.
///
/// A process that fails to start is never ended from inside its own signals:
/// the failure is reported once start() has returned, so a receiver may run
/// a nested event loop (a message box) without the process being deleted
/// under it.
///
/// Internal to the library; the action manager reads and writes its members.
class KVC_TESTING_EXPORT KvcExecuter : public QObject
{
    Q_OBJECT

public:
    enum AsyncOpType { NoOp = 0, InitOp = 1, RunOp = 2 };
    Q_ENUM(AsyncOpType)

    KvcExecuter();
    ~KvcExecuter() override;

    /// Starts the interrogation of `path`; false when it could not be started
    /// (the end has then already been signalled).
    bool asyncInit(QString path);
    /// Starts a run of exePath with `options` and `modelFile`; with
    /// `readOutput` the output is forwarded while the process runs.
    bool asyncRun(bool readOutput);
    /// Closes the process's output channels, then forwards what had arrived.
    void stopReadingOutput();
    /// Kills the process at once; its end arrives as a crash.
    void kill();
    /// Asks the process to stop (SIGTERM); the simulator ends its current step
    /// and exits with its own code, which arrives through procFinished.
    void terminate();

    bool initialized = false;
    QString exePath;
    QString versionString;
    QString revisionString;
    QStringList infoLines;
    QString defConfigFile;
    QString modelFile;
    KvcOptions options;
    QProcess *process = nullptr;
    AsyncOpType currentOp = NoOp;
    QDateTime startTime;
    int exitCode = 0;

signals:
    /// The operation `op` ended; `err` (translated) is empty when `ok`.
    void asyncOpFinished(KvcExecuter::AsyncOpType op, bool ok, QString err);
    /// Process output, exactly as read; `level` is always -1.
    void logMessage(int level, const QString &msg);

private slots:
    void procFinished(int exitCode, QProcess::ExitStatus exitStatus);
    void logMsgAvailable();

private:
    void finishAsyncOp(bool ok, QString err);
    void parseVersionOutput();
    QProcess *createProcess();
    bool startProcess(const QStringList &arguments);
    void finishStartFailure();

    std::unique_ptr<QTextDecoder> decoder;
    bool starting = false;
};
