// What the log's tools cost on a full log: find, the level filter, and the
// flood path that keeps the log bounded.
//
// A shown KvcLogEdit (offscreen, 900 x 400) holds 50 000 lines of every level
// (-1..7, one line in nine unlevelled), about 3 MB of text. It reports:
// - find: a new pattern searched through the whole log (all matches known,
//   those in view highlighted), and a step to the next match;
// - filter: choosing a level (the document rebuilt and handed to the edit)
//   until the event loop is idle again, so the first screenful is laid out
//   and painted;
// - flood: a million lines appended and written frame by frame as the view
//   does (one flush per 16 ms frame's worth of lines), with the peak resident
//   memory before and after, so that a bounded log shows as flat memory.
//
// Each figure is the median of five runs (the flood: one run).
//
// Usage: bench_logtools [lines]   (default 50000)

#include "kvclogbuffer.h"
#include "kvclogedit.h"
#include "kvclogfinder.h"

#include "benchsupport.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QVector>

#include <algorithm>
#include <cstdio>

namespace {

QString line(qint64 i)
{
    return QStringLiteral("step %1: solver converged after %2 iterations, residual %3\n")
        .arg(i)
        .arg(i % 17)
        .arg(1.0 / (i + 1), 0, 'g', 6);
}

void fill(KvcLogBuffer *log, qint64 from, qint64 lines)
{
    for (qint64 i = from; i < from + lines; ++i)
        log->append(int(i % 9) - 1, line(i));
    while (!log->isEmpty())
        log->flush();
    QApplication::processEvents();
}

template<typename F> double medianMs(F &&run)
{
    QVector<double> ms;
    for (int k = 0; k < 5; ++k) {
        QElapsedTimer clock;
        clock.start();
        run(k);
        ms.append(clock.nsecsElapsed() / 1e6);
    }
    std::sort(ms.begin(), ms.end());
    return ms.at(2);
}

// A million lines through `log`, a frame's worth of a fast flood at a time.
void flood(const char *name, QTextEdit &edit, KvcLogBuffer *log, qint64 from)
{
    const qint64 rssBefore = procStatusKb(QStringLiteral("self"), "VmHWM");
    QElapsedTimer clock;
    clock.start();
    const qint64 lines = 1000000;
    double worstMs = 0;
    double worstTrimMs = 0;
    int trims = 0;
    for (qint64 i = 0; i < lines; i += 2000) {
        for (qint64 j = i; j < i + 2000; ++j)
            log->append(int(j % 9) - 1, line(from + j));
        const int blocks = edit.document()->blockCount();
        QElapsedTimer frame;
        frame.start();
        log->flush();
        const double ms = frame.nsecsElapsed() / 1e6;
        if (edit.document()->blockCount() < blocks) {
            ++trims;
            worstTrimMs = std::max(worstTrimMs, ms);
        } else {
            worstMs = std::max(worstMs, ms);
        }
    }
    std::printf("flood, %s: %lld lines in %.2f s, worst flush %.1f ms, worst of the %d that "
                "dropped lines from the document %.1f ms; peak RSS %lld kB before, %lld kB after\n",
        name, lines, clock.elapsed() / 1e3, worstMs, trims, worstTrimMs, rssBefore,
        procStatusKb(QStringLiteral("self"), "VmHWM"));
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const qint64 lines = argc > 1 ? QByteArray(argv[1]).toLongLong() : 50000;

    KvcLogEdit edit;
    edit.resize(900, 400);
    edit.show();
    KvcLogBuffer *log = edit.logBuffer();
    fill(log, 0, lines);
    std::printf("log: %lld lines shown, %lld dropped, %d characters\n",
        qint64(edit.document()->blockCount() - 1), log->droppedLines(),
        edit.document()->characterCount());

    const char *patterns[] = {"residual 0.0001", "ITERATIONS", "step 4999", "converged", "zzz"};
    KvcLogFinder *finder = edit.finder();
    finder->setActive(true);
    const double findMs = medianMs([&](int k) { finder->setPattern(QLatin1String(patterns[k])); });
    finder->setPattern(QStringLiteral("converged"));
    const double nextMs = medianMs([&](int) {
        finder->next();
        QApplication::processEvents();
    });
    std::printf("find: %.1f ms for a new pattern (median of 5), %d matches of \"converged\"; "
                "next match %.1f ms\n",
        findMs, finder->matches().size(), nextMs);
    finder->setPattern(QString());

    const int levels[] = {4, 7, 3, 6, 7};
    const double filterMs = medianMs([&](int k) {
        log->setMaxLevel(levels[k]);
        QApplication::processEvents();
    });
    std::printf("filter: %.1f ms to choose a level and show it (median of 5)\n", filterMs);

    flood("the beginning kept", edit, log, lines);
    // The same without a kept beginning: the lines go from the top.
    QTextEdit plain;
    plain.resize(900, 400);
    plain.show();
    KvcLogBuffer newest(&plain, KvcLogBuffer::DefaultMaxLines, KvcLogBuffer::DefaultMaxChars, 0, 0);
    fill(&newest, 0, lines);
    flood("newest lines only", plain, &newest, lines);
    return 0;
}
