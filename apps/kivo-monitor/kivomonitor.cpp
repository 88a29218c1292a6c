#include "kivomonitor.h"

#include "kvcommclientdata.h"
#include "kvcommframewriter.h"
#include "kvcommprotocol.h"
#include "kvcrunfile.h"

#include <QDir>

namespace {

QString statusName(int status)
{
    switch (status) {
    case KvCommStatusNone:
        return QStringLiteral("none");
    case KvCommStatusLoading:
        return QStringLiteral("Loading");
    case KvCommStatusRunning:
        return QStringLiteral("Running");
    case KvCommStatusFinished:
        return QStringLiteral("Finished");
    case KvCommStatusCanceled:
        return QStringLiteral("Canceled");
    case KvCommStatusAborted:
        return QStringLiteral("Aborted");
    default:
        return QStringLiteral("unknown (%1)").arg(status);
    }
}

QString optionNames(quint32 options)
{
    QStringList names;
    if (options & KvCommControlLog)
        names << QStringLiteral("log");
    if (options & KvCommControlCancel)
        names << QStringLiteral("cancel");
    if (options & KvCommControlTerminate)
        names << QStringLiteral("terminate");
    return names.isEmpty() ? QStringLiteral("none") : names.join(QStringLiteral(", "));
}

QString timeText(const QDateTime &t)
{
    return t.isValid() ? t.toLocalTime().toString(Qt::ISODateWithMs) : QStringLiteral("-");
}

} // namespace

KivoMonitor::KivoMonitor(bool printSamples, QObject *parent)
    : QObject(parent)
    , m_out(stdout)
    , m_err(stderr)
    , m_printSamples(printSamples)
{
    m_rateTimer.setInterval(1000);
    connect(&m_rateTimer, &QTimer::timeout, this, &KivoMonitor::printRate);
}

bool KivoMonitor::recordTo(const QString &fileName)
{
    m_record.setFileName(fileName);
    if (!m_record.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        m_err << "Error: cannot record to " << QDir::toNativeSeparators(fileName) << ": "
              << m_record.errorString() << '\n';
        m_err.flush();
        return false;
    }
    record(KvcRunFile::header() + KvCommFrameWriter::hello(KvCommProtocol::Version));
    return true;
}

void KivoMonitor::record(const QByteArray &frame, bool flush)
{
    if (!m_record.isOpen())
        return;
    if (m_record.write(frame) != frame.size() || (flush && !m_record.flush())) {
        m_err << "Error: recording to " << QDir::toNativeSeparators(m_record.fileName())
              << " stopped: " << m_record.errorString() << '\n';
        m_err.flush();
        m_record.close();
    }
}

void KivoMonitor::start(const QString &host, quint16 port, unsigned int timeoutMs)
{
    m_client = new KvCommClient(this);
    connect(m_client, &KvCommClient::serverConnected, this, &KivoMonitor::onConnected);
    connect(m_client, &KvCommClient::serverError, this, &KivoMonitor::onError);
    connect(m_client, &KvCommClient::serverDisconnected, this, &KivoMonitor::onDisconnected);
    connect(m_client, &KvCommClient::simulationStatusChanged, this,
        [this](KvCommSimulationStatus status, const QDateTime &time) {
            line(QStringLiteral("Status: %1 at %2").arg(statusName(status), timeText(time)));
            record(KvCommFrameWriter::status(status, time));
        });
    connect(m_client, &KvCommClient::logDataReceived, this, [this](int level, const QString &text) {
        record(KvcRunFile::logFrame(level, text));
        m_out << QStringLiteral("[%1] ").arg(level) << text;
        if (!text.endsWith(QLatin1Char('\n')))
            m_out << '\n';
        m_out.flush();
    });
    line(QStringLiteral("Connecting to %1:%2...").arg(host).arg(port));
    m_client->connectToServer(host, port, timeoutMs);
}

void KivoMonitor::line(const QString &text)
{
    m_out << text << '\n';
    m_out.flush();
}

