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

// A frame of samples stays well below the protocol's frame limit.
constexpr qsizetype MaxBatchBytes = 4 * 1024 * 1024;

// Keys of a ColumnsFrame.
enum ColumnsKey {
    KeyId = 1, ///< tracked value
    KeyCount, ///< samples in the frame
    KeyTimes, ///< time track only: the simulated times, little-endian doubles
    KeyFirstStep, ///< the samples are at time steps first, first + 1, ... (-1: before the first)
    KeySteps, ///< or: the time step of each sample, little-endian 32-bit integers
    KeyValues ///< little-endian doubles, component by component
};

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

QByteArray littleEndian(const double *values, int count)
{
    QByteArray out(count * int(sizeof(double)), Qt::Uninitialized);
    qToLittleEndian<double>(values, count, out.data());
    return out;
}

// Writes the histories column by column (ColumnsFrame): in pieces of
// StepsPerPiece time samples, the time track's piece, then every other
// value's samples up to the end of that piece, so that a file cut anywhere
// holds a run up to some time. A sample's time is the latest time sample
// before it (0.0 before the first), so matching each history greedily against
// the time samples in order gives every sample a time step with the same
// time; a value sampled at every step from some step on needs only the first.
class ColumnWriter
{
public:
    static constexpr int StepsPerPiece = 1024;

    ColumnWriter(QIODevice &out, KvcResultsData &data, const QVector<bool> &skip)
        : out(out)
        , data(data)
        , skip(skip)
        , next(skip.size(), 0)
        , step(skip.size(), -1)
    { }

    // Whether every sample of `h` has a time step: true for any history that
    // samples filled, checked so that nothing is lost silently.
    static bool matches(const KvcResultsData::TrackedData &h, const QVector<double> &times)
    {
        int k = -1;
        for (const double x : h.time) {
            while (k < times.size() && !sameBits(x, k < 0 ? 0.0 : times.at(k)))
                ++k;
            if (k == times.size())
                return false;
        }
        return true;
    }

    bool writeAll()
    {
        const int numTimes = data.simTimeData().size();
        for (int k0 = 0; k0 == 0 || k0 < numTimes; k0 += StepsPerPiece) {
            const int k1 = qMin(numTimes, k0 + StepsPerPiece);
            if (k1 > k0 && !writeTimes(k0, k1))
                return false;
            for (int id = 0; id < skip.size(); ++id) {
                if (id != data.timeTrackId() && !skip.at(id) && !writeValue(id, k1))
                    return false;
            }
        }
        return true;
    }

private:
    bool writeTimes(int k0, int k1)
    {
        const int id = data.timeTrackId();
        const KvcResultsData::TrackedData &h = data.simTrackedData(id);
        QCborMap map;
        map.insert(KeyId, id);
        map.insert(KeyCount, k1 - k0);
        map.insert(KeyTimes, littleEndian(h.time.constData() + k0, k1 - k0));
        map.insert(KeyValues, littleEndian(h.data.at(0).constData() + k0, k1 - k0));
        return write(map);
    }

    // The samples of `id` at steps before k1, in frames of at most
    // MaxBatchBytes of values.
    bool writeValue(int id, int k1)
    {
        const KvcResultsData::TrackedData &h = data.simTrackedData(id);
        const QVector<double> &times = data.simTimeData();
        const int components = h.data.size();
        const int perFrame = qMax(1, int(MaxBatchBytes / (8 * qMax(components, 1) + 4)));
        int &p = next[id];
        int &k = step[id];
        while (p < h.time.size()) {
            QVector<qint32> steps;
            bool consecutive = true;
            const int from = p;
            for (; p < h.time.size() && p - from < perFrame; ++p) {
                while (k < k1 && !sameBits(h.time.at(p), k < 0 ? 0.0 : times.at(k)))
                    ++k;
                if (k == k1)
                    break;
                consecutive = consecutive && (steps.isEmpty() || k == steps.last() + 1);
                steps.append(k);
            }
            const int count = p - from;
            if (count == 0)
                return true;
            QCborMap map;
            map.insert(KeyId, id);
            map.insert(KeyCount, count);
            if (consecutive) {
                map.insert(KeyFirstStep, steps.first());
            } else {
                QByteArray bytes(count * 4, Qt::Uninitialized);
                qToLittleEndian<qint32>(steps.constData(), count, bytes.data());
                map.insert(KeySteps, bytes);
            }
            QByteArray values;
            values.reserve(count * components * int(sizeof(double)));
            for (const QVector<double> &component : h.data)
                values += littleEndian(component.constData() + from, count);
            map.insert(KeyValues, values);
            if (!write(map))
                return false;
        }
        return true;
    }

    bool write(const QCborMap &map)
    {
        const QByteArray frame = fileFrame(KvcRunFile::ColumnsFrame, map);
        return out.write(frame) == frame.size();
    }

    QIODevice &out;
    KvcResultsData &data;
    const QVector<bool> &skip;
    QVector<int> next; // per value: its first sample not written yet
    QVector<int> step; // per value: the time step of its last sample written
};

