#include "kvcrunfile.h"

#include "kvccsvwriter.h"

#include <kvcommframereader.h>
#include <kvcommframewriter.h>
#include <kvcommprotocol.h>

#include <QBuffer>
#include <QCborArray>
#include <QCborMap>
#include <QCborValue>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSaveFile>
#include <QtEndian>

#include <cstring>

namespace {

// A batch frame stays well below the protocol's frame limit.
constexpr qsizetype MaxBatchBytes = 4 * 1024 * 1024;

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

QCborValue timeValue(const QDateTime &time)
{
    return time.isValid() ? QCborValue(time.toMSecsSinceEpoch()) : QCborValue();
}

QByteArray fileFrame(KvcRunFile::FileFrameType type, QCborMap map)
{
    // The message type must come first, as in every frame of the protocol.
    QCborMap body;
    body.insert(qint64(KvCommProtocol::KeyType), qint64(type));
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        body.insert(it.key(), it.value());
    return KvCommFrameWriter::frame(body.toCborValue().toCbor());
}

KvcActionManager::ExecutionStatus statusOfServer(qint32 status)
{
    switch (status) {
    case 1:
        return KvcActionManager::Loading;
    case 2:
        return KvcActionManager::Running;
    case 3:
        return KvcActionManager::Finished;
    case 4:
        return KvcActionManager::Canceled;
    case 5:
        return KvcActionManager::Aborted;
    default:
        return KvcActionManager::Unknown;
    }
}

// Rebuilds batches from the histories: a batch per time sample, holding the
// samples of every other value stored at that time, in history order. A
// sample's time is the latest time sample before it, so matching each
// history greedily against the time samples in order places every sample at
// a batch that gives it the same time (before the first time sample: 0.0).
class BatchWriter
{
public:
    BatchWriter(QIODevice &out, KvcResultsData &data, const QVector<bool> &skip)
        : out(out)
        , data(data)
        , skip(skip)
        , next(skip.size(), 0)
    { }

    bool writeAll()
    {
        const QVector<double> &times = data.simTimeData();
        const QVector<double> &exec = data.simExecTimeData();
        if (!writeStep(-1, 0.0, 0))
            return false;
        for (int k = 0; k < times.size(); ++k) {
            // The elapsed time comes back exactly: it was stored as ms / 1000.
            const qint64 ms = qRound64(exec.value(k) * 1000.0);
            if (!writeStep(k, times.at(k), ms))
                return false;
        }
        return true;
    }

private:
    bool writeStep(int k, double time, qint64 elapsed)
    {
        batch.clear();
        bytes = 0;
        if (k >= 0)
            add(KvCommClientTrackedData(data.timeTrackId(), {time}), elapsed);
        for (int id = 0; id < skip.size(); ++id) {
            if (id == data.timeTrackId() || skip.at(id))
                continue;
            const KvcResultsData::TrackedData &h = data.simTrackedData(id);
            int &p = next[id];
            while (p < h.time.size() && sameBits(h.time.at(p), time)) {
                QVector<double> values(h.data.size());
                for (int c = 0; c < h.data.size(); ++c)
                    values[c] = h.data.at(c).at(p);
                if (!add(KvCommClientTrackedData(id, std::move(values)), elapsed))
                    return false;
                ++p;
            }
        }
        return flush(elapsed);
    }

    bool add(KvCommClientTrackedData sample, qint64 elapsed)
    {
        // A full batch goes out without its time sample: the samples after it
        // keep the time of the last time sample all the same.
        const qsizetype size = sample.values.size() * qsizetype(sizeof(double)) + 8;
        if (!batch.isEmpty()
            && (bytes + size > MaxBatchBytes || batch.size() >= KvCommProtocol::MaxSamplesPerBatch)
            && !flush(elapsed))
            return false;
        batch.append(std::move(sample));
        bytes += size;
        return true;
    }

