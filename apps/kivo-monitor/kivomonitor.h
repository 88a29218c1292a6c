#pragma once

#include "kvcommclient.h"
#include "kvcprogressestimate.h"

#include <QElapsedTimer>
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

    void start(const QString &host, quint16 port, unsigned int timeoutMs);

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

    KvCommClient *m_client = nullptr;
    QTextStream m_out;
    QTextStream m_err;
    QTimer m_rateTimer;
    bool m_printSamples = false;
    bool m_connected = false;
    bool m_failed = false;
    qint64 m_samplesInSecond = 0;
    qint64 m_valuesInSecond = 0;
    int m_timeId = -1;
    KvcProgressEstimate m_progress;
    QElapsedTimer m_sinceSample; // since the latest time sample arrived
};
