#include "kvcexecuter.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTextCodec>
#include <QTextDecoder>
#include <QTimer>

namespace {

// How long a simulator that its runner left behind gets to stop on SIGTERM
// (it stops at the end of its current step) before it is killed.
constexpr int kOrphanGraceMs = 5000;

QString nativePath(const QString &path) { return QDir::toNativeSeparators(path); }

// Removes blanks at both ends, then the last character: the comma after the
// version and the closing parenthesis after the revision.
QString trimmedWithoutLast(const QString &text)
{
    QString result = text.trimmed();
    result.chop(1);
    return result;
}

// Takes over a process whose runner is gone: asks it to stop, kills it after
// the grace period, and deletes it once it has ended, all from the event loop,
// so that destroying a runner never blocks the GUI. Only if the application
// itself goes away first does it wait, since nothing is left on screen then.
class OrphanReaper : public QObject
{
public:
    explicit OrphanReaper(QProcess *process)
        : QObject(QCoreApplication::instance())
        , process(process)
    {
        process->setParent(this);
        // Unread output must not block the simulator's writes meanwhile.
        process->closeReadChannel(QProcess::StandardOutput);
        process->closeReadChannel(QProcess::StandardError);
        connect(process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &QObject::deleteLater);
        QTimer::singleShot(kOrphanGraceMs, this, [process] { process->kill(); });
        process->terminate();
    }

    ~OrphanReaper() override
    {
        if (process->state() == QProcess::NotRunning)
            return;
        process->disconnect(this);
        if (!process->waitForFinished(kOrphanGraceMs)) {
            process->kill();
            process->waitForFinished(1000);
        }
    }

private:
    QProcess *process;
};

} // namespace

KvcExecuter::KvcExecuter() = default;

KvcExecuter::~KvcExecuter()
{
    if (!process)
        return;
    // Nobody listens any more; end the simulator rather than orphan it.
    process->disconnect(this);
    if (process->state() == QProcess::NotRunning)
        process->deleteLater();
    else if (QCoreApplication::instance())
        new OrphanReaper(process);
    else
        delete process; // kills and waits: there is no event loop to wait in
}

QProcess *KvcExecuter::createProcess()
{
    auto *proc = new QProcess;
    decoder.reset(QTextCodec::codecForName("UTF-8")->makeDecoder());
    connect(proc, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
        &KvcExecuter::procFinished);
    // A start failure that shows only after start() returned would otherwise
    // never end the operation: QProcess emits no finished() for it. One that
    // shows inside start() or waitForStarted() is ended by their caller once
    // they have returned; in both cases the end runs outside the process's
    // own signal, because a receiver's message box may delete the process.
    connect(proc, &QProcess::errorOccurred, this, [this, proc](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart || starting)
            return;
        QTimer::singleShot(0, this, [this, proc] {
            if (proc == process)
                finishStartFailure();
        });
    });
    proc->setProcessChannelMode(QProcess::MergedChannels);
    return proc;
}

bool KvcExecuter::asyncInit(QString path)
{
    currentOp = InitOp;
    if (!QFileInfo::exists(path)) {
        finishAsyncOp(
            false, tr("The Kivo executable [%1] could not be found.").arg(nativePath(path)));
        return false;
    }
    exePath = path;
    process = createProcess();
    // The output is read whole when the interrogation ends.
    if (startProcess({QStringLiteral("-pversion")}))
        return true;
    finishStartFailure();
    return false;
}

bool KvcExecuter::asyncRun(bool readOutput)
{
    currentOp = RunOp;
    process = createProcess();
    if (readOutput)
        connect(process, &QProcess::readyReadStandardOutput, this, &KvcExecuter::logMsgAvailable);

    QStringList arguments = options.toParamList(true);
    arguments << modelFile;
    const bool started = startProcess(arguments);
    if (!readOutput) {
        process->closeReadChannel(QProcess::StandardOutput);
        process->closeReadChannel(QProcess::StandardError);
        if (process->bytesAvailable() > 0)
            logMsgAvailable();
    }
    if (!started) {
        finishStartFailure();
        return false;
    }
    startTime = QDateTime::currentDateTime();
    return true;
}