    bool flush(qint64 elapsed)
    {
        if (batch.isEmpty())
            return true;
        const QByteArray frame = KvCommFrameWriter::samples(batch, elapsed, sequence);
        sequence += batch.size();
        batch.clear();
        bytes = 0;
        return out.write(frame) == frame.size();
    }

    QIODevice &out;
    KvcResultsData &data;
    const QVector<bool> &skip;
    QVector<int> next;
    QList<KvCommClientTrackedData> batch;
    qsizetype bytes = 0;
    qint64 sequence = 0;
};

} // namespace

QByteArray KvcRunFile::header()
{
    QByteArray out(Magic, MagicSize);
    char version[4];
    qToBigEndian<quint32>(FormatVersion, version);
    out.append(version, 4);
    return out;
}

QByteArray KvcRunFile::logFrame(int level, const QString &text)
{
    if (level >= 0 && level <= 7)
        return KvCommFrameWriter::log(level, text);
    QCborMap map;
    map.insert(1, text);
    return fileFrame(RawLogFrame, map);
}

bool KvcRunFile::save(const QString &fileName, KvcResultsData &data, const KvcRunView &view,
    QString *error, QString *warning)
{
    const auto failed = [&](const QString &reason) {
        if (error)
            *error = tr("Cannot save the run to %1: %2")
                         .arg(QDir::toNativeSeparators(fileName), reason);
        return false;
    };
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly))
        return failed(file.errorString());

    QByteArray head = header() + KvCommFrameWriter::hello(KvCommProtocol::Version);
    const QSharedPointer<KvCommClientData> store = data.simulationData();
    QVector<bool> skip;
    QStringList skipped;
    if (store) {
        head += KvCommFrameWriter::simulationInfo(store->simName(), store->simDescription(),
            store->simFiles(), store->simLoadingTime(), store->simRunningTime());
    }
    head += KvCommFrameWriter::ready();
    if (store && store->hasRuleData()) {
        QVector<KvCommClientTrackedRuleInfo> rules;
        for (int r = 0; r < store->simNumRules(); ++r)
            rules.append(store->simRuleInfo(r));
        QVector<KvCommClientTrackedRuleDataInfo> tracked;
        for (int i = 0; i < store->simNumTrackedData(); ++i)
            tracked.append(store->simTrackedDataInfo(i));
        head += KvCommFrameWriter::ruleData(rules, tracked);
        for (int t = 0; t < KvCommClientTrackedIndexData::NumIndexTypes; ++t) {
            for (int r = 0; r < rules.size(); ++r) {
                const KvCommClientTrackedIndexData &index = data.simRuleIndexData(r, t);
                if (index.numLines() > 0)
                    head += KvCommFrameWriter::indexData(r, index, 0);
            }
        }
        skip.fill(false, tracked.size());
        for (int i = 0; i < tracked.size(); ++i) {
            const KvcResultsData::TrackedData &h = data.simTrackedData(i);
            if (i != data.timeTrackId() && !h.time.isEmpty()
                && h.data.size() != store->expectedComponents(i)) {
                skip[i] = true;
                skipped << tracked.at(i).name;
            }
        }
    }
    if (file.write(head) != head.size())
        return failed(file.errorString());
    BatchWriter batches(file, data, skip);
    if (!batches.writeAll())
        return failed(file.errorString());

    QByteArray tail;
    for (const KvcRunLogMessage &message : view.log)
        tail += logFrame(message.level, message.text);
    QCborMap record;
    record.insert(1, int(view.status));
    record.insert(2, timeValue(view.statusTime));
    record.insert(3, data.name());
    QCborArray charts;
    for (int g : view.chartGraphics)
        charts.append(g);
    record.insert(4, charts);
    tail += fileFrame(ViewFrame, record);
    if (file.write(tail) != tail.size() || !file.commit())
        return failed(file.errorString());
    if (warning) {
        *warning = skipped.isEmpty()
            ? QString()
            : tr("The samples of %1 were left out: their index data changed its number of "
                 "lines during the run.")
                  .arg(skipped.join(QStringLiteral(", ")));
    }
    return true;
}

