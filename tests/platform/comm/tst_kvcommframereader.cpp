#include "kvcommframereader.h"
#include "kvcommframewriter.h"
#include "kvcommglobal.h"

#include <QCborStreamWriter>
#include <QtEndian>
#include <QtTest>

namespace {

// A CBOR body written by hand, for frames that our writer would never make.
QByteArray body(const std::function<void(QCborStreamWriter &)> &write)
{
    QByteArray out;
    QCborStreamWriter w(&out);
    write(w);
    return out;
}

QByteArray frameOf(const QByteArray &b) { return KvCommFrameWriter::frame(b); }

QByteArray samplesBody(const QVector<qint64> &ids, const QVector<qint64> &counts,
    const QByteArray &values, bool tagged = true)
{
    return body([&](QCborStreamWriter &w) {
        w.startMap(6);
        w.append(0);
        w.append(quint64(KvCommProtocol::Samples));
        w.append(1);
        w.append(10);
        w.append(2);
        w.append(0);
        w.append(3);
        w.startArray(quint64(ids.size()));
        for (qint64 id : ids)
            w.append(id);
        w.endArray();
        w.append(4);
        w.startArray(quint64(counts.size()));
        for (qint64 c : counts)
            w.append(c);
        w.endArray();
        w.append(5);
        if (tagged)
            w.append(QCborTag(KvCommProtocol::TagFloat64LE));
        w.appendByteString(values.constData(), values.size());
        w.endMap();
    });
}

QList<KvCommClientTrackedData> someSamples()
{
    return {KvCommClientTrackedData(0, {1.5}), KvCommClientTrackedData(2, {}),
        KvCommClientTrackedData(1, {-2.0, 3.25, 1e300})};
}

} // namespace

class tst_KvCommFrameReader : public QObject
{
    Q_OBJECT

private slots:
    void everyMessageSurvivesARoundTrip();
    void samplesFrameMatchesTheDocumentedBytes();
    void samplesKeepValuesSequenceAndElapsedTime();
    void framesSplitAtAnyByteAreReassembled();
    void unknownTypesAndKeysAreSkipped();
    void malformedFramesAreErrors_data();
    void malformedFramesAreErrors();
    void errorStopsTheReader();
};

