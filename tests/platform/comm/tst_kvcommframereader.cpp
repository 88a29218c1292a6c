#include "kvcommframereader.h"

#include "commtestsupport.h"
#include "kvcommframewriter.h"
#include "kvcommglobal.h"
#include "kvcommschema.h"

#include <QtEndian>
#include <QtTest>

using namespace CommTest;

namespace {

QByteArray hex(const QByteArray &h) { return KvCommFrameWriter::frame(QByteArray::fromHex(h)); }

// A log message "kept" at level 3 with an unknown entry (given as raw CBOR
// key and value) in front.
QByteArray logWithEntry(const QByteArray &entry)
{
    return hex("a4000e " + entry + " 0103 02646b657074");
}

// A log message with an unknown key whose value is `item` n times, then `end`.
QByteArray nested(const char *item, int n, const char *end)
{
    return logWithEntry("184d" + QByteArray(item).repeated(n) + end);
}

// A batch of value 0 without components: `ids` ids and `sizes` sizes.
QByteArray emptySamples(int ids, int sizes)
{
    const auto array = [](int n) -> QByteArray {
        return " 9a" + QByteArray::number(n, 16).rightJustified(8, '0')
            + QByteArray("00").repeated(n);
    };
    return hex("a6000b 010a 0200 03" + array(ids) + " 04" + array(sizes) + " 05d85640");
}

QString timeText(const QDateTime &t)
{
    return t.isValid() ? QString::number(t.toMSecsSinceEpoch()) : QStringLiteral("-");
}

// The members that a message of its type fills, as one line.
QString describe(const KvCommMessage &m)
{
    using namespace KvCommProtocol;
    const QString name = KvCommSchema::message(m.rawType)
        ? QLatin1String(KvCommSchema::message(m.rawType)->name)
        : QStringLiteral("Unknown %1").arg(m.rawType);
    QStringList f;
    switch (m.type) {
    case Hello:
        f << m.magic << QString::number(m.protocolVersion);
        break;
    case Error:
        f << m.text;
        break;
    case Identity:
        f << m.version << m.revision;
        break;
    case ControlOptions:
    case ControlRequest:
        f << QString::number(m.options);
        break;
    case Status:
        f << QString::number(m.status) << timeText(m.time);
        break;
    case SimulationInfo:
        f << m.name << m.description << m.files.join(',') << timeText(m.loadingTime)
          << timeText(m.runningTime) << QString::number(m.plannedEndTime)
          << QString::number(m.plannedSteps);
        break;
    case RuleData:
        for (const KvCommClientTrackedRuleInfo &r : m.rules)
            f << QStringLiteral("rule %1 %2 %3 %4 %5 %6")
                     .arg(r.id)
                     .arg(r.firstTrackedData)
                     .arg(r.name, r.description)
                     .arg(r.indexTypes)
                     .arg(r.numTrackedData);
        for (const KvCommClientTrackedRuleDataInfo &v : m.trackedData)
            f << QStringLiteral("value %1 %2 %3 %4 %5 %6 %7 %8x%9")
                     .arg(v.id)
                     .arg(v.ruleId)
                     .arg(v.name, v.description)
                     .arg(v.indexedBy)
                     .arg(v.position)
                     .arg(v.unit)
                     .arg(v.numRows)
                     .arg(v.numCols);
        break;
    case TrackedDataInfo:
        f << QString::number(m.trackedId) << m.name << m.description << m.unit;
        break;
    case IndexData:
        f << QString::number(m.ruleId) << QString::number(m.indexType) << m.indexLines.join(',')
          << QString::number(m.elapsedTime);
        break;
    case Samples:
        f << QString::number(m.elapsedTime);
        for (const KvCommClientTrackedData &s : m.samples) {
            QStringList values;
            for (double v : s.values)
                values << QString::number(v);
            f << QStringLiteral("%1#%2=%3")
                     .arg(s.id)
                     .arg(s.sequence)
                     .arg(values.join(QLatin1Char(',')));
        }
        break;
    case HistoryBegin:
        f << QString::number(m.droppedSamples) << QString::number(m.historySamples);
        break;
    case Log:
        f << QString::number(m.level) << m.text;
        break;
    default:
        break;
    }
    return f.isEmpty() ? name : name + QLatin1String(": ") + f.join(QLatin1String(" | "));
}

// Every kind of message with every member set, to decode a row's frame into
// a message that is not fresh: absent keys must take their defaults.
QByteArray everythingSet()
{
    const QDateTime t = QDateTime::fromMSecsSinceEpoch(99, Qt::UTC);
    KvCommClientTrackedRuleDataInfo info = trackedData().at(2);
    info.description = QStringLiteral("stale");
    return KvCommFrameWriter::hello(9) + KvCommFrameWriter::error("stale")
        + KvCommFrameWriter::identity("stale", "stale") + KvCommFrameWriter::controlOptions(7)
        + KvCommFrameWriter::status(9, t)
        + KvCommFrameWriter::simulationInfo("stale", "stale", {"stale"}, t, t, 9.5, 9)
        + KvCommFrameWriter::ruleData(rules(), trackedData())
        + KvCommFrameWriter::trackedDataInfo(info) + KvCommFrameWriter::indexData(1, nodes(), 9)
        + KvCommFrameWriter::samples(batch(9), 9, 9) + KvCommFrameWriter::historyBegin(9, 9)
        + KvCommFrameWriter::log(7, "stale");
}

} // namespace

