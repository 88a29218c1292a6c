#include "kvccsvwriter.h"
#include "kvcresultswidget.h"
#include "kvcrunfile.h"

#include "runfixture.h"
#include "scopedlocale.h"

#include <QLabel>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QTimer>
#include <QtCharts/QChartView>
#include <QtCharts/QValueAxis>
#include <QtEndian>
#include <QtTest>

#include <clocale>

using namespace QtCharts;

class TestKvcRunFile : public QObject
{
    Q_OBJECT

private slots:
    void init() { QVERIFY(dir.isValid()); }
    void roundTripKeepsTheWholeModel();
    void cutFilesOpenWithWhatCouldBeRead();
    void refusedFiles_data();
    void refusedFiles();
    void viewRecordRoundTrip();
    void reopenedChartsLookAsTheyDidLive();
    void csvExportReadsBackExactly();

private:
    QByteArray saved(RunFixture::Run &run)
    {
        const QString file = dir.filePath(QStringLiteral("run.kivorun"));
        QString error;
        if (!KvcRunFile::save(file, *run.data, run.view, &error))
            qWarning("%s", qPrintable(error));
        QFile f(file);
        f.open(QIODevice::ReadOnly);
        return f.readAll();
    }

    QTemporaryDir dir;
};

void TestKvcRunFile::roundTripKeepsTheWholeModel()
{
    RunFixture::Run run;
    RunFixture::fill(run, 200, 3000);
    const QString file = dir.filePath(QStringLiteral("a.kivorun"));
    QString error;
    QVERIFY2(KvcRunFile::save(file, *run.data, run.view, &error), qPrintable(error));

    KvcRunFile::Run back;
    QVERIFY(KvcRunFile::open(file, back));
    QVERIFY2(back.complete, qPrintable(back.message));
    QCOMPARE(RunFixture::dump(*back.data), RunFixture::dump(*run.data));
    QCOMPARE(back.view.status, run.view.status);
    QCOMPARE(back.view.statusTime, run.view.statusTime);
    QCOMPARE(back.view.chartGraphics, run.view.chartGraphics);
    QCOMPARE(back.view.log.size(), run.view.log.size());
    for (int i = 0; i < run.view.log.size(); ++i) {
        QCOMPARE(back.view.log[i].level, run.view.log[i].level);
        QCOMPARE(back.view.log[i].text, run.view.log[i].text);
    }
}

void TestKvcRunFile::cutFilesOpenWithWhatCouldBeRead()
{
    RunFixture::Run run;
    RunFixture::fill(run, 6, 4);
    const QByteArray bytes = saved(run);
    QVector<qsizetype> boundaries;
    for (qsizetype at = KvcRunFile::HeaderSize; at < bytes.size();
         at += 4 + qFromBigEndian<quint32>(bytes.constData() + at))
        boundaries << at;

    int lastSamples = -1;
    for (qsizetype size = 0; size <= bytes.size(); ++size) {
        KvcRunFile::Run back;
        const bool opened = KvcRunFile::read(bytes.left(size), QStringLiteral("cut"), back);
        QCOMPARE(opened, size >= KvcRunFile::HeaderSize);
        if (!opened)
            continue;
        QCOMPARE(back.complete, size == bytes.size() || boundaries.contains(size));
        if (!back.complete) {
            // The message names the byte at which the frame that was cut starts.
            const qsizetype start
                = *std::prev(std::upper_bound(boundaries.cbegin(), boundaries.cend(), size));
            QVERIFY2(back.message.contains(QStringLiteral("byte %1").arg(start)),
                qPrintable(back.message));
        }
        int samples = 0;
        for (int id = 0; back.data->simTrackedData(id).id >= 0; ++id)
            samples += back.data->simTrackedData(id).time.size();
        QVERIFY(samples >= lastSamples);
        lastSamples = samples;
    }
    // Five values a step, and P four times.
    QCOMPARE(lastSamples, 6 * 5 + 4);
}

void TestKvcRunFile::refusedFiles_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("says");
    QByteArray newer = KvcRunFile::header();
    qToBigEndian<quint32>(KvcRunFile::FormatVersion + 1, newer.data() + KvcRunFile::MagicSize);
    QByteArray zero = KvcRunFile::header();
    qToBigEndian<quint32>(0, zero.data() + KvcRunFile::MagicSize);
    QTest::newRow("empty") << QByteArray() << "is not a Kivo run file";
    QTest::newRow("text") << QByteArray("time,P\n0.1,2\n") << "is not a Kivo run file";
    QTest::newRow("magic only") << QByteArray("KIVO-RUN") << "is not a Kivo run file";
    QTest::newRow("newer format") << newer << "format version 3";
    QTest::newRow("version 0") << zero << "format version 0";
}

void TestKvcRunFile::refusedFiles()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, says);
    KvcRunFile::Run back;
    QVERIFY(!KvcRunFile::read(bytes, QStringLiteral("x.kivorun"), back));
    QVERIFY(!back.data);
    QVERIFY2(back.message.contains(says), qPrintable(back.message));
}

