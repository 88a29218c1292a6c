#include "kvcchartstyle.h"

#include <QSet>
#include <QtTest/QtTest>

#include <cmath>

class TestKvcChartStyle : public QObject
{
    Q_OBJECT

private slots:
    void ticksAreRoundAndReadable_data();
    void ticksAreRoundAndReadable();
    void seriesLookApart();
};

void TestKvcChartStyle::ticksAreRoundAndReadable_data()
{
    QTest::addColumn<double>("min");
    QTest::addColumn<double>("max");
    QTest::addColumn<int>("maxTicks");
    QTest::addColumn<bool>("integers");

    // The ranges the axis rule gives: 0 to 1.25 times a value, or a value's
    // extremes, over every order of magnitude a simulation reports.
    for (int power = -12; power <= 9; ++power) {
        const double v = 1.7 * std::pow(10.0, power);
        QTest::addRow("[0, 1.25 * 1.7e%d]", power) << 0.0 << 1.25 * v << 8 << false;
        QTest::addRow("[1.7e%d, 1.05 * that]", power) << v << 1.05 * v << 5 << false;
    }
    QTest::newRow("an iteration error") << 1.3e-11 << 9.7e-11 << 6 << false;
    QTest::newRow("across zero") << -0.0431 << 0.0274 << 7 << false;
    QTest::newRow("negative only") << -8841.0 << -3.5 << 4 << false;
    QTest::newRow("execution times") << 0.0 << 14841.25 << 9 << false;
    QTest::newRow("two ticks allowed") << 0.0 << 862.5 << 2 << false;
    QTest::newRow("iterations") << 0.0 << 21.25 << 8 << true;
    QTest::newRow("iterations, few") << 4.0 << 9.0 << 12 << true;
    QTest::newRow("iterations, many") << 0.0 << 1.25e6 << 5 << true;
}

void TestKvcChartStyle::ticksAreRoundAndReadable()
{
    QFETCH(double, min);
    QFETCH(double, max);
    QFETCH(int, maxTicks);
    QFETCH(bool, integers);

    const KvcChartStyle::Ticks ticks = KvcChartStyle::ticks(min, max, maxTicks, integers);
    const double power = std::pow(10.0, std::floor(std::log10(ticks.interval) + 1e-9));
    const double mantissa = ticks.interval / power;
    QVERIFY2(qFuzzyCompare(mantissa, 1.0) || qFuzzyCompare(mantissa, 2.0)
            || qFuzzyCompare(mantissa, 5.0),
        qPrintable(QString::number(ticks.interval)));
    if (integers)
        QVERIFY(ticks.interval >= 1 && ticks.interval == std::floor(ticks.interval));

    // Where Qt Charts puts them: multiples of the interval inside the range.
    QStringList labels;
    for (double n = std::ceil(min / ticks.interval - 1e-9); n * ticks.interval <= max * (1 + 1e-12);
         ++n)
        labels << KvcChartStyle::label(n * ticks.interval, ticks.labelFormat);
    QVERIFY2(
        labels.size() >= 2 && labels.size() <= qMax(2, maxTicks), qPrintable(labels.join(' ')));
    // One format per axis, every label different, no more digits than needed.
    const bool scientific = labels.first().contains('e');
    QSet<QString> seen;
    for (const QString &label : qAsConst(labels)) {
        QCOMPARE(label.contains('e'), scientific);
        QVERIFY2(!seen.contains(label), qPrintable(labels.join(' ')));
        seen << label;
        QVERIFY2(label.size() <= 10, qPrintable(label));
    }
    if (!scientific)
        QVERIFY2(std::abs(max) < 1e6 && (std::abs(max) >= 1e-3 || std::abs(min) >= 1e-3),
            qPrintable(labels.join(' ')));
}

void TestKvcChartStyle::seriesLookApart()
{
    const auto distance = [](const QColor &a, const QColor &b) {
        return std::hypot(a.red() - b.red(), a.green() - b.green(), a.blue() - b.blue());
    };
    QSet<QPair<QRgb, int>> looks;
    for (int i = 0; i < 24; ++i) {
        const QColor color = KvcChartStyle::seriesColor(i);
        looks << qMakePair(color.rgb(), int(KvcChartStyle::seriesStyle(i)));
        // A thin line must stand out on the white plot.
        QVERIFY2(distance(color, Qt::white) > 150, qPrintable(color.name()));
        for (int j = 0; j < i && i < KvcChartStyle::DistinctColors; ++j)
            QVERIFY2(distance(color, KvcChartStyle::seriesColor(j)) > 60,
                qPrintable(color.name() + ' ' + KvcChartStyle::seriesColor(j).name()));
    }
    QCOMPARE(looks.size(), 24);
    QVERIFY(KvcChartStyle::DistinctColors >= 12);
}

QTEST_APPLESS_MAIN(TestKvcChartStyle)
#include "tst_kvcchartstyle.moc"