class tst_KvCommFrameReader : public QObject
{
    Q_OBJECT

private slots:
    void decodes_data();
    void decodes();
    void frameHeader_data();
    void frameHeader();
    void framesSplitAtAnyByteAreReassembled();
};

void tst_KvCommFrameReader::decodes_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("expected"); // the decoded message, or "error: " and part of it

    const QDateTime t0 = QDateTime::fromMSecsSinceEpoch(1700000000123, Qt::UTC);
    KvCommClientTrackedRuleDataInfo update = trackedData().at(2);
    update.description = QStringLiteral("temperature");
    const auto row = [](const char *name, const QByteArray &frame, const QString &expected) {
        QTest::newRow(name) << frame << expected;
    };

    // What the writer sends comes back member for member.
    row("hello", KvCommFrameWriter::hello(1), "Hello: KIVO-MONITOR | 1");
    row("error", KvCommFrameWriter::error("nope"), "Error: nope");
    row("identity", KvCommFrameWriter::identity("2.1.0", "r42"), "Identity: 2.1.0 | r42");
    row("control options", KvCommFrameWriter::controlOptions(7), "ControlOptions: 7");
    row("status", KvCommFrameWriter::status(KvCommStatusRunning, t0), "Status: 2 | 1700000000123");
    row("status of unknown time", KvCommFrameWriter::status(-3, QDateTime()), "Status: -3 | -");
    row("simulation info",
        KvCommFrameWriter::simulationInfo("heat", "été", {"a.lua", "b.lua"}, t0, QDateTime()),
        "SimulationInfo: heat | été | a.lua,b.lua | 1700000000123 | - | nan | 0");
    row("simulation info with its planned end",
        KvCommFrameWriter::simulationInfo("heat", "", {}, t0, t0, 1e5, 10000),
        "SimulationInfo: heat |  |  | 1700000000123 | 1700000000123 | 100000 | 10000");
    row("ready", KvCommFrameWriter::ready(), "Ready");
    row("rule data", KvCommFrameWriter::ruleData(rules(), trackedData()),
        "RuleData: rule 0 0 clock  0 2 | rule 1 2 probe  1 1 | value 0 0 time  0 0 s 1x1 | "
        "value 1 0 fem.error  0 1  1x1 | value 2 1 T  1 0 K 2x1");
    row("tracked data info", KvCommFrameWriter::trackedDataInfo(update),
        "TrackedDataInfo: 2 | T | temperature | K");
    row("index data",
        KvCommFrameWriter::indexData(0,
            KvCommClientTrackedIndexData(KvCommClientTrackedIndexData::Probes, {"p1", "p2"}), 77),
        "IndexData: 0 | 2 | p1,p2 | 77");
    row("samples, the first numbered 1000",
        KvCommFrameWriter::samples(
            {KvCommClientTrackedData(0, {1.5}), KvCommClientTrackedData(2, {}),
                KvCommClientTrackedData(1, {-2.0, 3.25, 1e300})},
            -12, 1000),
        "Samples: -12 | 0#1000=1.5 | 2#1001= | 1#1002=-2,3.25,1e+300");
    row("history begin", KvCommFrameWriter::historyBegin(5, 9), "HistoryBegin: 5 | 9");
    row("history end", KvCommFrameWriter::historyEnd(), "HistoryEnd");
    row("log", KvCommFrameWriter::log(6, "hello\n"), "Log: 6 | hello\n");
    row("control request", KvCommFrameWriter::controlRequest(4), "ControlRequest: 4");
    row("heartbeat", KvCommFrameWriter::heartbeat(), "Heartbeat");

    // Absent optional keys take their defaults.
    row("simulation info without keys", hex("a10006"), "SimulationInfo:  |  |  | - | - | nan | 0");

    // The planned end: any number; one that is not ahead of the start is unknown.
    const auto plannedEnd = [](const char *cbor) { return hex(QByteArray("a20006 06") + cbor); };
    const QString endIs = QStringLiteral("SimulationInfo:  |  |  | - | - | %1 | 0");
    row("planned end as a half float", plannedEnd("f93e00"), endIs.arg("1.5"));
    row("planned end as a single float", plannedEnd("fa47c35000"), endIs.arg("100000"));
    row("planned end as an integer", plannedEnd("1864"), endIs.arg("100"));
    row("planned end 0 is unknown", plannedEnd("00"), endIs.arg("nan"));
    row("negative planned end is unknown", plannedEnd("fbbff0000000000000"), endIs.arg("nan"));
    row("planned end NaN", plannedEnd("f97e00"), "error: planned end time out of range");
    row("planned end infinite", plannedEnd("f97c00"), "error: planned end time out of range");
    row("planned end as text", plannedEnd("6178"), "error: planned end time is not a number");
    row("negative planned steps", hex("a20006 0720"), "error: planned steps out of range");
    row("history begin without keys", hex("a1000c"), "HistoryBegin: 0 | 0");
    row("a value map of its rule only: one row, one column", hex("a30008 0181a0 0281a10100"),
        "RuleData: rule 0 0   0 0 | value 0 0   0 0  1x1");

    row("rule counts whose sum is beyond an int",
        hex("a30008 0183 a1041a7fffffff a1041a7fffffff a0 0280"),
        "RuleData: rule 0 0   0 2147483647 | rule 1 2147483647   0 2147483647 | "
        "rule 2 2147483647   0 0");

    // Unknown keys and types are skipped whole, whatever their value.
    const QString kept = QStringLiteral("Log: 3 | kept");
    const QString tooDeep = QStringLiteral("error: nests more than 16");
    row("text key", logWithEntry("616b f5"), kept);
    row("tag 1 under an unknown key", logWithEntry("184d c11a5f5e1000"), kept);
    row("tag 32 under an unknown key", logWithEntry("184d d8206178"), kept);
    row("tag 86 under an unknown key", logWithEntry("184d d85648 0000000000000000"), kept);
    row("tagged array of tagged items", logWithEntry("184d c182c200c301"), kept);
    row("tag as the key", logWithEntry("c100 01"), kept);
    row("string in chunks", logWithEntry("184d 7f616161626162ff"), kept);
    row("16 tags in a chain", nested("c1", 16, "00"), kept);
    row("16 arrays in one another", nested("81", 15, "8100"), kept);
    row("17 tags in a chain", nested("c1", 17, "00"), tooDeep);
    row("40 tags in a chain", nested("c1", 40, "00"), tooDeep);
    row("17 arrays in one another", nested("81", 16, "80"), tooDeep);
    row("200 arrays in one another", nested("81", 200, "00"), tooDeep);
    row("tag without its item", logWithEntry("184d c1ff"), "error: malformed CBOR");
    row("unknown type with values", hex("a3001903e7 0182016178 63747874c1c2f5"), "Unknown 999");
    row("type 2^32", hex("a2001b0000000100000000 0100"), "Unknown 4294967296");
    row("type 2^64 - 1", hex("a2001bffffffffffffffff 0100"), "Unknown 18446744073709551615");

    // 65 536 samples are the most a batch may hold.
    const int most = KvCommProtocol::MaxSamplesPerBatch;
    QString all = QStringLiteral("Samples: 10");
    for (int i = 0; i < most; ++i)
        all += QStringLiteral(" | 0#%1=").arg(i);
    row("65536 samples", emptySamples(most, most), all);
    row("65537 sample ids", emptySamples(most + 1, most), "error: more than 65536 sample ids");
    row("65537 sample sizes", emptySamples(most, most + 1), "error: more than 65536 sample sizes");

    // Broken frames are errors, and nothing is decoded after them.
    row("body not a map", hex("01"), "error: not a CBOR map");
    row("map without type", hex("a10102"), "error: does not start with the message type");
    row("type is text", hex("a100636c6f67"), "error: not an unsigned integer");
    row("negative type", hex("a10020"), "error: not an unsigned integer");
    row("log level not an integer", hex("a3000e0161330261 78"),
        "error: log level is not an integer");
    row("log level outside 0..7", hex("a3000e01080261 78"), "error: log level out of range: 8");
    row("log without text", hex("a2000e0102"),
        "error: the Log message lacks its required key 2 (log text)");
    row("value map without its rule", hex("a30008 0180 0281a1026154"),
        "error: a value map lacks its required key 1 (rule of a tracked value)");
    row("rule that is not a map", hex("a300080181010280"), "error: a rule is not a map");
    row("negative sample id", hex("a6000b010a0200 038120 048101 05d85648 0000000000000000"),
        "error: sample ids out of range");
    row("sizes disagree with the byte string",
        hex("a6000b010a0200 03820001 04820102 05d85648 0000000000000000"),
        "error: the samples declare 3 values but carry 8 bytes");
    row("more ids than sizes", hex("a6000b010a0200 03820001 048101 05d85648 0000000000000000"),
        "error: 2 sample ids but 1 sample sizes");
    row("values without tag 86", hex("a6000b010a0200 038100 048101 0548 0000000000000000"),
        "error: sample values are not a tagged float64 byte string");
    row("index type 3 does not exist", hex("a4000a0100020303 80"),
        "error: index type out of range: 3");
    row("array announcing 2^64 items", hex("a300186e019bffffffffffffff00"),
        "error: malformed CBOR");
    row("text announcing 2 GiB in a 10-byte frame", hex("a2000e027a7fffffff41"),
        "error: log text is longer than the frame");
    row("skipped value announcing 1.8 GB", hex("a2000e18637a6e31626e41"),
        "error: skipped string is longer than the frame");
    row("70000 rules of one byte each, length not announced",
        hex("a2000801 9f" + QByteArray("a0").repeated(70000) + "ff"),
        "error: more than 65536 rules");
    row("body ends inside a string", hex("a3000e010202657472756e"), "error: malformed CBOR");
    row("bytes after the map", hex("a1001000"), "error: 1 bytes after the end of the message");
    row("not CBOR at all", hex("ffffffff"), "error: not a CBOR map");
}

