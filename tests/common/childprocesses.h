#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QFile>

/// The live (not yet reaped) child processes of this test, from /proc: what
/// a test that starts simulators checks it left nothing behind with.
inline QList<qint64> childProcesses()
{
    QList<qint64> pids;
    const QString self = QString::number(QCoreApplication::applicationPid());
    for (const QString &entry : QDir("/proc").entryList(QDir::Dirs)) {
        QFile stat("/proc/" + entry + "/stat");
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        // pid (comm) state ppid ...: the name may hold blanks, so split after ')'.
        const QString text = QString::fromLatin1(stat.readAll());
        const QStringList fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
        if (fields.value(1) == self && fields.value(0) != "Z")
            pids << entry.toLongLong();
    }
    return pids;
}