bool KvcExecuter::startProcess(const QStringList &arguments)
{
    starting = true;
    process->start(exePath, arguments, QIODevice::ReadOnly);
    process->waitForStarted();
    starting = false;
    return process->state() != QProcess::NotRunning;
}

void KvcExecuter::finishStartFailure()
{
    finishAsyncOp(false,
        tr("The Kivo executable [%1] failed to start: %2")
            .arg(nativePath(exePath), process->errorString()));
}

void KvcExecuter::stopReadingOutput()
{
    if (!process)
        return;
    process->closeReadChannel(QProcess::StandardOutput);
    process->closeReadChannel(QProcess::StandardError);
    if (process->bytesAvailable() > 0)
        logMsgAvailable();
}

void KvcExecuter::kill()
{
    if (process)
        process->kill();
}

void KvcExecuter::terminate()
{
    if (process)
        process->terminate();
}

void KvcExecuter::procFinished(int exitCode, QProcess::ExitStatus exitStatus)
{
    this->exitCode = exitCode;
    if (exitStatus == QProcess::CrashExit) {
        // The last lines before a crash are the ones a user needs most.
        if (initialized && process->bytesAvailable() > 0)
            logMsgAvailable();
        finishAsyncOp(
            false, tr("The Kivo process finished unexpectedly: %1").arg(process->errorString()));
    } else if (initialized) {
        if (process->bytesAvailable() > 0)
            logMsgAvailable();
        finishAsyncOp(true, QString());
    } else {
        parseVersionOutput();
    }
}

void KvcExecuter::logMsgAvailable()
{
    if (!process)
        return;
    const QByteArray bytes = process->readAllStandardOutput();
    const QString text = decoder ? decoder->toUnicode(bytes) : QString::fromUtf8(bytes);
    // Bytes of a character whose end has not arrived yet decode to nothing.
    if (!text.isEmpty())
        emit logMessage(-1, text);
}

void KvcExecuter::parseVersionOutput()
{
    infoLines = QString::fromUtf8(process->readAllStandardOutput()).split(QLatin1Char('\n'));
    const QString first = infoLines.value(0);
    if (!first.startsWith(QLatin1String("Kivo"))) {
        finishAsyncOp(false, tr("Unexpected return string while initializing Kivo environment."));
        return;
    }
    const QLatin1String versionKey("Version:");
    const QLatin1String revisionKey("Revision:");
    const int versionAt = first.indexOf(versionKey);
    const int revisionAt = first.indexOf(revisionKey);
    if (versionAt < 0 || revisionAt < 0) {
        finishAsyncOp(false, tr("Unexpected version string while initializing Kivo environment."));
        return;
    }
    const int versionStart = versionAt + versionKey.size();
    versionString = trimmedWithoutLast(first.mid(versionStart, qMax(0, revisionAt - versionStart)));
    revisionString = trimmedWithoutLast(first.mid(revisionAt + revisionKey.size()));

    QString configDir = QFileInfo(exePath).path();
    for (const QLatin1String buildDir : {QLatin1String("/debug"), QLatin1String("/release")}) {
        if (configDir.endsWith(buildDir)) {
            configDir.chop(buildDir.size());
            break;
        }
    }
    defConfigFile = configDir + QLatin1String("/config/defaultConfig.lua");

    if (QFileInfo::exists(defConfigFile)) {
        initialized = true;
        finishAsyncOp(true, QString());
    } else {
        finishAsyncOp(
            false, tr("Error locating the default configuration file for the Kivo executable."));
    }
}

void KvcExecuter::finishAsyncOp(bool ok, QString err)
{
    if (process) {
        process->disconnect(this);
        process->deleteLater();
        process = nullptr;
    }
    const AsyncOpType op = currentOp;
    emit asyncOpFinished(op, ok, err);
    // A receiver may have started the next operation from within the signal.
    if (currentOp == op && !process)
        currentOp = NoOp;
}