void tst_KvCommFrameReader::decodes()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, expected);

    KvCommFrameReader reader;
    KvCommMessage m;
    reader.addData(everythingSet());
    while (reader.readNext(m)) { }
    QVERIFY2(!reader.hasError(), qPrintable(reader.errorString()));

    // A heartbeat after the frame: read after a good frame, never after a bad one.
    reader.addData(frame + KvCommFrameWriter::heartbeat());
    const bool ok = reader.readNext(m);
    const QString got = ok ? describe(m) : QStringLiteral("error: ") + reader.errorString();
    if (expected.startsWith(QLatin1String("error: ")))
        QVERIFY2(!ok && got.contains(expected.mid(7)), qPrintable(got));
    else
        QCOMPARE(got, expected);
    QCOMPARE(reader.readNext(m), ok);
    QCOMPARE(reader.hasError(), !ok);
}

void tst_KvCommFrameReader::frameHeader_data()
{
    QTest::addColumn<quint32>("length");
    QTest::addColumn<QString>("error"); // empty: the frame is awaited

    QTest::newRow("exactly the largest frame is awaited") << KvCommProtocol::MaxFrameSize << "";
    QTest::newRow("one byte more is refused before the body arrives")
        << KvCommProtocol::MaxFrameSize + 1 << "a frame of 16777217 bytes exceeds the limit";
    QTest::newRow("4 GiB") << 0xffffffffu << "a frame of 4294967295 bytes exceeds the limit";
    QTest::newRow("empty") << 0u << "empty frame";
}