void KivoMonitor::onConnected()
{
    m_connected = true;
    KvCommClientData *data = m_client->clientData().data();
    line(QStringLiteral("Connected to %1:%2: simulator %3 (revision %4)")
             .arg(m_client->host())
             .arg(m_client->port())
             .arg(m_client->version(), m_client->revision()));
    line(QStringLiteral("Status: %1; accepted requests: %2")
             .arg(statusName(m_client->simulationStatus()),
                 optionNames(m_client->controlOptions())));
    record(KvCommFrameWriter::identity(m_client->version(), m_client->revision())
        + KvCommFrameWriter::controlOptions(m_client->controlOptions())
        + KvCommFrameWriter::status(m_client->simulationStatus(), QDateTime())
        + KvCommFrameWriter::ready());
    connect(data, &KvCommClientData::simulationInfoAvailable, this, [this, data] {
        record(KvCommFrameWriter::simulationInfo(data->simName(), data->simDescription(),
            data->simFiles(), data->simLoadingTime(), data->simRunningTime()));
        line(QStringLiteral("Simulation: %1").arg(data->simName()));
        if (!data->simDescription().isEmpty())
            line(QStringLiteral("  description: %1").arg(data->simDescription()));
        for (const QString &file : data->simFiles())
            line(QStringLiteral("  file: %1").arg(file));
        line(QStringLiteral("  loading since: %1, running since: %2")
                 .arg(timeText(data->simLoadingTime()), timeText(data->simRunningTime())));
        m_progress.setPlannedEnd(data->simPlannedEndTime());
        if (m_progress.endKnown() || data->simPlannedSteps() > 0)
            line(QStringLiteral("  planned end: %1, planned steps: %2")
                     .arg(m_progress.endKnown() ? QString::number(m_progress.plannedEnd(), 'g', 6)
                                                : QStringLiteral("-"))
                     .arg(data->simPlannedSteps() > 0 ? QString::number(data->simPlannedSteps())
                                                      : QStringLiteral("-")));
    });
    connect(data, &KvCommClientData::simulationRuleDataAvailable, this, &KivoMonitor::onRuleData);
    connect(data, &KvCommClientData::simulationTrackedDataInfoUpdated, this, [this, data](int id) {
        const KvCommClientTrackedRuleDataInfo &info = data->simTrackedDataInfo(id);
        record(KvCommFrameWriter::trackedDataInfo(info));
        line(QStringLiteral("Tracked value %1 now: %2 [%3] %4")
                 .arg(id)
                 .arg(info.name, info.unit, info.description));
    });
    connect(data, &KvCommClientData::trackedIndexDataAvailable, this,
        [this](int rule, const KvCommClientTrackedIndexData &index, qint64 elapsed) {
            record(KvCommFrameWriter::indexData(rule, index, elapsed));
            line(QStringLiteral("Index data of rule %1, type %2, %3 lines at %4 ms: %5")
                     .arg(rule)
                     .arg(int(index.indexType()))
                     .arg(index.numLines())
                     .arg(elapsed)
                     .arg(index.lines().join(QStringLiteral(", "))));
        });
    connect(data, &KvCommClientData::trackedDataReceived, this, &KivoMonitor::onSamples);
    if (!m_printSamples)
        m_rateTimer.start();
}

