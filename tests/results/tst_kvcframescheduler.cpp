#include "kvcframescheduler.h"

#include <QtTest>

namespace {

constexpr qint64 ms = 1000000;

} // namespace

class TestKvcFrameScheduler : public QObject
{
    Q_OBJECT

private slots:
    void pacing_data();
    void pacing();
};

void TestKvcFrameScheduler::pacing_data()
{
    QTest::addColumn<QVector<int>>("updateMs"); // what each chart's update takes
    QTest::addColumn<QVector<int>>("paintMs"); // and its repaint
    QTest::addColumn<QString>("changed"); // "1": the chart always has something new
    QTest::addColumn<QString>("frames"); // the charts each frame updates, "-" for none

    QTest::newRow("cheap charts: two a frame, in turn")
        << QVector<int> {1, 1, 1, 1} << QVector<int> {1, 1, 1, 1} << "1111"
        << "01 23 01 23";
    QTest::newRow("unchanged charts are passed over and take no place")
        << QVector<int> {0, 0, 0, 0} << QVector<int> {0, 0, 0, 0} << "0101"
        << "13 13 13";
    // 5 ms of update, 5 ms of repaint: not again within 100 ms.
    QTest::newRow("a costly chart waits ten times its update and repaint")
        << QVector<int> {5, 1, 1, 1} << QVector<int> {5, 1, 1, 1} << "1000"
        << "0 - - - 0 - - - - - - 0";
    QTest::newRow("no second chart once the frame's repaints come to its budget")
        << QVector<int> {1, 1, 1, 1} << QVector<int> {6, 6, 6, 6} << "1111"
        << "01 23 0 1 2 3 - 0";
    QTest::newRow("a chart whose repaint alone is over the budget is still updated")
        << QVector<int> {1, 1, 1, 1} << QVector<int> {20, 1, 1, 1} << "1000"
        << "0 0 - -";
    // 100 ms: ten times would be a second; it is 450 ms (at 464 ms, frame 29).
    QTest::newRow("a very costly chart still updates twice a second")
        << QVector<int> {100, 1, 1, 1} << QVector<int> {0, 1, 1, 1} << "1000"
        << QString("0") + QString(" -").repeated(28) + " 0";
}

void TestKvcFrameScheduler::pacing()
{
    QFETCH(QVector<int>, updateMs);
    QFETCH(QVector<int>, paintMs);
    QFETCH(QString, changed);
    QFETCH(QString, frames);

    qint64 now = 0;
    KvcFrameScheduler scheduler(changed.size(), [&now] { return now; });
    QStringList shown;
    for (qint64 frame = 0; shown.size() <= frames.count(QLatin1Char(' ')); ++frame) {
        // Frames are due every interval; one that ran late starts late.
        now = qMax(now, frame * KvcFrameScheduler::FrameIntervalMs * ms);
        const QVector<int> updated
            = scheduler.runFrame([&](int i) { return changed.at(i) == QLatin1Char('1'); },
                [&](int i) { now += updateMs.at(i) * ms; });
        QString text;
        for (int i : updated) {
            text += QString::number(i);
            // The charts a frame updated are repainted after it.
            scheduler.timePaint(i, [&] { now += paintMs.at(i) * ms; });
        }
        shown << (text.isEmpty() ? QStringLiteral("-") : text);
    }
    QCOMPARE(shown.join(QLatin1Char(' ')), frames);
}

QTEST_GUILESS_MAIN(TestKvcFrameScheduler)
#include "tst_kvcframescheduler.moc"
