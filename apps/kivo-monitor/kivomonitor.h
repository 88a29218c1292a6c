#pragma once

#include "kvcommclient.h"
#include "kvcprogressestimate.h"

#include <QElapsedTimer>
#include <QFile>
#include <QObject>
#include <QTextStream>
#include <QTimer>

/// The kivo-monitor tool: follows one simulation through a KvCommClient and
/// prints what it reports as text. When the server announces the run's
/// planned end, the status line printed every second carries the progress and
/// the estimated time left, as the results view shows them. Finishes with exitCode() through the
/// finished() signal.
class KivoMonitor : public QObject
{
    Q_OBJECT

public:
    explicit KivoMonitor(bool printSamples, QObject *parent = nullptr);

    /// Records what the connection delivers into `fileName` as a run file
    /// (a plain file written as frames arrive, so that a recording cut short
    /// by a kill still opens); call before start(). False with a message on
    /// stderr when the file cannot be created.
    bool recordTo(const QString &fileName);
    void start(const QString &host, quint16 port, unsigned int timeoutMs);
    /// Prints what the run file `fileName` holds; the exit code as for a
    /// connection (0 Finished, 1 another status, 2 unreadable, 3 damaged).
    static int replay(const QString &fileName, bool printSamples);

signals:
    /// 0: the server closed after a final status Finished; 1: it ended in
    /// another way; 2: the connection failed; 3: a communication error.
    void finished(int exitCode);

private:
    void onConnected();
    void onError(const QString &msg);
    void onDisconnected();
    void onRuleData();
    void onSamples(const QList<KvCommClientTrackedData> &data, qint64 elapsed);
    void printRate();
    QString progressText();
    void line(const QString &text);
    void record(const QByteArray &frame, bool flush = true);

    KvCommClient *m_client = nullptr;
    QTextStream m_out;
    QTextStream m_err;
    QTimer m_rateTimer;
    bool m_printSamples = false;
    bool m_connected = false;
    bool m_failed = false;
    qint64 m_samplesInSecond = 0;
    qint64 m_valuesInSecond = 0;
    QFile m_record;
    int m_timeId = -1;
    KvcProgressEstimate m_progress;
    QElapsedTimer m_sinceSample; // since the latest time sample arrived
};
