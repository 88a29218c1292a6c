#pragma once

#include <QFile>
#include <QString>
#include <QTemporaryDir>

/// Scripts (models, connection files, configurations) that a test writes
/// into a temporary folder of its own, removed with the object.
///
/// Unnamed files get a fresh name each, so a file that one case wrote never
/// stands in for another's. A file that cannot be written ends the test
/// program: no case can go on without its input.
class ScriptFiles
{
public:
    QString path() const { return dir.path(); }
    QString filePath(const QString &name) const { return dir.filePath(name); }

    /// Writes `text` to script<N>.lua; returns its path.
    QString write(const QByteArray &text)
    {
        return write(QStringLiteral("script%1.lua").arg(++count), text);
    }

    /// Writes `text` to `name` in the folder, replacing what was there.
    QString write(const QString &name, const QByteArray &text)
    {
        const QString fileName = dir.filePath(name);
        QFile file(fileName);
        if (!dir.isValid() || !file.open(QIODevice::WriteOnly | QIODevice::Truncate)
            || file.write(text) != text.size())
            qFatal("cannot write %s", qPrintable(fileName));
        return fileName;
    }

private:
    QTemporaryDir dir;
    int count = 0;
};
