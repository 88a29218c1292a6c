#include "kvcommframewriter.h"

#include "kvcommprotocol.h"

#include <QCborStreamWriter>
#include <QtEndian>

#include <cstring>

namespace {

// Writes one frame: reserves the length prefix, lets the caller fill the
// body map, then patches the prefix.
class FrameBuilder
{
public:
    FrameBuilder(KvCommProtocol::MessageType type, int entries)
        : m_writer(&m_frame)
    {
        // The writer's buffer device starts at position 0: skip the prefix.
        m_frame.resize(4);
        m_writer.device()->seek(4);
        m_writer.startMap(entries + 1);
        m_writer.append(KvCommProtocol::KeyType);
        m_writer.append(quint64(type));
    }

    QCborStreamWriter &w() { return m_writer; }

    void text(quint64 key, const QString &value)
    {
        m_writer.append(key);
        m_writer.append(value);
    }
    void uint(quint64 key, quint64 value)
    {
        m_writer.append(key);
        m_writer.append(value);
    }
    void sint(quint64 key, qint64 value)
    {
        m_writer.append(key);
        m_writer.append(value);
    }

    QByteArray finish()
    {
        m_writer.endMap();
        qToBigEndian<quint32>(quint32(m_frame.size() - 4), m_frame.data());
        return std::move(m_frame);
    }

private:
    QByteArray m_frame;
    QCborStreamWriter m_writer;
};

void appendTextArray(QCborStreamWriter &w, const QStringList &list)
{
    w.startArray(quint64(list.size()));
    for (const QString &s : list)
        w.append(s);
    w.endArray();
}

int timeEntries(const QDateTime &t) { return t.isValid() ? 1 : 0; }

void appendTime(FrameBuilder &b, quint64 key, const QDateTime &t)
{
    if (t.isValid())
        b.sint(key, t.toMSecsSinceEpoch());
}

} // namespace

QByteArray KvCommFrameWriter::hello(quint32 protocolVersion)
{
    FrameBuilder b(KvCommProtocol::Hello, 2);
    b.text(1, QString::fromLatin1(KvCommProtocol::Magic));
    b.uint(2, protocolVersion);
    return b.finish();
}

QByteArray KvCommFrameWriter::error(const QString &text)
{
    FrameBuilder b(KvCommProtocol::Error, 1);
    b.text(1, text);
    return b.finish();
}

QByteArray KvCommFrameWriter::identity(const QString &version, const QString &revision)
{
    FrameBuilder b(KvCommProtocol::Identity, 2);
    b.text(1, version);
    b.text(2, revision);
    return b.finish();
}

QByteArray KvCommFrameWriter::controlOptions(quint32 options)
{
    FrameBuilder b(KvCommProtocol::ControlOptions, 1);
    b.uint(1, options);
    return b.finish();
}

QByteArray KvCommFrameWriter::status(qint32 status, const QDateTime &time)
{
    FrameBuilder b(KvCommProtocol::Status, 1 + timeEntries(time));
    b.sint(1, status);
    appendTime(b, 2, time);
    return b.finish();
}

QByteArray KvCommFrameWriter::simulationInfo(const QString &name, const QString &description,
    const QStringList &files, const QDateTime &loadingTime, const QDateTime &runningTime)
{
    FrameBuilder b(
        KvCommProtocol::SimulationInfo, 3 + timeEntries(loadingTime) + timeEntries(runningTime));
    b.text(1, name);
    b.text(2, description);
    b.w().append(quint64(3));
    appendTextArray(b.w(), files);
    appendTime(b, 4, loadingTime);
    appendTime(b, 5, runningTime);
    return b.finish();
}

QByteArray KvCommFrameWriter::ready() { return FrameBuilder(KvCommProtocol::Ready, 0).finish(); }

