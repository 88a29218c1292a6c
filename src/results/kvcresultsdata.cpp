#include "kvcresultsdata.h"

#include "kvcminmaxindex.h"

#include <QLoggingCategory>

// Skipped samples and records are reported at debug level; a host silences
// them with QT_LOGGING_RULES="kvc.results.debug=false".
Q_LOGGING_CATEGORY(lcResults, "kvc.results")

// Per tracked value, one index per component.
struct KvcResultsData::Extremes {
    QVector<QVector<KvcMinMaxIndex>> indexes;
};

KvcResultsData::KvcResultsData()
    : m_extremes(std::make_unique<Extremes>())
{
    m_graphics.reserve(m_numSpecialGraphics);
    m_graphics.append(new GraphicsData {tr("Execution x Simulation time"), tr("Time"),
        tr("Execution time (s)"), QStringList(), -1, -1});
    m_graphics.append(new GraphicsData {tr("Number of iterations"), tr("Time"),
        tr("Number of iterations"), QStringList {QStringLiteral("fem.iteration")}, -2, -1});
    m_graphics.append(new GraphicsData {tr("Iteration error"), tr("Iteration"), tr("Error"),
        QStringList {QStringLiteral("fem.error")}, -3, -1});
}

KvcResultsData::~KvcResultsData() { qDeleteAll(m_graphics); }

void KvcResultsData::setSimulationData(QSharedPointer<KvCommClientData> data)
{
    m_simData = data;
    if (!data)
        return;
    // By signature, so that any store with these signals serves the model.
    KvCommClientData *store = data.data();
    connect(store, SIGNAL(simulationInfoAvailable()), this, SIGNAL(simulationInfoAvailable()));
    connect(store, SIGNAL(simulationTrackedDataInfoUpdated(int)), this,
        SIGNAL(simulationTrackedDataInfoUpdated(int)));
    connect(store, SIGNAL(simulationRuleDataAvailable()), this, SLOT(ruleDataAvailable()));
    connect(store, SIGNAL(trackedDataReceived(const QList<KvCommClientTrackedData> &, qint64)),
        this, SLOT(newTrackedData(const QList<KvCommClientTrackedData> &, qint64)));
    connect(store,
        SIGNAL(trackedIndexDataAvailable(int, const KvCommClientTrackedIndexData &, qint64)), this,
        SLOT(newTrackedIndexData(int, const KvCommClientTrackedIndexData &, qint64)));
}

QSharedPointer<KvCommClientData> KvcResultsData::simulationData() { return m_simData; }

QString KvcResultsData::name() { return m_name; }

void KvcResultsData::setResultName(QString name) { m_name = std::move(name); }

int KvcResultsData::timeTrackId() const { return m_timeTrackId; }

int KvcResultsData::numSpecialGraphics() const { return m_numSpecialGraphics; }

const QVector<KvcResultsData::GraphicsData *> &KvcResultsData::graphics() const
{
    return m_graphics;
}

const KvcResultsData::TrackedData &KvcResultsData::simTrackedData(int trackId) const
{
    static const TrackedData none;
    if (trackId < 0 || trackId >= m_trackedData.size())
        return none;
    return m_trackedData.at(trackId);
}

const QVector<double> &KvcResultsData::simTimeData() const
{
    static const QVector<double> none;
    if (m_timeTrackId < 0 || m_timeTrackId >= m_trackedData.size())
        return none;
    return m_trackedData.at(m_timeTrackId).time;
}

const QVector<double> &KvcResultsData::simExecTimeData() const
{
    static const QVector<double> none;
    if (m_timeTrackId < 0 || m_timeTrackId >= m_trackedData.size()
        || m_trackedData.at(m_timeTrackId).data.isEmpty())
        return none;
    return m_trackedData.at(m_timeTrackId).data.at(0);
}