void tst_KvCommFrameReader::everyMessageSurvivesARoundTrip()
{
    const QDateTime t0 = QDateTime::fromMSecsSinceEpoch(1700000000123, Qt::UTC);
    KvCommClientTrackedRuleInfo rule;
    rule.name = QStringLiteral("probe");
    rule.description = QStringLiteral("a probe");
    rule.indexTypes = 4;
    rule.numTrackedData = 2;
    KvCommClientTrackedRuleDataInfo a, b;
    a.ruleId = b.ruleId = 0;
    a.name = QStringLiteral("time");
    b.name = QStringLiteral("T");
    b.unit = QStringLiteral("K");
    b.indexedBy = 3;
    b.position = 1;
    b.numRows = 2;
    b.numCols = 3;

    QByteArray stream;
    stream += KvCommFrameWriter::hello(1);
    stream += KvCommFrameWriter::identity(QStringLiteral("2.1.0"), QStringLiteral("r42"));
    stream += KvCommFrameWriter::controlOptions(7);
    stream += KvCommFrameWriter::status(KvCommStatusRunning, t0);
    stream += KvCommFrameWriter::simulationInfo(QStringLiteral("heat"), QStringLiteral("été"),
        {QStringLiteral("a.lua"), QStringLiteral("b.lua")}, t0, QDateTime());
    stream += KvCommFrameWriter::ready();
    stream += KvCommFrameWriter::ruleData({rule}, {a, b});
    stream += KvCommFrameWriter::indexData(
        0, KvCommClientTrackedIndexData(KvCommClientTrackedIndexData::Probes, {"p1", "p2"}), 77);
    stream += KvCommFrameWriter::log(6, QStringLiteral("hello\n"));
    stream += KvCommFrameWriter::controlRequest(4);
    stream += KvCommFrameWriter::historyBegin(5, 9);
    stream += KvCommFrameWriter::error(QStringLiteral("nope"));

    KvCommFrameReader reader;
    reader.addData(stream);
    KvCommMessage m;
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.type, KvCommProtocol::Hello);
    QCOMPARE(m.magic, QLatin1String(KvCommProtocol::Magic));
    QCOMPARE(m.protocolVersion, 1u);
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.version, QStringLiteral("2.1.0"));
    QCOMPARE(m.revision, QStringLiteral("r42"));
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.options, 7u);
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.status, qint32(KvCommStatusRunning));
    QCOMPARE(m.time, t0);
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.type, KvCommProtocol::SimulationInfo);
    QCOMPARE(m.description, QStringLiteral("été"));
    QCOMPARE(m.files, QStringList({"a.lua", "b.lua"}));
    QCOMPARE(m.loadingTime, t0);
    QVERIFY(!m.runningTime.isValid());
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.type, KvCommProtocol::Ready);
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.type, KvCommProtocol::RuleData);
    QCOMPARE(m.rules.size(), 1);
    QCOMPARE(m.rules[0].name, rule.name);
    QCOMPARE(m.rules[0].description, rule.description);
    QCOMPARE(m.rules[0].indexTypes, 4u);
    QCOMPARE(m.rules[0].numTrackedData, 2);
    QCOMPARE(m.trackedData.size(), 2);
    QCOMPARE(m.trackedData[1].id, 1);
    QCOMPARE(m.trackedData[1].unit, QStringLiteral("K"));
    QCOMPARE(m.trackedData[1].indexedBy, 3);
    QCOMPARE(m.trackedData[1].position, 1);
    QCOMPARE(m.trackedData[1].numComponents(), 6);
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.type, KvCommProtocol::IndexData);
    QCOMPARE(m.ruleId, 0);
    QCOMPARE(m.indexData.indexType(), KvCommClientTrackedIndexData::Probes);
    QCOMPARE(m.indexData.lines(), QStringList({"p1", "p2"}));
    QCOMPARE(m.elapsedTime, 77);
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.type, KvCommProtocol::Log);
    QCOMPARE(m.level, 6);
    QCOMPARE(m.text, QStringLiteral("hello\n"));
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.type, KvCommProtocol::ControlRequest);
    QCOMPARE(m.options, 4u);
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.droppedSamples, 5);
    QCOMPARE(m.historySamples, 9);
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.type, KvCommProtocol::Error);
    QCOMPARE(m.text, QStringLiteral("nope"));
    QVERIFY(!reader.readNext(m));
    QVERIFY(!reader.hasError());
    QCOMPARE(reader.bufferedBytes(), 0);
}

void tst_KvCommFrameReader::samplesFrameMatchesTheDocumentedBytes()
{
    // The example of docs/protocol.md, byte for byte.
    const QByteArray expected = QByteArray::fromHex("0000002d"
                                                    "a6"
                                                    "000b"
                                                    "011828"
                                                    "020a"
                                                    "03820007"
                                                    "04820102"
                                                    "05d8565818"
                                                    "000000000000e03f"
                                                    "000000000000f03f0000000000000040");
    const QByteArray frame = KvCommFrameWriter::samples(
        {KvCommClientTrackedData(0, {0.5}), KvCommClientTrackedData(7, {1.0, 2.0})}, 40, 10);
    QCOMPARE(frame.toHex(), expected.toHex());
}

void tst_KvCommFrameReader::samplesKeepValuesSequenceAndElapsedTime()
{
    KvCommFrameReader reader;
    reader.addData(KvCommFrameWriter::samples(someSamples(), -12, 1000));
    KvCommMessage m;
    QVERIFY2(reader.readNext(m), qPrintable(reader.errorString()));
    QCOMPARE(m.type, KvCommProtocol::Samples);
    QCOMPARE(m.elapsedTime, -12);
    QCOMPARE(m.firstSequence, 1000);
    QCOMPARE(m.samples.size(), 3);
    const QList<KvCommClientTrackedData> expected = someSamples();
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(m.samples[i].id, expected[i].id);
        QCOMPARE(m.samples[i].values, expected[i].values);
        QCOMPARE(m.samples[i].sequence, 1000 + i);
    }
}