QByteArray KvCommFrameWriter::ruleData(const QVector<KvCommClientTrackedRuleInfo> &rules,
    const QVector<KvCommClientTrackedRuleDataInfo> &trackedData)
{
    FrameBuilder b(KvCommProtocol::RuleData, 2);
    QCborStreamWriter &w = b.w();
    w.append(quint64(1));
    w.startArray(quint64(rules.size()));
    for (const KvCommClientTrackedRuleInfo &rule : rules) {
        w.startMap(4);
        w.append(quint64(1));
        w.append(rule.name);
        w.append(quint64(2));
        w.append(rule.description);
        w.append(quint64(3));
        w.append(quint64(rule.indexTypes));
        w.append(quint64(4));
        w.append(qint64(rule.numTrackedData));
        w.endMap();
    }
    w.endArray();
    w.append(quint64(2));
    w.startArray(quint64(trackedData.size()));
    for (const KvCommClientTrackedRuleDataInfo &info : trackedData) {
        w.startMap(8);
        w.append(quint64(1));
        w.append(qint64(info.ruleId));
        w.append(quint64(2));
        w.append(info.name);
        w.append(quint64(3));
        w.append(info.description);
        w.append(quint64(4));
        w.append(qint64(info.indexedBy));
        w.append(quint64(5));
        w.append(qint64(info.position));
        w.append(quint64(6));
        w.append(info.unit);
        w.append(quint64(7));
        w.append(qint64(info.numRows));
        w.append(quint64(8));
        w.append(qint64(info.numCols));
        w.endMap();
    }
    w.endArray();
    return b.finish();
}

QByteArray KvCommFrameWriter::trackedDataInfo(const KvCommClientTrackedRuleDataInfo &info)
{
    FrameBuilder b(KvCommProtocol::TrackedDataInfo, 4);
    b.sint(1, info.id);
    b.text(2, info.name);
    b.text(3, info.description);
    b.text(4, info.unit);
    return b.finish();
}

QByteArray KvCommFrameWriter::indexData(
    int ruleId, const KvCommClientTrackedIndexData &data, qint64 elapsedTime)
{
    FrameBuilder b(KvCommProtocol::IndexData, 4);
    b.sint(1, ruleId);
    b.sint(2, data.indexType());
    b.w().append(quint64(3));
    appendTextArray(b.w(), data.lines());
    b.sint(4, elapsedTime);
    return b.finish();
}

QByteArray KvCommFrameWriter::samples(
    const QList<KvCommClientTrackedData> &samples, qint64 elapsedTime, qint64 firstSequence)
{
    // All components of the batch go into one byte string; the publisher's
    // thread keeps its scratch buffer between batches.
    thread_local QByteArray scratch;
    qsizetype total = 0;
    for (const KvCommClientTrackedData &s : samples)
        total += s.values.size();
    scratch.resize(int(total * qsizetype(sizeof(double))));
    char *out = scratch.data();
    for (const KvCommClientTrackedData &s : samples) {
        const qsizetype bytes = s.values.size() * qsizetype(sizeof(double));
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
        if (bytes)
            std::memcpy(out, s.values.constData(), size_t(bytes));
#else
        for (int i = 0; i < s.values.size(); ++i)
            qToLittleEndian<double>(s.values.at(i), out + i * sizeof(double));
#endif
        out += bytes;
    }

    FrameBuilder b(KvCommProtocol::Samples, 5);
    QCborStreamWriter &w = b.w();
    b.sint(1, elapsedTime);
    b.sint(2, firstSequence);
    w.append(quint64(3));
    w.startArray(quint64(samples.size()));
    for (const KvCommClientTrackedData &s : samples)
        w.append(qint64(s.id));
    w.endArray();
    w.append(quint64(4));
    w.startArray(quint64(samples.size()));
    for (const KvCommClientTrackedData &s : samples)
        w.append(quint64(s.values.size()));
    w.endArray();
    w.append(quint64(5));
    w.append(QCborTag(KvCommProtocol::TagFloat64LE));
    w.appendByteString(scratch.constData(), scratch.size());
    return b.finish();
}

QByteArray KvCommFrameWriter::historyBegin(qint64 droppedSamples, qint64 historySamples)
{
    FrameBuilder b(KvCommProtocol::HistoryBegin, 2);
    b.sint(1, droppedSamples);
    b.sint(2, historySamples);
    return b.finish();
}

QByteArray KvCommFrameWriter::historyEnd()
{
    return FrameBuilder(KvCommProtocol::HistoryEnd, 0).finish();
}

QByteArray KvCommFrameWriter::log(int level, const QString &text)
{
    FrameBuilder b(KvCommProtocol::Log, 2);
    b.sint(1, level);
    b.text(2, text);
    return b.finish();
}

QByteArray KvCommFrameWriter::controlRequest(quint32 request)
{
    FrameBuilder b(KvCommProtocol::ControlRequest, 1);
    b.uint(1, request);
    return b.finish();
}

QByteArray KvCommFrameWriter::heartbeat()
{
    return FrameBuilder(KvCommProtocol::Heartbeat, 0).finish();
}

QByteArray KvCommFrameWriter::frame(const QByteArray &body)
{
    QByteArray out(4, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(body.size()), out.data());
    out += body;
    return out;
}
