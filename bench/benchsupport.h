#pragma once

// What the benchmarks that run the real simulator share.

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTimer>

#include <functional>
#include <memory>

// A line of /proc/<pid>/status in kB ("self" for this process), or -1.
inline qint64 procStatusKb(const QString &pid, const char *key)
{
    QFile f(QStringLiteral("/proc/%1/status").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray prefix = QByteArray(key) + ':';
    for (const QByteArray &line : f.readAll().split('\n'))
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toLongLong();
    return -1;
}

// Polls for the connection file that `sim` writes (atomically) once its
// server listens, and hands over its port; `failed` if none comes within 10 s
// or the simulator ends first.
inline void whenListening(QTimer &poll, const QString &connFile, const QProcess &sim,
    std::function<void(quint16)> listening, std::function<void()> failed)
{
    auto clock = std::make_shared<QElapsedTimer>();
    clock->start();
    QObject::connect(
        &poll, &QTimer::timeout, &poll, [&poll, &sim, connFile, clock, listening, failed] {
            QFile f(connFile);
            if (f.open(QIODevice::ReadOnly)) {
                const QRegularExpressionMatch m
                    = QRegularExpression(QStringLiteral("port\\s*=\\s*(\\d+)"))
                          .match(QString::fromUtf8(f.readAll()));
                if (m.hasMatch()) {
                    poll.stop();
                    listening(quint16(m.captured(1).toUInt()));
                    return;
                }
            }
            if (clock->elapsed() > 10000 || sim.state() == QProcess::NotRunning) {
                poll.stop();
                failed();
            }
        });
    poll.start(5);
}