void TestKvcRunFile::viewRecordRoundTrip()
{
    RunFixture::Run run;
    RunFixture::fill(run, 5, 0);
    KvcResultsWidget live(nullptr, KvcActionManager::Finished, run.data);
    QMetaObject::invokeMethod(&live, "appendLogMsg", Q_ARG(int, 3), Q_ARG(QString, "blue\n"));
    QMetaObject::invokeMethod(&live, "appendLogMsg", Q_ARG(int, -1), Q_ARG(QString, "raw\n"));
    QMetaObject::invokeMethod(&live, "appendLogMsg", Q_ARG(int, 5), Q_ARG(QString, "red"));
    const KvcRunView view = live.record();
    QCOMPARE(view.log.size(), 2);
    QCOMPARE(view.log[0].level, 3);
    QCOMPARE(view.log[0].text, QStringLiteral("blue\nraw\n"));
    QCOMPARE(view.log[1].level, 5);
    QVERIFY(KvcRunFile::save(dir.filePath("v.kivorun"), *run.data, view, nullptr));

    KvcRunFile::Run back;
    QVERIFY(KvcRunFile::open(dir.filePath("v.kivorun"), back));
    KvcResultsWidget reopened(nullptr, back.view.status, back.data);
    reopened.showRecord(back.view);
    const auto label
        = [&reopened](const char *name) { return reopened.findChild<QLabel *>(name)->text(); };
    QCOMPARE(label("simNameLbl"), QStringLiteral("heat"));
    QCOMPARE(label("simStatusLbl"), KvcActionManager::execStatusStr(KvcActionManager::Finished));
    QCOMPARE(label("simTimeLbl"), QStringLiteral("0.5"));
    for (const char *name : {"simLoadingStartedLbl", "simRunningStartedLbl"})
        QVERIFY2(label(name).contains(QStringLiteral("2023")), name);
    QCOMPARE(label("simFinishedLbl"), live.findChild<QLabel *>("simFinishedLbl")->text());
    QCOMPARE(reopened.record().chartGraphics, view.chartGraphics);
    QCOMPARE(reopened.findChild<QTextEdit *>("logTed")->toHtml(),
        live.findChild<QTextEdit *>("logTed")->toHtml());
}

void TestKvcRunFile::reopenedChartsLookAsTheyDidLive()
{
    // A view that followed the run from its start, and the same run reopened.
    RunFixture::Run run;
    KvcResultsWidget live(nullptr, KvcActionManager::Running, run.data);
    RunFixture::fill(run, 40, 0);
    QVERIFY(KvcRunFile::save(dir.filePath("c.kivorun"), *run.data, live.record(), nullptr));
    KvcRunFile::Run back;
    QVERIFY(KvcRunFile::open(dir.filePath("c.kivorun"), back));
    KvcResultsWidget reopened(nullptr, back.view.status, back.data);
    reopened.showRecord(back.view);

    const auto shown = [](KvcResultsWidget &view, const char *name) {
        QChart *chart = view.findChild<QChartView *>(name)->chart();
        QStringList out {chart->title()};
        for (QAbstractAxis *axis : chart->axes()) {
            const auto *values = static_cast<QValueAxis *>(axis);
            out << QStringLiteral("%1..%2").arg(values->min()).arg(values->max());
        }
        return out.join(' ');
    };
    // The axes take their ranges when frames draw the charts: until the
    // views' frame timers stop.
    const auto drawing = [](KvcResultsWidget &view) {
        const auto timers = view.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
        return std::any_of(timers.cbegin(), timers.cend(), [](QTimer *t) { return t->isActive(); });
    };
    QTRY_VERIFY(!drawing(live) && !drawing(reopened));
    for (const char *name : {"urChart", "mrChart", "lrChart", "ulChart"})
        QCOMPARE(shown(reopened, name), shown(live, name));
}

void TestKvcRunFile::csvExportReadsBackExactly()
{
    // The decimal point must not follow the user's locale, in Qt or in C.
    ScopedDefaultLocale german(QStringLiteral("de_DE"));
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
    RunFixture::Run run;
    RunFixture::fill(run, 8, 0);
    QStringList written;
    QString error;
    QVERIFY2(
        KvcRunFile::exportCsv(*run.data, dir.filePath("csv"), &written, &error), qPrintable(error));
    std::setlocale(LC_NUMERIC, "C");
    QCOMPARE(written.size(), 6);

    QFile time(dir.filePath("csv/0-sim-time.csv"));
    QVERIFY(time.open(QIODevice::ReadOnly));
    QCOMPARE(time.readLine(), QByteArray("time,execution time (s)\n"));
    const QList<QByteArray> first = time.readLine().trimmed().split(',');
    QCOMPARE(first.size(), 2);
    QCOMPARE(first[0].toDouble(), 0.1);
    QCOMPARE(first[1].toDouble(), 0.047);

    QFile indexed(dir.filePath("csv/5-probe_A-T.csv"));
    QVERIFY(indexed.open(QIODevice::ReadOnly));
    QCOMPARE(indexed.readLine(), QByteArray("time,n1,\"n,2\",\"n\"\"3\"\n"));
    const KvcResultsData::TrackedData &h = run.data->simTrackedData(5);
    for (int p = 0; p < h.time.size(); ++p) {
        const QList<QByteArray> fields = indexed.readLine().trimmed().split(',');
        QCOMPARE(fields.size(), 4);
        QCOMPARE(fields[0].toDouble(), h.time[p]);
        for (int c = 0; c < 3; ++c)
            QCOMPARE(fields[c + 1], KvcCsvWriter::number(h.data[c][p]));
    }
    QVERIFY(indexed.atEnd());
    QCOMPARE(KvcCsvWriter::number(-1e-300).toDouble(), -1e-300);
    QCOMPARE(KvcCsvWriter::number(INFINITY), QByteArray("inf"));
}

QTEST_MAIN(TestKvcRunFile)
#include "tst_kvcrunfile.moc"
