// Fuzz target of the monitoring protocol's frame decoder.
//
// Built as a libFuzzer binary with -DKVC_FUZZ=ON and clang; always built as
// a replay program that runs every file of a corpus folder through the same
// function (a CTest test over corpus/framedecoder), and that writes the seed
// corpus with --generate <folder>.

#include "kvcommframereader.h"
#include "kvcommframewriter.h"

#include <QDir>
#include <QFile>
#include <QtEndian>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Fed in two parts, so that frames split across reads are covered too.
    KvCommFrameReader reader;
    KvCommMessage message;
    const auto *bytes = reinterpret_cast<const char *>(data);
    const size_t half = size / 2;
    reader.addData(bytes, qsizetype(half));
    while (reader.readNext(message)) { }
    reader.addData(bytes + half, qsizetype(size - half));
    while (reader.readNext(message)) { }
    return 0;
}

#ifdef KVC_FUZZ_REPLAY

#include "fuzzreplay.h"

namespace {

int generate(const QString &folder)
{
    QDir().mkpath(folder);
    KvCommClientTrackedRuleInfo rule;
    rule.name = QStringLiteral("probe");
    rule.numTrackedData = 2;
    KvCommClientTrackedRuleDataInfo a, b;
    a.ruleId = b.ruleId = 0;
    a.name = QStringLiteral("time");
    b.id = 1;
    b.name = QStringLiteral("T");
    b.indexedBy = 1;
    b.numRows = 2;
    const QList<KvCommClientTrackedData> samples
        = {KvCommClientTrackedData(0, {0.5}), KvCommClientTrackedData(1, {1, 2, 3, 4})};
    const QDateTime t = QDateTime::fromMSecsSinceEpoch(1700000000000, Qt::UTC);
    const auto hex = [](const char *h) { return KvCommFrameWriter::frame(QByteArray::fromHex(h)); };

    const QList<QPair<QString, QByteArray>> seeds = {
        {"valid-hello", KvCommFrameWriter::hello(1)},
        {"valid-handshake",
            KvCommFrameWriter::hello(1) + KvCommFrameWriter::identity("1.2", "r9")
                + KvCommFrameWriter::controlOptions(7) + KvCommFrameWriter::status(2, t)
                + KvCommFrameWriter::simulationInfo("heat", "plate", {"a.lua"}, t, t)
                + KvCommFrameWriter::ready()},
        {"valid-rules", KvCommFrameWriter::ruleData({rule}, {a, b})},
        {"valid-index",
            KvCommFrameWriter::indexData(0,
                KvCommClientTrackedIndexData(KvCommClientTrackedIndexData::Nodes, {"n1", "n2"}),
                3)},
        {"valid-samples", KvCommFrameWriter::samples(samples, 42, 7)},
        {"valid-history",
            KvCommFrameWriter::historyBegin(3, 2) + KvCommFrameWriter::samples(samples, 1, 3)
                + KvCommFrameWriter::historyEnd()},
        {"valid-log-request-heartbeat",
            KvCommFrameWriter::log(6, "line\n") + KvCommFrameWriter::controlRequest(2)
                + KvCommFrameWriter::heartbeat() + KvCommFrameWriter::error("bye")},
        {"valid-update", KvCommFrameWriter::trackedDataInfo(b)},
        {"invalid-huge-length", QByteArray::fromHex("7fffffff")},
        {"invalid-truncated", KvCommFrameWriter::samples(samples, 42, 7).left(30)},
        {"invalid-not-a-map", hex("fb3ff8000000000000")},
        {"invalid-sizes", hex("a6000b0100020003810004811a000f424005d856483132333435363738")},
        {"invalid-array-lie", hex("a300186e019bffffffffffffff00")},
        {"unknown-type", hex("a2001910920166667574757265")},
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