void tst_KvCommFrameReader::framesSplitAtAnyByteAreReassembled()
{
    const QByteArray stream = KvCommFrameWriter::log(1, QStringLiteral("one"))
        + KvCommFrameWriter::samples(someSamples(), 5, 0) + KvCommFrameWriter::heartbeat();
    for (int step = 1; step <= 7; ++step) {
        KvCommFrameReader reader;
        KvCommMessage m;
        QVector<KvCommProtocol::MessageType> types;
        for (int i = 0; i < stream.size(); i += step) {
            reader.addData(stream.constData() + i, qMin(step, stream.size() - i));
            while (reader.readNext(m))
                types.append(m.type);
        }
        QVERIFY(!reader.hasError());
        QCOMPARE(types,
            (QVector<KvCommProtocol::MessageType> {
                KvCommProtocol::Log, KvCommProtocol::Samples, KvCommProtocol::Heartbeat}));
    }
}

void tst_KvCommFrameReader::unknownTypesAndKeysAreSkipped()
{
    const QByteArray future = body([](QCborStreamWriter &w) {
        w.startMap(3);
        w.append(0);
        w.append(999);
        w.append(1);
        w.startArray(2);
        w.append(QStringLiteral("x"));
        w.startMap(1);
        w.append(QStringLiteral("k"));
        w.append(1.5);
        w.endMap();
        w.endArray();
        w.append(QStringLiteral("text key"));
        w.append(true);
        w.endMap();
    });
    const QByteArray logWithExtra = body([](QCborStreamWriter &w) {
        w.startMap(4);
        w.append(0);
        w.append(quint64(KvCommProtocol::Log));
        w.append(77);
        w.appendByteString("zz", 2);
        w.append(1);
        w.append(3);
        w.append(2);
        w.append(QStringLiteral("kept"));
        w.endMap();
    });
    KvCommFrameReader reader;
    reader.addData(frameOf(future) + frameOf(logWithExtra));
    KvCommMessage m;
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.type, KvCommProtocol::Unknown);
    QCOMPARE(m.rawType, 999u);
    QVERIFY(reader.readNext(m));
    QCOMPARE(m.type, KvCommProtocol::Log);
    QCOMPARE(m.level, 3);
    QCOMPARE(m.text, QStringLiteral("kept"));
}

