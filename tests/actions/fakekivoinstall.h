#pragma once

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

// A copy of the fake simulator at bin/<subdir>/kivo below `dir`, with the
// configuration file in bin/config/ unless told otherwise. Returns the copy.
inline QString installFakeKivo(
    const QTemporaryDir &dir, const QString &subdir = QString(), bool withConfig = true)
{
    const QString binDir = dir.path() + "/bin" + (subdir.isEmpty() ? QString() : "/" + subdir);
    QDir().mkpath(binDir);
    const QString exe = binDir + "/kivo";
    QFile::copy(FAKE_KIVO, exe);
    QFile::setPermissions(exe, QFile::permissions(FAKE_KIVO));
    if (withConfig) {
        QDir().mkpath(dir.path() + "/bin/config");
        QFile config(dir.path() + "/bin/config/defaultConfig.lua");
        config.open(QIODevice::WriteOnly);
        config.write("-- defaults\n");
    }
    return exe;
}