void tst_KvCommFrameReader::frameHeader()
{
    QFETCH(quint32, length);
    QFETCH(QString, error);
    QByteArray header(4, '\0');
    qToBigEndian<quint32>(length, header.data());
    KvCommFrameReader reader;
    reader.addData(header);
    KvCommMessage m;
    QVERIFY(!reader.readNext(m));
    QCOMPARE(reader.hasError(), !error.isEmpty());
    QCOMPARE(reader.errorString().left(error.size()), error);
    if (error.isEmpty())
        QCOMPARE(reader.bytesMissing(), qsizetype(length));
}

void tst_KvCommFrameReader::framesSplitAtAnyByteAreReassembled()
{
    const QByteArray stream = KvCommFrameWriter::log(1, QStringLiteral("one"))
        + KvCommFrameWriter::samples(batch(1), 5, 0) + KvCommFrameWriter::heartbeat();
    for (int step = 1; step <= 7; ++step) {
        KvCommFrameReader reader;
        KvCommMessage m;
        QStringList got;
        for (int i = 0; i < stream.size(); i += step) {
            reader.addData(stream.constData() + i, qMin(step, stream.size() - i));
            while (reader.readNext(m))
                got << describe(m);
        }
        QCOMPARE(got,
            QStringList({"Log: 1 | one", "Samples: 5 | 0#0=1 | 1#1=0.5 | 2#2=1.1,1.2,1.3,1.4",
                "Heartbeat"}));
    }
}

QTEST_GUILESS_MAIN(tst_KvCommFrameReader)
#include "tst_kvcommframereader.moc"