// Stores a ColumnsFrame's samples: every check of a batch of the same
// samples, and the steps must name time samples already read.
bool readColumns(const QByteArray &body, KvCommClientData &store, KvcResultsData &data,
    QVector<double> &x, QVector<double> &values, QString *why)
{
    const auto fail = [why](const QString &reason) {
        *why = reason;
        return false;
    };
    if (!store.hasRuleData())
        return fail(KvcRunFile::tr("samples before the rule data"));
    const QCborMap map = QCborValue::fromCbor(body).toMap();
    const qint64 id = map.value(KeyId).toInteger(-1);
    const qint64 count = map.value(KeyCount).toInteger(0);
    const bool isTime = id >= 0 && id == data.timeTrackId();
    const int components
        = isTime ? 1 : store.expectedComponents(int(qBound<qint64>(-1, id, INT_MAX)));
    if (components < 0)
        return fail(KvcRunFile::tr("samples of an unknown or unindexed value %1").arg(id));
    const QByteArray bytes = map.value(KeyValues).toByteArray();
    if (count < 1 || count > KvCommProtocol::MaxFrameSize || components == 0
        || bytes.size() != count * components * qint64(sizeof(double)))
        return fail(KvcRunFile::tr("%1 samples of value %2 in %3 bytes")
                        .arg(count)
                        .arg(id)
                        .arg(bytes.size()));
    values.resize(int(count * components));
    qFromLittleEndian<double>(bytes.constData(), values.size(), values.data());
    x.resize(int(count));
    const QVector<double> &times = data.simTimeData();
    const qint64 numTimes = times.size();
    const auto timeOf = [&times](qint64 k) { return k < 0 ? 0.0 : times.at(int(k)); };
    const QCborValue first = map.value(KeyFirstStep);
    const QByteArray stepBytes = map.value(KeySteps).toByteArray();
    if (isTime) {
        const QByteArray timeBytes = map.value(KeyTimes).toByteArray();
        if (timeBytes.size() != count * qint64(sizeof(double)))
            return fail(KvcRunFile::tr("%1 times in %2 bytes").arg(count).arg(timeBytes.size()));
        qFromLittleEndian<double>(timeBytes.constData(), count, x.data());
    } else if (first.isInteger()) {
        const qint64 k = first.toInteger();
        if (k < -1 || k + count > numTimes)
            return fail(KvcRunFile::tr("samples at steps %1 to %2 of %3")
                            .arg(k)
                            .arg(k + count - 1)
                            .arg(numTimes));
        for (int p = 0; p < count; ++p)
            x[p] = timeOf(k + p);
    } else if (stepBytes.size() == count * 4) {
        for (int p = 0; p < count; ++p) {
            const qint32 k = qFromLittleEndian<qint32>(stepBytes.constData() + 4 * p);
            if (k < -1 || k >= numTimes)
                return fail(KvcRunFile::tr("a sample at step %1 of %2").arg(k).arg(numTimes));
            x[p] = timeOf(k);
        }
    } else {
        return fail(KvcRunFile::tr("samples without times"));
    }
    // Samples that a batch would skip are skipped here too, as on a connection.
    data.appendSamples(int(id), x, values);
    return true;
}

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
    QStringList unmatched;
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
            if (i == data.timeTrackId() || h.time.isEmpty())
                continue;
            if (h.data.size() != store->expectedComponents(i)) {
                skip[i] = true;
                skipped << tracked.at(i).name;
            } else if (!ColumnWriter::matches(h, data.simTimeData())) {
                skip[i] = true;
                unmatched << tracked.at(i).name;
            }
        }
    }
    // The view and the log come before the samples: a copy cut short still
    // shows how the run ended and what it said.
    for (const KvcRunLogMessage &message : view.log)
        head += logFrame(message.level, message.text);
    QCborMap record;
    record.insert(1, int(view.status));
    record.insert(2, timeValue(view.statusTime));
    record.insert(3, data.name());
    QCborArray charts;
    for (int g : view.chartGraphics)
        charts.append(g);
    record.insert(4, charts);
    head += fileFrame(ViewFrame, record);
    if (file.write(head) != head.size())
        return failed(file.errorString());
    ColumnWriter columns(file, data, skip);
    if (!columns.writeAll() || !file.commit())
        return failed(file.errorString());
    if (warning) {
        QStringList notes;
        if (!skipped.isEmpty())
            notes << tr("The samples of %1 were left out: their index data changed its number "
                        "of lines during the run.")
                         .arg(skipped.join(QStringLiteral(", ")));
        if (!unmatched.isEmpty())
            notes << tr("The samples of %1 were left out: their times are not times of the run.")
                         .arg(unmatched.join(QStringLiteral(", ")));
        *warning = notes.join(QLatin1Char(' '));
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
    QVector<double> x;
    QVector<double> values;
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
            if (m.rawType == ColumnsFrame) {
                ok = readColumns(body, *store, *run.data, x, values, &why);
                break;
            }
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