void tst_KvCommFrameReader::malformedFramesAreErrors_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("error");

    const QByteArray eightBytes(8, '\0');
    QByteArray huge(4, '\0');
    qToBigEndian<quint32>(KvCommProtocol::MaxFrameSize + 1, huge.data());
    QTest::newRow("length over 16 MiB refused before the body arrives") << huge << "exceeds";
    QByteArray maxLen(4, '\0');
    qToBigEndian<quint32>(0xffffffffu, maxLen.data());
    QTest::newRow("length 4 GiB refused") << maxLen << "exceeds";
    QTest::newRow("empty frame") << QByteArray(4, '\0') << "empty";
    QTest::newRow("body not a map")
        << frameOf(body([](QCborStreamWriter &w) { w.append(1); })) << "not a CBOR map";
    QTest::newRow("map without type") << frameOf(body([](QCborStreamWriter &w) {
        w.startMap(1);
        w.append(1);
        w.append(2);
        w.endMap();
    })) << "message type";
    QTest::newRow("type is text") << frameOf(body([](QCborStreamWriter &w) {
        w.startMap(1);
        w.append(0);
        w.append(QStringLiteral("log"));
        w.endMap();
    })) << "message type";
    QTest::newRow("log level not an integer") << frameOf(body([](QCborStreamWriter &w) {
        w.startMap(3);
        w.append(0);
        w.append(quint64(KvCommProtocol::Log));
        w.append(1);
        w.append(QStringLiteral("3"));
        w.append(2);
        w.append(QStringLiteral("x"));
        w.endMap();
    })) << "not an integer";
    QTest::newRow("log level outside 0..7") << frameOf(body([](QCborStreamWriter &w) {
        w.startMap(3);
        w.append(0);
        w.append(quint64(KvCommProtocol::Log));
        w.append(1);
        w.append(8);
        w.append(2);
        w.append(QStringLiteral("x"));
        w.endMap();
    })) << "out of range";
    QTest::newRow("negative sample id")
        << frameOf(samplesBody({-1}, {1}, eightBytes)) << "out of range";
    QTest::newRow("log without text") << frameOf(body([](QCborStreamWriter &w) {
        w.startMap(2);
        w.append(0);
        w.append(quint64(KvCommProtocol::Log));
        w.append(1);
        w.append(2);
        w.endMap();
    })) << "lacks a required field";
    QTest::newRow("sizes disagree with the byte string")
        << frameOf(samplesBody({0, 1}, {1, 2}, eightBytes)) << "declare 3 values";
    QTest::newRow("more ids than sizes")
        << frameOf(samplesBody({0, 1}, {1}, eightBytes)) << "2 sample ids but 1";
    QTest::newRow("byte string not a whole number of doubles")
        << frameOf(samplesBody({0}, {1}, QByteArray(7, 'x'))) << "carry 7 bytes";
    QTest::newRow("values without tag 86")
        << frameOf(samplesBody({0}, {1}, eightBytes, false)) << "not a tagged";
    QTest::newRow("index type 3 does not exist") << frameOf(body([](QCborStreamWriter &w) {
        w.startMap(4);
        w.append(0);
        w.append(quint64(KvCommProtocol::IndexData));
        w.append(1);
        w.append(0);
        w.append(2);
        w.append(3);
        w.append(3);
        w.startArray(0);
        w.endArray();
        w.endMap();
    })) << "out of range";

    // Hand-made bytes: CBOR that lies about its own sizes.
    QByteArray arrayLie = QByteArray::fromHex("a300186e01"
                                              "9bffffffffffffff00");
    QTest::newRow("array announcing 2^64 items allocates nothing") << frameOf(arrayLie) << "";
    QByteArray stringLie = QByteArray::fromHex("a2000e02"
                                               "7a7fffffff"
                                               "41");
    QTest::newRow("text announcing 2 GiB in a 10-byte frame") << frameOf(stringLie) << "";
    QTest::newRow("text announcing 1.8 GB in a 17-byte frame")
        << QByteArray::fromBase64("AAAAEaUACgEAAgADgnpuMWJuMgQD") << "longer than the frame";
    QTest::newRow("skipped unknown field announcing 1.8 GB")
        << frameOf(QByteArray::fromHex("a2000e18637a6e31626e41")) << "longer than the frame";
    QTest::newRow("70000 samples in one batch")
        << frameOf(samplesBody(QVector<qint64>(70000, 0), QVector<qint64>(70000, 0), QByteArray()))
        << "more than 65536 sample ids";
    QTest::newRow("70000 rules of one byte each, length not announced") << frameOf(
        body([](QCborStreamWriter &w) {
            w.startMap(2);
            w.append(0);
            w.append(quint64(KvCommProtocol::RuleData));
            w.append(1);
            w.startArray();
            for (int i = 0; i < 70000; ++i) {
                w.startMap(0);
                w.endMap();
            }
            w.endArray();
            w.endMap();
        })) << "more than 65536 rules";
    QByteArray truncatedBody = KvCommFrameWriter::log(2, QStringLiteral("truncated")).mid(4);
    truncatedBody.chop(3);
    QTest::newRow("body ends inside a string") << frameOf(truncatedBody) << "";
    QByteArray trailing = KvCommFrameWriter::heartbeat().mid(4) + QByteArray(1, '\0');
    QTest::newRow("bytes after the map") << frameOf(trailing) << "after the end";
    QByteArray deep(200, char(0x81)); // 200 nested one-item arrays
    deep.append(char(0));
    QTest::newRow("deeply nested unknown value")
        << frameOf(QByteArray::fromHex("a2000e63") + deep) << "";
    QTest::newRow("not CBOR at all") << frameOf(QByteArray("\xff\xff\xff\xff", 4)) << "";
}

void tst_KvCommFrameReader::malformedFramesAreErrors()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, error);
    KvCommFrameReader reader;
    reader.addData(data);
    KvCommMessage m;
    QVERIFY(!reader.readNext(m));
    QVERIFY2(reader.hasError(), "no error reported");
    QVERIFY2(reader.errorString().contains(error), qPrintable(reader.errorString()));
}

void tst_KvCommFrameReader::errorStopsTheReader()
{
    KvCommFrameReader reader;
    reader.addData(frameOf(body([](QCborStreamWriter &w) { w.append(1); })));
    reader.addData(KvCommFrameWriter::heartbeat());
    KvCommMessage m;
    QVERIFY(!reader.readNext(m));
    QVERIFY(reader.hasError());
    // A valid frame after the bad one is not decoded: the stream is lost.
    QVERIFY(!reader.readNext(m));
}

QTEST_GUILESS_MAIN(tst_KvCommFrameReader)
#include "tst_kvcommframereader.moc"