bool KvcRunFile::open(const QString &fileName, Run &run)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        run = Run();
        run.complete = false;
        run.message
            = tr("Cannot open %1: %2").arg(QDir::toNativeSeparators(fileName), file.errorString());
        return false;
    }
    return readDevice(&file, QDir::toNativeSeparators(fileName), run);
}

bool KvcRunFile::read(const QByteArray &bytes, const QString &name, Run &run)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    return readDevice(&buffer, name, run);
}

bool KvcRunFile::readDevice(QIODevice *device, const QString &name, Run &run)
{
    run = Run();
    const QByteArray head = device->read(HeaderSize);
    if (head.size() < HeaderSize || !head.startsWith(QByteArray(Magic, MagicSize))) {
        run.complete = false;
        run.message = tr("%1 is not a Kivo run file.").arg(name);
        return false;
    }
    const quint32 version = qFromBigEndian<quint32>(head.constData() + MagicSize);
    if (version == 0 || version > FormatVersion) {
        run.complete = false;
        run.message = tr("%1 is a Kivo run file of format version %2; this program reads "
                         "version %3 and older. A newer program is needed to open it.")
                          .arg(name)
                          .arg(version)
                          .arg(FormatVersion);
        return false;
    }

    const auto store = QSharedPointer<KvCommClientData>::create();
    run.data = QSharedPointer<KvcResultsData>::create();
    run.data->setSimulationData(store);
    bool viewSeen = false;
    qint32 lastStatus = 0;
    QDateTime lastStatusTime;
    KvCommFrameReader decoder;
    KvCommMessage m;
    QByteArray body;
    qint64 frames = 0;
    const auto stop = [&](qint64 at, const QString &why) {
        run.complete = false;
        run.message = tr("%1 is damaged at byte %2 (frame %3): %4. The run is shown as far as "
                         "it could be read.")
                          .arg(name)
                          .arg(at)
                          .arg(frames + 1)
                          .arg(why);
    };
    for (;;) {
        const qint64 at = device->pos();
        char prefix[4];
        const qint64 got = device->read(prefix, 4);
        if (got == 0)
            break;
        const quint32 size = got == 4 ? qFromBigEndian<quint32>(prefix) : 0;
        if (got != 4 || (size > 0 && device->bytesAvailable() < qint64(size))) {
            run.complete = false;
            run.message = tr("%1 ends inside frame %2, which starts at byte %3: the file was "
                             "cut short. The run is shown as far as it goes.")
                              .arg(name)
                              .arg(frames + 1)
                              .arg(at);
            break;
        }
        if (size == 0 || size > KvCommProtocol::MaxFrameSize) {
            stop(at, tr("a frame of %1 bytes").arg(size));
            break;
        }
        body.resize(int(size));
        if (device->read(body.data(), size) != qint64(size)) {
            stop(at, device->errorString());
            break;
        }
        QString why;
        if (!decoder.decodeBody(body.constData(), body.size(), m, &why)) {
            stop(at, why);
            break;
        }
        bool ok = true;
        switch (m.type) {
        case KvCommProtocol::Hello:
            if (m.magic != QLatin1String(KvCommProtocol::Magic)
                || m.protocolVersion != KvCommProtocol::Version) {
                ok = false;
                why = tr("a recording of monitoring protocol version %1").arg(m.protocolVersion);
            }
            break;
        case KvCommProtocol::Identity:
            run.simulatorVersion = m.version;
            run.simulatorRevision = m.revision;
            break;
        case KvCommProtocol::Status:
            lastStatus = m.status;
            lastStatusTime = m.time;
            break;
        case KvCommProtocol::SimulationInfo:
            store->setSimulationInfo(m.name, m.description, m.files, m.loadingTime, m.runningTime);
            break;
        case KvCommProtocol::Log:
            run.view.log.append({m.level, m.text});
            break;
        case KvCommProtocol::Unknown: {
            if (m.rawType != ViewFrame && m.rawType != RawLogFrame)
                break;
            const QCborMap map = QCborValue::fromCbor(body).toMap();
            if (m.rawType == RawLogFrame) {
                run.view.log.append({-1, map.value(1).toString()});
                break;
            }
            viewSeen = true;
            const qint64 status = map.value(1).toInteger(KvcActionManager::Unknown);
            run.view.status
                = status >= KvcActionManager::Loading && status <= KvcActionManager::Unknown
                ? KvcActionManager::ExecutionStatus(status)
                : KvcActionManager::Unknown;
            if (map.value(2).isInteger())
                run.view.statusTime = QDateTime::fromMSecsSinceEpoch(map.value(2).toInteger());
            run.data->setResultName(map.value(3).toString());
            run.view.chartGraphics.clear();
            for (const QCborValue &g : map.value(4).toArray()) {
                if (run.view.chartGraphics.size() < 16)
                    run.view.chartGraphics.append(
                        int(qBound<qint64>(-1, g.toInteger(-1), 1 << 30)));
            }
            break;
        }
        default:
            ok = store->feed(m, &why);
            break;
        }
        if (!ok) {
            stop(at, why);
            break;
        }
        ++frames;
    }
    if (!viewSeen) {
        run.view.status = statusOfServer(lastStatus);
        run.view.statusTime = lastStatusTime;
    }
    return true;
}

