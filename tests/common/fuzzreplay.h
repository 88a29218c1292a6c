#pragma once

// The replay side of a libFuzzer target: feeds every file named on the
// command line (or found in a folder named there) to LLVMFuzzerTestOneInput,
// so that CI replays the committed corpus with an ordinary compiler.

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

inline int replayFuzzInputs(int argc, char *argv[])
{
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        QStringList paths;
        const QString arg = QString::fromLocal8Bit(argv[i]);
        if (QFileInfo(arg).isDir()) {
            for (const QString &name : QDir(arg).entryList(QDir::Files, QDir::Name))
                paths << arg + QLatin1Char('/') + name;
        } else {
            paths << arg;
        }
        for (const QString &path : paths) {
            QFile f(path);
            if (!f.open(QIODevice::ReadOnly)) {
                std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
                return 1;
            }
            const QByteArray data = f.readAll();
            LLVMFuzzerTestOneInput(
                reinterpret_cast<const uint8_t *>(data.constData()), size_t(data.size()));
            ++files;
        }
    }
    std::printf("%d inputs replayed\n", files);
    return files > 0 ? 0 : 1;
}