const KvCommClientTrackedIndexData &KvcResultsData::simRuleIndexData(
    int ruleId, int indexType) const
{
    // The answer for index data that has not arrived.
    static const KvCommClientTrackedIndexData invalidIndexData;
    if (indexType < 0 || indexType >= KvCommClientTrackedIndexData::NumIndexTypes)
        return invalidIndexData;
    const QVector<KvCommClientTrackedIndexData> &perRule = m_ruleIndexData[indexType];
    if (ruleId < 0 || ruleId >= perRule.size())
        return invalidIndexData;
    return perRule.at(ruleId);
}

double KvcResultsData::currentTime() const
{
    const QVector<double> &times = simTimeData();
    return times.isEmpty() ? 0.0 : times.last();
}

double KvcResultsData::currentExecutionTime() const
{
    const QVector<double> &times = simExecTimeData();
    return times.isEmpty() ? 0.0 : times.last();
}

void KvcResultsData::ruleDataAvailable()
{
    if (!m_simData)
        return;
    KvCommClientData &store = *m_simData;

    const int n = store.simNumTrackedData();
    m_trackedData.resize(n);
    m_extremes->indexes.resize(n);
    for (int i = 0; i < n; ++i)
        m_trackedData[i].id = i;

    for (int i = 0; i < n; ++i) {
        const KvCommClientTrackedRuleDataInfo &info = store.simTrackedDataInfo(i);
        // An indexed value has one series per line: it cannot be the time axis
        // or a single iteration curve.
        if (info.indexedBy != 0)
            continue;
        if (m_timeTrackId == -1 && info.name == QLatin1String("time")) {
            m_timeTrackId = info.id;
            m_trackedData[i].data.resize(1);
            continue;
        }
        if (m_iterationTrackId == -1 && info.name == QLatin1String("fem.iteration")) {
            m_iterationTrackId = info.id;
            m_graphics[1]->trackId = info.id;
            continue;
        }
        if (m_errorTrackId == -1 && info.name == QLatin1String("fem.error")) {
            m_errorTrackId = info.id;
            m_graphics[2]->trackId = info.id;
        }
    }

    // Tracked values are numbered consecutively over the rules, so counting
    // pairs each value with its rule.
    int k = 0;
    const int numRules = store.simNumRules();
    for (int r = 0; r < numRules; ++r) {
        const KvCommClientTrackedRuleInfo &rule = store.simRuleInfo(r);
        const QString ruleName = rule.name;
        const int count = rule.numTrackedData;
        for (int j = 0; j < count; ++j, ++k)
            addGraphic(ruleName, store.simTrackedDataInfo(k));
    }

    emit simulationRuleDataAvailable();
}

void KvcResultsData::addGraphic(QString ruleName, const KvCommClientTrackedRuleDataInfo &info)
{
    auto *graphic = new GraphicsData;
    graphic->title = QStringLiteral("%1 (%2)").arg(ruleName).arg(info.name);
    graphic->yTitle = info.name;
    if (!info.unit.isEmpty())
        graphic->yTitle += QStringLiteral(" (%1)").arg(info.unit);
    graphic->xTitle = tr("Time (s)");
    graphic->trackId = info.id;
    graphic->ruleId = info.ruleId;
    m_graphics.append(graphic);

    // Indexed values learn their line labels with their first sample.
    if (info.indexedBy == 0 && info.numRows * info.numCols > 0)
        addGraphicSeries(graphic, nullptr);
}

void KvcResultsData::addGraphicSeries(
    GraphicsData *graphic, const KvCommClientTrackedIndexData *index)
{
    const KvCommClientTrackedRuleDataInfo &info = m_simData->simTrackedDataInfo(graphic->trackId);
    const int c = info.numRows * info.numCols;
    const QString name = info.name;
    const int lines = index ? index->numLines() : 1;
    if (lines < 1)
        return;
    for (int l = 0; l < lines; ++l) {
        const QString base = index ? index->lineStr(l) : name;
        for (int j = 0; j < c; ++j) {
            if (c == 1)
                graphic->series.append(base);
            else
                graphic->series.append(base + QStringLiteral(" [%1]").arg(j + 1));
        }
    }
}

