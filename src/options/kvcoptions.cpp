#include "kvcoptions.h"

#include <QObject>

KvcOptions::KvcOptions() = default;
KvcOptions::KvcOptions(const KvcOptions &other) = default;
KvcOptions::KvcOptions(KvcOptions &&other) noexcept = default;
KvcOptions &KvcOptions::operator=(const KvcOptions &other) = default;
KvcOptions &KvcOptions::operator=(KvcOptions &&other) noexcept = default;
KvcOptions::~KvcOptions() = default;

QStringList KvcOptions::toParamList(bool separateValues) const
{
    QStringList list;
    addString(list, "-c", configFile, separateValues);
    addString(list, "-u", userParams, separateValues);
    addString(list, "-r", logFile, separateValues);
    addString(list, "-l", logPath, separateValues);
    addString(list, "-i", inputPath, separateValues);
    addString(list, "-o", outputPath, separateValues);
    addBool(list, "-monitor", monitor);
    addBool(list, "-nomonitor", nomonitor);
    if (local) {
        if (localPort == -1)
            list << QStringLiteral("-local");
        else
            addUnsigned(list, "-local", localPort, separateValues);
    }
    addString(list, "-s", connectFile, separateValues);
    addUnsigned(list, "-wait", wait, separateValues);
    addBool(list, "-quiet", quiet);
    addBool(list, "-verbose", verbose);
    addBool(list, "-memory", memory);
    addBool(list, "-nomemory", nomemory);
    addBool(list, "-time", time);
    addBool(list, "-notime", notime);
    addBool(list, "-server", server);
    addBool(list, "-noserver", noserver);
    addBool(list, "-noconsole", noconsole);
    addBool(list, "-regression", regression);
    return list;
}

bool KvcOptions::check(QString &msg) const
{
    const char *broken = nullptr;
    if (quiet && verbose)
        broken
            = QT_TRANSLATE_NOOP("QObject", "-quiet and -verbose options can not be used together.");
    else if (memory && nomemory)
        broken = QT_TRANSLATE_NOOP(
            "QObject", "-memory and -nomemory options can not be used together.");
    else if (time && notime)
        broken
            = QT_TRANSLATE_NOOP("QObject", "-time and -notime options can not be used together.");
    else if ((quiet || verbose) && (memory || nomemory || time || notime))
        broken = QT_TRANSLATE_NOOP("QObject",
            "-memory, -noMemory, -time and -notime options can not be used together with -verbose "
            "or -quiet.");
    else if (server && noserver)
        broken = QT_TRANSLATE_NOOP(
            "QObject", "-server and -noserver options can not be used together.");
    else if (int(monitor) + int(nomonitor) + int(local) >= 2)
        broken = QT_TRANSLATE_NOOP(
            "QObject", "-monitor, -nomonitor and -local options can not be used together.\n\n");
    if (!broken)
        return true;
    msg = QObject::tr(broken);
    return false;
}

void KvcOptions::enableAutoMonitorOptions()
{
    autoMonitor = true;
    monitor = false;
    nomonitor = false;
    local = true;
    localPort = 6174;
    connectFile.clear();
    wait = 2000;
    server = false;
    noserver = true;
    noconsole = false;
}

void KvcOptions::addBool(QStringList &list, const char *name, bool value) const
{
    if (value)
        list << QLatin1String(name);
}

void KvcOptions::addString(
    QStringList &list, const char *name, const QString &value, bool separateValues) const
{
    const QString trimmed = value.trimmed();
    if (trimmed.isEmpty())
        return;
    if (separateValues)
        list << QLatin1String(name) << trimmed;
    else
        list << QStringLiteral("%1 %2").arg(QLatin1String(name), trimmed);
}

void KvcOptions::addUnsigned(
    QStringList &list, const char *name, int value, bool separateValues) const
{
    if (value == -1)
        return;
    const QString text = QString::number(quint32(value));
    if (separateValues)
        list << QLatin1String(name) << text;
    else
        list << QStringLiteral("%1 %2").arg(QLatin1String(name), text);
}