void KivoMonitor::onRuleData()
{
    KvCommClientData *data = m_client->clientData().data();
    line(QStringLiteral("%1 rules, %2 tracked values")
             .arg(data->simNumRules())
             .arg(data->simNumTrackedData()));
    QVector<KvCommClientTrackedRuleInfo> rules;
    QVector<KvCommClientTrackedRuleDataInfo> values;
    for (int r = 0; r < data->simNumRules(); ++r)
        rules.append(data->simRuleInfo(r));
    for (int i = 0; i < data->simNumTrackedData(); ++i)
        values.append(data->simTrackedDataInfo(i));
    record(KvCommFrameWriter::ruleData(rules, values));
    // The time track, as the results model picks it.
    for (int id = 0; id < data->simNumTrackedData() && m_timeId < 0; ++id) {
        const KvCommClientTrackedRuleDataInfo &info = data->simTrackedDataInfo(id);
        if (info.name == QLatin1String("time") && info.indexedBy == 0)
            m_timeId = id;
    }
    int id = 0;
    for (int r = 0; r < data->simNumRules(); ++r) {
        const KvCommClientTrackedRuleInfo &rule = data->simRuleInfo(r);
        line(QStringLiteral("Rule %1 %2: %3 tracked values")
                 .arg(r)
                 .arg(rule.name)
                 .arg(rule.numTrackedData));
        const int n = rule.numTrackedData;
        for (int k = 0; k < n; ++k, ++id) {
            const KvCommClientTrackedRuleDataInfo &info = data->simTrackedDataInfo(id);
            line(QStringLiteral("  value %1 %2 [%3] %4 x %5%6%7")
                     .arg(id)
                     .arg(info.name, info.unit)
                     .arg(info.numRows)
                     .arg(info.numCols)
                     .arg(info.indexedBy
                             ? QStringLiteral(", indexed by type %1").arg(info.indexedBy - 1)
                             : QString())
                     .arg(info.description.isEmpty() ? QString()
                                                     : QStringLiteral(": ") + info.description));
        }
    }
}

void KivoMonitor::onSamples(const QList<KvCommClientTrackedData> &data, qint64 elapsed)
{
    if (m_record.isOpen() && !data.isEmpty())
        record(KvCommFrameWriter::samples(data, elapsed, qMax<qint64>(0, data.first().sequence)),
            false);
    for (const KvCommClientTrackedData &s : data) {
        if (s.id == m_timeId && s.values.size() == 1) {
            m_progress.addSample(elapsed / 1000.0, s.values.at(0));
            m_sinceSample.start();
        }
    }
    if (!m_printSamples) {
        m_samplesInSecond += data.size();
        for (const KvCommClientTrackedData &s : data)
            m_valuesInSecond += s.values.size();
        return;
    }
    for (const KvCommClientTrackedData &s : data) {
        QStringList values;
        values.reserve(s.values.size());
        for (double v : s.values)
            values << QString::number(v, 'g', 10);
        m_out << QStringLiteral("t=%1 ms #%2 value %3%4 = ")
                     .arg(elapsed)
                     .arg(s.sequence)
                     .arg(s.id)
                     .arg(s.flags & KvCommClientTrackedData::FromHistory
                             ? QStringLiteral(" (history)")
                             : QString())
              << values.join(QLatin1Char(' ')) << '\n';
    }
    m_out.flush();
}

void KivoMonitor::printRate()
{
    // A run that stands still sends nothing: its progress line says so.
    const QString progress = progressText();
    if (m_samplesInSecond == 0 && progress.isEmpty())
        return;
    line(QStringLiteral("%1 samples/s, %2 values/s (total %3 samples)%4")
             .arg(m_samplesInSecond)
             .arg(m_valuesInSecond)
             .arg(m_client->clientData()->samplesReceived())
             .arg(progress));
    m_samplesInSecond = 0;
    m_valuesInSecond = 0;
}

QString KivoMonitor::progressText()
{
    const double fraction = m_progress.fraction();
    if (qIsNaN(fraction))
        return QString();
    // Between samples the server's clock is taken to run on with ours.
    const double left
        = m_progress.secondsLeft(m_progress.lastWall() + m_sinceSample.elapsed() / 1000.0);
    QString estimate;
    if (qIsNaN(left))
        estimate = QStringLiteral("estimating...");
    else if (qIsInf(left))
        estimate = QStringLiteral("no progress");
    else
        estimate = QStringLiteral("about %1 left").arg(KvcProgressEstimate::durationText(left));
    return QStringLiteral("; progress %1 % (t = %2 of %3), %4")
        .arg(fraction * 100.0, 0, 'f', 1)
        .arg(m_progress.lastSimTime(), 0, 'g', 6)
        .arg(m_progress.plannedEnd(), 0, 'g', 6)
        .arg(estimate);
}