bool KvcRunFile::exportCsv(
    KvcResultsData &data, const QString &folder, QStringList *written, QString *error)
{
    const auto failed = [&](const QString &reason) {
        if (error)
            *error = reason;
        return false;
    };
    if (!QDir().mkpath(folder))
        return failed(tr("Cannot create the folder %1.").arg(QDir::toNativeSeparators(folder)));
    const QSharedPointer<KvCommClientData> store = data.simulationData();
    const int count = store ? store->simNumTrackedData() : 0;
    // Names become file names: anything but letters, digits, '.', '-' and '_' is replaced.
    const QRegularExpression unsafe(QStringLiteral("[^\\w.-]+"));
    for (int id = 0; id < count; ++id) {
        const KvCommClientTrackedRuleDataInfo &info = store->simTrackedDataInfo(id);
        const QString rule = store->simRuleInfo(info.ruleId).name;
        const QString fileName
            = QDir(folder).filePath(QStringLiteral("%1-%2-%3.csv")
                                        .arg(id)
                                        .arg(QString(rule).replace(unsafe, "_"))
                                        .arg(QString(info.name).replace(unsafe, "_")));
        const KvcResultsData::TrackedData &h = data.simTrackedData(id);
        QStringList names {QStringLiteral("time")};
        QVector<const QVector<double> *> columns {&h.time};
        if (id == data.timeTrackId()) {
            names << QStringLiteral("execution time (s)");
        } else {
            QStringList series;
            for (int g = data.numSpecialGraphics(); g < data.graphics().size(); ++g) {
                if (data.graphics().at(g)->trackId == id)
                    series = data.graphics().at(g)->series;
            }
            for (int c = 0; c < h.data.size(); ++c)
                names << series.value(c, QStringLiteral("%1 [%2]").arg(info.name).arg(c + 1));
        }
        for (const QVector<double> &component : h.data)
            columns.append(&component);
        QSaveFile file(fileName);
        if (!file.open(QIODevice::WriteOnly) || !KvcCsvWriter::write(&file, names, columns)
            || !file.commit())
            return failed(tr("Cannot write %1: %2")
                              .arg(QDir::toNativeSeparators(fileName), file.errorString()));
        if (written)
            written->append(fileName);
    }
    return true;
}