void KvcResultsData::adjustTrackedDataSize(TrackedData &history)
{
    const KvCommClientTrackedRuleDataInfo &info = m_simData->simTrackedDataInfo(history.id);
    int c = info.numRows * info.numCols;
    if (info.indexedBy >= 1)
        c *= simRuleIndexData(info.ruleId, info.indexedBy - 1).numLines();
    history.data.resize(qMax(0, c));
}

void KvcResultsData::newTrackedData(const QList<KvCommClientTrackedData> &data, qint64 elapsedTime)
{
    if (!m_simData)
        return;
    // Kept here rather than asked per sample: a time sample earlier in the
    // batch sets the x of the samples after it.
    double x = currentTime();
    const int numTracked = m_trackedData.size();

    for (const KvCommClientTrackedData &sample : data) {
        const int id = sample.id;
        const QVector<double> &values = sample.values;

        if (id < 0 || id >= numTracked) {
            qCDebug(lcResults, "sample of unknown tracked value %d skipped", id);
            continue;
        }

        if (id == m_timeTrackId) {
            TrackedData &track = m_trackedData[id];
            if (values.size() != 1 || track.data.size() != 1) {
                qCDebug(lcResults, "time sample with %d components dropped", int(values.size()));
                continue;
            }
            x = values.first();
            track.time.append(x);
            const double execTime = elapsedTime / 1000.0;
            track.data[0].append(execTime);
            if (track.min > execTime)
                track.min = execTime;
            if (execTime > track.max)
                track.max = execTime;
            indexExtremes(id, track);
            emit trackedDataReceived(id);
            continue;
        }

        TrackedData &history = m_trackedData[id];
        if (history.data.isEmpty()) {
            if (!m_simData) // dropped by a receiver of an earlier sample
                return;
            firstSample(history);
        }

        const int n = values.size();
        if (n != history.data.size()) {
            qCDebug(lcResults,
                "sample of tracked value %d with %d components skipped, its history has %d", id, n,
                int(history.data.size()));
            continue;
        }

        history.time.append(x);
        const double *in = values.constData();
        QVector<double> *out = history.data.data();
        double lo = history.min;
        double hi = history.max;
        for (int i = 0; i < n; ++i) {
            const double v = in[i];
            out[i].append(v);
            if (lo > v)
                lo = v;
            if (v > hi)
                hi = v;
        }
        history.min = lo;
        history.max = hi;
        indexExtremes(id, history);
        emit trackedDataReceived(id);
    }
    growAhead();
}

void KvcResultsData::firstSample(TrackedData &history)
{
    adjustTrackedDataSize(history);
    const int id = history.id;
    const int indexedBy = m_simData->simTrackedDataInfo(id).indexedBy;
    for (int g = m_numSpecialGraphics; g < m_graphics.size(); ++g) {
        GraphicsData *graphic = m_graphics[g];
        if (graphic->trackId != id || !graphic->series.isEmpty())
            continue;
        if (indexedBy >= 1)
            addGraphicSeries(graphic, &simRuleIndexData(graphic->ruleId, indexedBy - 1));
        else
            addGraphicSeries(graphic, nullptr);
    }
}

namespace {

// Room for `more` elements, doubling as append() would: a history read in
// many pieces is not copied once per piece.
void makeRoom(QVector<double> &v, int more)
{
    const int needed = v.size() + more;
    if (needed > v.capacity())
        v.reserve(qMax(needed, 2 * v.capacity()));
}

} // namespace

