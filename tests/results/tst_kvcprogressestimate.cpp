#include "kvcprogressestimate.h"

#include <QtTest>

#include <cmath>

// Synthetic runs: simulated time against wall-clock time in stretches of
// a rate (simulated seconds per wall second) that wavers by 40 % over 7 s,
// as steps of varying cost do, sampled every 0.05 s.
struct Stretch {
    double seconds;
    double rate;
};
Q_DECLARE_METATYPE(QVector<Stretch>)

namespace {

constexpr double step = 0.05;

// Feeds the run and asks for the estimate once a second, as the view does;
// returns the wall time and simulated time reached.
QPointF feed(KvcProgressEstimate &e, const QVector<Stretch> &run, QVector<double> *estimates)
{
    double wall = 0.0, sim = 0.0, nextQuery = 1.0;
    e.addSample(wall, sim);
    for (const Stretch &s : run) {
        for (double end = wall + s.seconds - 1e-9; wall < end;) {
            wall += step;
            sim += s.rate * step * (1.0 + 0.4 * std::sin(wall * 2.0 * M_PI / 7.0));
            if (s.rate > 0.0)
                e.addSample(wall, sim);
            if (wall >= nextQuery) {
                if (estimates)
                    *estimates << e.secondsLeft(wall);
                nextQuery += 1.0;
            }
        }
    }
    return {wall, sim};
}

} // namespace

class tst_KvcProgressEstimate : public QObject
{
    Q_OBJECT

private slots:
    void tracksTheRecentRate_data();
    void tracksTheRecentRate();
    void stalledRunHasAGrowingThenNoEstimate();
    void unknownEndAndTooFewSamples();
    void durationText_data();
    void durationText();
};

void tst_KvcProgressEstimate::tracksTheRecentRate_data()
{
    QTest::addColumn<QVector<Stretch>>("run");
    QTest::addColumn<double>("rate"); // the rate the rest of the run goes at

    QTest::newRow("steady") << QVector<Stretch> {{120, 2}} << 2.0;
    QTest::newRow("slowing down to a quarter") << QVector<Stretch> {{100, 4}, {90, 1}} << 1.0;
    QTest::newRow("speeding up fourfold") << QVector<Stretch> {{100, 1}, {90, 4}} << 4.0;
    QTest::newRow("stalled a while, then steady again")
        << QVector<Stretch> {{60, 2}, {20, 0}, {90, 2}} << 2.0;
}

void tst_KvcProgressEstimate::tracksTheRecentRate()
{
    QFETCH(QVector<Stretch>, run);
    QFETCH(double, rate);
    KvcProgressEstimate e(2000.0);
    QVector<double> estimates;
    const QPointF reached = feed(e, run, &estimates);
    const double truth = (2000.0 - reached.y()) / rate;
    QVERIFY2(std::abs(e.secondsLeft(reached.x()) - truth) < 0.02 * truth,
        qPrintable(QString("%1 s left, truly %2 s").arg(e.secondsLeft(reached.x())).arg(truth)));
    QCOMPARE(e.fraction(), reached.y() / 2000.0);
    // Over the last 20 s the estimate counts down with the clock, without jumps.
    for (int i = estimates.size() - 20; i < estimates.size(); ++i)
        QVERIFY2(std::abs(estimates[i - 1] - estimates[i] - 1.0) < 0.01 * estimates[i] + 0.05,
            qPrintable(QString("%1 s, then %2 s").arg(estimates[i - 1]).arg(estimates[i])));
}

void tst_KvcProgressEstimate::stalledRunHasAGrowingThenNoEstimate()
{
    KvcProgressEstimate e(2000.0);
    const QPointF reached = feed(e, {{100, 2}}, nullptr);
    const double steady = e.secondsLeft(reached.x());
    // Samples a little late change nothing; no samples for long make it grow.
    QCOMPARE(e.secondsLeft(reached.x() + 1.0), steady - 1.0);
    double previous = steady;
    for (double later : {5.0, 10.0, 15.0}) {
        const double left = e.secondsLeft(reached.x() + later);
        QVERIFY2(left > previous, qPrintable(QString("%1 s after %2 s").arg(left).arg(later)));
        previous = left;
    }
    // Nothing moved over a whole window: no estimate at all.
    QVERIFY(qIsInf(e.secondsLeft(reached.x() + KvcProgressEstimate::MaxWindowSeconds + 1.0)));
    // The end reached: nothing left, the bar full.
    e.addSample(reached.x() + 100.0, 2000.5);
    QCOMPARE(e.secondsLeft(reached.x() + 100.0), 0.0);
    QCOMPARE(e.fraction(), 1.0);
}

void tst_KvcProgressEstimate::unknownEndAndTooFewSamples()
{
    KvcProgressEstimate e;
    QVERIFY(!e.endKnown());
    feed(e, {{10, 1}}, nullptr);
    QVERIFY(qIsNaN(e.fraction()) && qIsNaN(e.secondsLeft(10.0)));
    for (double bad : {0.0, -5.0, qInf(), qQNaN()}) {
        e.setPlannedEnd(bad);
        QVERIFY(!e.endKnown());
    }

    // Estimating until 4 samples span 2 s; samples that go back are ignored.
    KvcProgressEstimate early(100.0);
    early.addSample(0.0, 0.0);
    early.addSample(1.0, 1.0);
    early.addSample(0.5, 7.0);
    early.addSample(qQNaN(), 7.0);
    early.addSample(1.5, 1.5);
    QCOMPARE(early.sampleCount(), 3);
    early.addSample(1.9, 1.9);
    QVERIFY(qIsNaN(early.secondsLeft(1.9)));
    early.addSample(2.0, 2.0);
    QCOMPARE(early.secondsLeft(2.0), 98.0);
}

void tst_KvcProgressEstimate::durationText_data()
{
    QTest::addColumn<double>("seconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("under a second") << 0.4 << "0 s";
    QTest::newRow("seconds, rounded") << 59.4 << "59 s";
    QTest::newRow("a minute") << 59.6 << "1 min 00 s";
    QTest::newRow("minutes") << 185.0 << "3 min 05 s";
    QTest::newRow("hours") << 7620.0 << "2 h 07 min";
    QTest::newRow("absurdly long") << 1e300 << "277777 h 46 min";
    QTest::newRow("infinite") << qInf() << "";
}

void tst_KvcProgressEstimate::durationText()
{
    QFETCH(double, seconds);
    QFETCH(QString, text);
    QCOMPARE(KvcProgressEstimate::durationText(seconds), text);
}

QTEST_GUILESS_MAIN(tst_KvcProgressEstimate)
#include "tst_kvcprogressestimate.moc"
