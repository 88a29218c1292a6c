// Fuzz target of the run-file reader: any bytes as a run file, read into a
// results data as a host opens one.
//
// Built as a libFuzzer binary with -DKVC_FUZZ=ON and clang; always built as
// a replay program (a CTest test over corpus/runfile) that writes the seed
// corpus with --generate <folder>.

#include "kvcrunfile.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    KvcRunFile::Run run;
    KvcRunFile::read(QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size)),
        QStringLiteral("input"), run);
    return 0;
}

#ifdef KVC_FUZZ_REPLAY

#include "fuzzreplay.h"
#include "runfixture.h"

#include <QTemporaryDir>
#include <QtEndian>

namespace {

int generate(const QString &folder)
{
    QDir().mkpath(folder);
    QTemporaryDir tmp;
    const auto savedRun = [&tmp](int steps, int logLines) {
        RunFixture::Run run;
        RunFixture::fill(run, steps, logLines);
        const QString file = tmp.filePath(QStringLiteral("run"));
        KvcRunFile::save(file, *run.data, run.view, nullptr);
        QFile f(file);
        f.open(QIODevice::ReadOnly);
        return f.readAll();
    };
    const QByteArray small = savedRun(3, 3);
    QByteArray newer = small;
    qToBigEndian<quint32>(KvcRunFile::FormatVersion + 1, newer.data() + KvcRunFile::MagicSize);
    QByteArray flipped = small;
    flipped[flipped.size() / 2] = char(flipped[flipped.size() / 2] ^ 0x5a);
    QByteArray huge = KvcRunFile::header() + QByteArray::fromHex("7fffffff");
    QByteArray zeroLength = small.left(KvcRunFile::HeaderSize) + QByteArray(4, '\0');

    const QList<QPair<QString, QByteArray>> seeds = {
        {"valid-small", small},
        {"valid-no-samples", savedRun(0, 2)},
        {"valid-empty-run", KvcRunFile::header()},
        {"cut-in-header", small.left(KvcRunFile::HeaderSize - 3)},
        {"cut-in-prefix", small.left(KvcRunFile::HeaderSize + 2)},
        {"cut-in-frame", small.left(small.size() * 2 / 3)},
        {"corrupted-middle", flipped},
        {"invalid-huge-length", huge},
        {"invalid-zero-length", zeroLength},
        {"refused-newer-version", newer},
        {"refused-not-a-run", QByteArray("time,P\n0.1,2\n")},
    };
    for (const auto &seed : seeds) {
        QFile f(folder + QLatin1Char('/') + seed.first);
        if (!f.open(QIODevice::WriteOnly) || f.write(seed.second) != seed.second.size()) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(f.fileName()));
            return 1;
        }
    }
    std::printf("%d seeds written to %s\n", int(seeds.size()), qPrintable(folder));
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc == 3 && QByteArray(argv[1]) == "--generate")
        return generate(QString::fromLocal8Bit(argv[2]));
    return replayFuzzInputs(argc, argv);
}

#endif