bool KvcResultsData::appendSamples(
    int trackId, const QVector<double> &x, const QVector<double> &values)
{
    const int count = x.size();
    if (!m_simData || trackId < 0 || trackId >= m_trackedData.size() || count == 0) {
        qCDebug(lcResults, "samples of unknown tracked value %d skipped", trackId);
        return false;
    }
    TrackedData &history = m_trackedData[trackId];
    if (history.data.isEmpty() && trackId != m_timeTrackId)
        firstSample(history);
    const int n = history.data.size();
    if (n == 0 || qint64(n) * count != values.size()) {
        qCDebug(lcResults, "%d samples of tracked value %d with %d values skipped", count, trackId,
            int(values.size()));
        return false;
    }
    makeRoom(history.time, count);
    history.time.append(x);
    double lo = history.min;
    double hi = history.max;
    for (int c = 0; c < n; ++c) {
        QVector<double> &out = history.data[c];
        makeRoom(out, count);
        const double *in = values.constData() + qint64(c) * count;
        for (int p = 0; p < count; ++p) {
            const double v = in[p];
            out.append(v);
            if (lo > v)
                lo = v;
            if (v > hi)
                hi = v;
        }
    }
    history.min = lo;
    history.max = hi;
    indexExtremes(trackId, history);
    emit trackedDataReceived(trackId);
    return true;
}

void KvcResultsData::indexExtremes(int trackId, const TrackedData &history)
{
    if (trackId >= m_extremes->indexes.size())
        m_extremes->indexes.resize(m_trackedData.size());
    QVector<KvcMinMaxIndex> &indexes = m_extremes->indexes[trackId];
    if (indexes.size() != history.data.size())
        indexes.resize(history.data.size());
    for (int i = 0; i < indexes.size(); ++i)
        indexes[i].sync(history.data.at(i), history.data.at(i).size());
}

const KvcMinMaxIndex *KvcResultsData::simTrackedExtremes(int trackId, int component) const
{
    if (trackId < 0 || trackId >= m_extremes->indexes.size() || component < 0
        || component >= m_extremes->indexes.at(trackId).size())
        return nullptr;
    return &m_extremes->indexes.at(trackId).at(component);
}

void KvcResultsData::growAhead()
{
    // Every vector of a value gains one element per sample, so vectors that
    // started together fill up together and would all be copied to their
    // doubled buffers in the same batch: tens of megabytes at once, a stall
    // of the GUI thread growing with the history. Instead, a few vectors are
    // looked at per batch, in turn, and the first that is nearly full is
    // doubled ahead of time: at most one copy per batch.
    constexpr int looksPerBatch = 4;
    constexpr int smallVector = 4096; // cheap to copy when it fills up
    const int numTracked = m_trackedData.size();
    if (numTracked == 0)
        return;
    for (int look = 0; look < looksPerBatch; ++look) {
        if (m_growTrack >= numTracked) {
            m_growTrack = 0;
            m_growVector = -1;
        }
        TrackedData &track = m_trackedData[m_growTrack];
        QVector<double> *v = nullptr;
        if (m_growVector < 0)
            v = &track.time;
        else if (m_growVector < track.data.size())
            v = &track.data[m_growVector];
        if (++m_growVector >= track.data.size()) {
            ++m_growTrack;
            m_growVector = -1;
        }
        if (v && v->capacity() >= smallVector && v->size() >= v->capacity() - v->capacity() / 8) {
            v->reserve(2 * v->capacity());
            return;
        }
    }
}

void KvcResultsData::newTrackedIndexData(
    int ruleId, const KvCommClientTrackedIndexData &data, qint64 elapsedTime)
{
    Q_UNUSED(elapsedTime)
    if (!m_simData)
        return;
    const int t = data.indexType();
    const int numRules = m_simData->simNumRules();
    if (t < 0 || t >= KvCommClientTrackedIndexData::NumIndexTypes) {
        qCDebug(lcResults, "index data of rule %d with invalid index type %d skipped", ruleId, t);
        return;
    }
    if (ruleId < 0 || ruleId >= numRules) {
        qCDebug(lcResults, "index data of unknown rule %d skipped", ruleId);
        return;
    }
    QVector<KvCommClientTrackedIndexData> &perRule = m_ruleIndexData[t];
    if (perRule.isEmpty())
        perRule.resize(numRules);
    // Rule data runs once per store, so the vector has the size of the rules.
    if (ruleId >= perRule.size()) {
        qCDebug(lcResults, "index data of unknown rule %d skipped", ruleId);
        return;
    }
    perRule[ruleId] = data;
    emit trackedIndexDataAvailable(ruleId, t);
}
