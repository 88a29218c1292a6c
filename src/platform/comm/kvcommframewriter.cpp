#include "kvcommframewriter.h"

#include "kvcommmessage.h"
#include "kvcommschemaencoder.h"

#include <QtEndian>

#include <cstring>

namespace {

QByteArray encode(const KvCommMessage &m)
{
    return KvCommSchema::Encoder::frame(*KvCommSchema::message(m.type), &m);
}

KvCommMessage messageOf(KvCommProtocol::MessageType type)
{
    KvCommMessage m;
    m.type = type;
    return m;
}

} // namespace

QByteArray KvCommFrameWriter::hello(quint32 protocolVersion)
{
    KvCommMessage m = messageOf(KvCommProtocol::Hello);
    m.magic = QString::fromLatin1(KvCommProtocol::Magic);
    m.protocolVersion = protocolVersion;
    return encode(m);
}

QByteArray KvCommFrameWriter::error(const QString &text)
{
    KvCommMessage m = messageOf(KvCommProtocol::Error);
    m.text = text;
    return encode(m);
}

QByteArray KvCommFrameWriter::identity(const QString &version, const QString &revision)
{
    KvCommMessage m = messageOf(KvCommProtocol::Identity);
    m.version = version;
    m.revision = revision;
    return encode(m);
}

QByteArray KvCommFrameWriter::controlOptions(quint32 options)
{
    KvCommMessage m = messageOf(KvCommProtocol::ControlOptions);
    m.options = options;
    return encode(m);
}

QByteArray KvCommFrameWriter::status(qint32 status, const QDateTime &time)
{
    KvCommMessage m = messageOf(KvCommProtocol::Status);
    m.status = status;
    m.time = time;
    return encode(m);
}

QByteArray KvCommFrameWriter::simulationInfo(const QString &name, const QString &description,
    const QStringList &files, const QDateTime &loadingTime, const QDateTime &runningTime,
    double plannedEndTime, int plannedSteps)
{
    KvCommMessage m = messageOf(KvCommProtocol::SimulationInfo);
    m.plannedEndTime = plannedEndTime;
    m.plannedSteps = plannedSteps;
    m.name = name;
    m.description = description;
    m.files = files;
    m.loadingTime = loadingTime;
    m.runningTime = runningTime;
    return encode(m);
}

QByteArray KvCommFrameWriter::ready() { return encode(messageOf(KvCommProtocol::Ready)); }

QByteArray KvCommFrameWriter::ruleData(const QVector<KvCommClientTrackedRuleInfo> &rules,
    const QVector<KvCommClientTrackedRuleDataInfo> &trackedData)
{
    KvCommMessage m = messageOf(KvCommProtocol::RuleData);
    m.rules = rules;
    m.trackedData = trackedData;
    return encode(m);
}

QByteArray KvCommFrameWriter::trackedDataInfo(const KvCommClientTrackedRuleDataInfo &info)
{
    KvCommMessage m = messageOf(KvCommProtocol::TrackedDataInfo);
    m.trackedId = info.id;
    m.name = info.name;
    m.description = info.description;
    m.unit = info.unit;
    return encode(m);
}

QByteArray KvCommFrameWriter::indexData(
    int ruleId, const KvCommClientTrackedIndexData &data, qint64 elapsedTime)
{
    KvCommMessage m = messageOf(KvCommProtocol::IndexData);
    m.ruleId = ruleId;
    m.indexType = data.indexType();
    m.indexLines = data.lines();
    m.elapsedTime = elapsedTime;
    return encode(m);
}

QByteArray KvCommFrameWriter::samples(
    const QList<KvCommClientTrackedData> &samples, qint64 elapsedTime, qint64 firstSequence)
{
    // The publisher's thread keeps its arrays between batches.
    thread_local KvCommMessage m = messageOf(KvCommProtocol::Samples);
    m.elapsedTime = elapsedTime;
    m.firstSequence = firstSequence;
    m.sampleIds.clear();
    m.sampleSizes.clear();
    size_t total = 0;
    for (const KvCommClientTrackedData &s : samples) {
        m.sampleIds.push_back(s.id);
        m.sampleSizes.push_back(s.values.size());
        total += size_t(s.values.size());
    }
    m.sampleValues.resize(total * sizeof(double));
    char *out = m.sampleValues.data();
    for (const KvCommClientTrackedData &s : samples) {
        const size_t bytes = size_t(s.values.size()) * sizeof(double);
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
        if (bytes)
            std::memcpy(out, s.values.constData(), bytes);
#else
        for (int i = 0; i < s.values.size(); ++i)
            qToLittleEndian<double>(s.values.at(i), out + i * sizeof(double));
#endif
        out += bytes;
    }
    return encode(m);
}

QByteArray KvCommFrameWriter::historyBegin(qint64 droppedSamples, qint64 historySamples)
{
    KvCommMessage m = messageOf(KvCommProtocol::HistoryBegin);
    m.droppedSamples = droppedSamples;
    m.historySamples = historySamples;
    return encode(m);
}

QByteArray KvCommFrameWriter::historyEnd() { return encode(messageOf(KvCommProtocol::HistoryEnd)); }

QByteArray KvCommFrameWriter::log(int level, const QString &text)
{
    KvCommMessage m = messageOf(KvCommProtocol::Log);
    m.level = level;
    m.text = text;
    return encode(m);
}

QByteArray KvCommFrameWriter::controlRequest(quint32 request)
{
    KvCommMessage m = messageOf(KvCommProtocol::ControlRequest);
    m.options = request;
    return encode(m);
}

QByteArray KvCommFrameWriter::heartbeat() { return encode(messageOf(KvCommProtocol::Heartbeat)); }

QByteArray KvCommFrameWriter::frame(const QByteArray &body)
{
    QByteArray out(4, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(body.size()), out.data());
    out += body;
    return out;
}
