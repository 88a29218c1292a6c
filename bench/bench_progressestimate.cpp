// Cost of the progress estimate that the results view and kivo-monitor keep:
// one addSample() per time sample, one secondsLeft() per refresh (once a
// second, or per sample here for a bound), and the points it keeps.
//
// A synthetic run of `samples` time samples at `rate` samples per second of
// execution time (simulated time wavering around a steady rate).
//
// Usage: bench_progressestimate [samples=10000000] [rate=1000]

#include "kvcprogressestimate.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTextStream>

#include <algorithm>
#include <cmath>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const qint64 samples = args.value(1, QStringLiteral("10000000")).toLongLong();
    const double rate = args.value(2, QStringLiteral("1000")).toDouble();
    QTextStream out(stdout);

    const auto simAt = [](double wall) { return 2.0 * wall + std::sin(wall); };
    const double end = simAt(samples / rate) * 1.01;

    KvcProgressEstimate feedOnly(end);
    int mostPoints = 0;
    QElapsedTimer clock;
    clock.start();
    for (qint64 i = 0; i < samples; ++i) {
        feedOnly.addSample(i / rate, simAt(i / rate));
        mostPoints = std::max(mostPoints, feedOnly.keptPoints());
    }
    const double feedNs = clock.nsecsElapsed() / double(samples);

    KvcProgressEstimate queried(end);
    double sink = 0.0;
    clock.restart();
    for (qint64 i = 0; i < samples; ++i) {
        queried.addSample(i / rate, simAt(i / rate));
        const double left = queried.secondsLeft(i / rate);
        if (qIsFinite(left))
            sink += left;
    }
    const double bothNs = clock.nsecsElapsed() / double(samples);

    out << "samples: " << samples << " at " << rate << " per second of execution time\n"
        << "addSample: " << QString::number(feedNs, 'f', 1) << " ns per sample\n"
        << "addSample + secondsLeft: " << QString::number(bothNs, 'f', 1)
        << " ns per sample (checksum " << sink << ")\n"
        << "points kept: at most " << mostPoints << " (16 bytes each)\n";
    return 0;
}