void KivoMonitor::onError(const QString &msg)
{
    m_failed = true;
    m_err << "Error: " << msg << '\n';
    m_err.flush();
    if (!m_connected)
        emit finished(2);
}

void KivoMonitor::onDisconnected()
{
    m_rateTimer.stop();
    printRate();
    if (m_record.isOpen()) {
        record(QByteArray());
        m_record.close();
    }
    const QSharedPointer<KvCommClientData> data = m_client->clientData();
    line(QStringLiteral("Disconnected: %1 samples received, %2 missed; last status %3%4")
             .arg(data->samplesReceived())
             .arg(data->samplesMissed())
             .arg(statusName(m_client->simulationStatus()))
             .arg(qIsNaN(m_progress.fraction())
                     ? QString()
                     : QStringLiteral("; reached %1 % of the planned end after %2")
                           .arg(m_progress.fraction() * 100.0, 0, 'f', 1)
                           .arg(KvcProgressEstimate::durationText(m_progress.lastWall()))));
    if (m_failed)
        emit finished(3);
    else
        emit finished(m_client->simulationStatus() == KvCommStatusFinished ? 0 : 1);
}

int KivoMonitor::replay(const QString &fileName, bool printSamples)
{
    QTextStream out(stdout);
    KvcRunFile::Run run;
    if (!KvcRunFile::open(fileName, run)) {
        QTextStream(stderr) << "Error: " << run.message << '\n';
        return 2;
    }
    const QSharedPointer<KvCommClientData> store = run.data->simulationData();
    out << "Recorded run " << QDir::toNativeSeparators(fileName) << ": simulator "
        << run.simulatorVersion << " (revision " << run.simulatorRevision << ")\n"
        << "Simulation: " << store->simName() << '\n';
    if (!store->simDescription().isEmpty())
        out << "  description: " << store->simDescription() << '\n';
    for (const QString &file : store->simFiles())
        out << "  file: " << file << '\n';
    out << "  loading since: " << timeText(store->simLoadingTime())
        << ", running since: " << timeText(store->simRunningTime()) << '\n'
        << "Status: " << KvcActionManager::execStatusStr(run.view.status) << " at "
        << timeText(run.view.statusTime) << '\n'
        << store->simNumRules() << " rules, " << store->simNumTrackedData() << " tracked values\n";
    for (int id = 0; id < store->simNumTrackedData(); ++id) {
        const KvCommClientTrackedRuleDataInfo &info = store->simTrackedDataInfo(id);
        const KvcResultsData::TrackedData &h = run.data->simTrackedData(id);
        out << QStringLiteral("  value %1 %2 [%3] of rule %4: %5 samples of %6 components")
                   .arg(id)
                   .arg(info.name, info.unit, store->simRuleInfo(info.ruleId).name)
                   .arg(h.time.size())
                   .arg(h.data.size());
        if (!h.time.isEmpty())
            out << QStringLiteral(", min %1, max %2").arg(h.min, 0, 'g', 10).arg(h.max, 0, 'g', 10);
        out << '\n';
        for (int p = 0; printSamples && p < h.time.size(); ++p) {
            QStringList values;
            for (const QVector<double> &c : h.data)
                values << QString::number(c.at(p), 'g', 10);
            out << "    t=" << QString::number(h.time.at(p), 'g', 10) << " = "
                << values.join(QLatin1Char(' ')) << '\n';
        }
    }
    for (const KvcRunLogMessage &message : run.view.log) {
        out << QStringLiteral("[%1] ").arg(message.level) << message.text;
        if (!message.text.endsWith(QLatin1Char('\n')))
            out << '\n';
    }
    out.flush();
    if (!run.complete) {
        QTextStream(stderr) << "Error: " << run.message << '\n';
        return 3;
    }
    return run.view.status == KvcActionManager::Finished ? 0 : 1;
}
