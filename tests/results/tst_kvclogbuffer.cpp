#include "kvclogbuffer.h"

#include <QScrollBar>
#include <QTextBlock>
#include <QTextEdit>
#include <QtTest>

namespace {

using Message = QPair<int, QString>;
using Run = QPair<QString, QString>; // colour name ("" for the edit's own), text

// The document as runs of equal colour, so that a failure shows them all.
QVector<Run> runsOf(const QTextEdit &edit)
{
    QVector<Run> runs;
    for (QTextBlock block = edit.document()->begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            const QTextCharFormat format = fragment.charFormat();
            const QString color = format.hasProperty(QTextFormat::ForegroundBrush)
                ? format.foreground().color().name()
                : QString();
            if (!runs.isEmpty() && runs.last().first == color)
                runs.last().second += fragment.text();
            else
                runs.append({color, fragment.text()});
        }
        if (block.next().isValid())
            runs.last().second += QLatin1Char('\n');
    }
    return runs;
}

QString name(Qt::GlobalColor color) { return QColor(color).name(); }

QString numbered(int i) { return QStringLiteral("line %1\n").arg(i, 6, 10, QLatin1Char('0')); }

// The log's lines without the notice and without the empty line after the
// last line end.
QStringList logLines(const QTextEdit &edit, QString *notice)
{
    QStringList lines = edit.toPlainText().split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    notice->clear();
    if (!lines.isEmpty() && lines.first().startsWith(QLatin1Char('[')))
        *notice = lines.takeFirst();
    return lines;
}

} // namespace

class TestKvcLogBuffer : public QObject
{
    Q_OBJECT

private slots:
    void colours_data();
    void colours();
    void mergesMessagesOfTheSameColourIntoOneRun();
    void flushInsertsAtTheCursorAndScrollsToIt();
    void boundKeepsTheNewestLinesAndCountsTheOthers_data();
    void boundKeepsTheNewestLinesAndCountsTheOthers();
    void trimsInChunksNotPerMessage();
    void noticeLeavesTheLogsColoursAlone();
    void lineLongerThanTheLimitLosesItsBeginning_data();
    void lineLongerThanTheLimitLosesItsBeginning();
    void limitsDefaultToTheLogsBoundAndAreAtLeastTen();
    void flushWritesAFrameAtATimeAndTheRestFollows_data();
    void flushWritesAFrameAtATimeAndTheRestFollows();
    void restIsNotFlushedIntoADeletedBuffer_data();
    void restIsNotFlushedIntoADeletedBuffer();
};

void TestKvcLogBuffer::colours_data()
{
    QTest::addColumn<QVector<Message>>("messages");
    QTest::addColumn<QVector<Run>>("expected");

    QTest::newRow("4 is red, -1 keeps red, 6 is dark green")
        << QVector<Message> {{4, "a\n"}, {-1, "b\n"}, {6, "c\n"}}
        << QVector<Run> {{name(Qt::red), "a\nb\n"}, {name(Qt::darkGreen), "c\n"}};
    QTest::newRow("raw output before any level keeps the edit's colour") << QVector<Message> {
        {-1, "raw "}, {3, "info"}} << QVector<Run> {{"", "raw "}, {name(Qt::blue), "info"}};
    QTest::newRow("levels outside -1..7 keep the previous colour")
        << QVector<Message> {{7, "x"}, {8, "y"}, {-2, "z"}, {1000, "w"}, {0, "v"}}
        << QVector<Run> {{name(Qt::darkGreen), "xyzw"}, {name(Qt::black), "v"}};
    QTest::newRow("each level its colour; no line ends added")
        << QVector<Message> {{0, "a"}, {1, "b"}, {2, "c"}, {3, "d"}, {4, "e"}, {5, "f"}, {6, "g"},
               {7, "h"}}
        << QVector<Run> {{name(Qt::black), "abc"}, {name(Qt::blue), "d"}, {name(Qt::red), "ef"},
               {name(Qt::darkGreen), "gh"}};
}

void TestKvcLogBuffer::colours()
{
    QFETCH(QVector<Message>, messages);
    QFETCH(QVector<Run>, expected);

    QTextEdit edit;
    KvcLogBuffer buffer(&edit);
    // Half before a flush, half after: runs continue across flushes.
    const int half = messages.size() / 2;
    for (int i = 0; i < messages.size(); ++i) {
        if (i == half)
            buffer.flush();
        buffer.append(messages.at(i).first, messages.at(i).second);
    }
    buffer.flush();
    QVERIFY(buffer.isEmpty());
    QCOMPARE(runsOf(edit), expected);
}

void TestKvcLogBuffer::mergesMessagesOfTheSameColourIntoOneRun()
{
    QTextEdit edit;
    KvcLogBuffer buffer(&edit);
    for (int i = 0; i < 1000; ++i)
        buffer.append(i % 2 ? 4 : 5, QStringLiteral("line %1\n").arg(i));
    QCOMPARE(buffer.pendingRuns(), 1);
    buffer.append(-1, "raw\n");
    QCOMPARE(buffer.pendingRuns(), 1);
    buffer.append(6, "done\n");
    QCOMPARE(buffer.pendingRuns(), 2);
    QVERIFY(edit.toPlainText().isEmpty());
}

void TestKvcLogBuffer::flushInsertsAtTheCursorAndScrollsToIt()
{
    QTextEdit edit;
    edit.resize(200, 60);
    edit.setPlainText("head\ntail");
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    QTextCursor cursor = edit.textCursor();
    cursor.setPosition(5); // start of "tail"
    edit.setTextCursor(cursor);

    KvcLogBuffer buffer(&edit);
    QString many;
    for (int i = 0; i < 200; ++i)
        many += QStringLiteral("row %1\n").arg(i);
    buffer.append(3, many);
    buffer.flush();
    QVERIFY(edit.toPlainText().startsWith("head\nrow 0\n"));
    QVERIFY(edit.toPlainText().endsWith("row 199\ntail"));
    QVERIFY(edit.verticalScrollBar()->value() > 0);
}

void TestKvcLogBuffer::boundKeepsTheNewestLinesAndCountsTheOthers_data()
{
    QTest::addColumn<int>("maxLines");
    QTest::addColumn<int>("maxChars");
    QTest::addColumn<int>("total");
    QTest::addColumn<int>("flushEvery"); // 0: once, at the end
    QTest::addColumn<int>("dropped");

    // "line 000123\n" is 12 characters.
    QTest::newRow("under the limits nothing is dropped") << 100 << 10000 << 100 << 7 << 0;
    QTest::newRow("line limit first: trimmed to four fifths") << 100 << 100000 << 101 << 1 << 21;
    QTest::newRow("line limit, many trims: the newest 80..100 lines stay")
        << 100 << 100000 << 1000 << 10 << 900;
    QTest::newRow("character limit first: whole lines go") << 1000 << 1200 << 101 << 1 << 21;
    QTest::newRow("GUI fell behind: the waiting text drops its oldest lines")
        << 100 << 100000 << 1000 << 0 << 903;
    QTest::newRow("GUI fell behind with a log shown: the old log goes too")
        << 100 << 100000 << 1030 << 30 << 933;
}

void TestKvcLogBuffer::boundKeepsTheNewestLinesAndCountsTheOthers()
{
    QFETCH(int, maxLines);
    QFETCH(int, maxChars);
    QFETCH(int, total);
    QFETCH(int, flushEvery);
    QFETCH(int, dropped);

    QTextEdit edit;
    KvcLogBuffer buffer(&edit, maxLines, maxChars);
    for (int i = 0; i < total; ++i) {
        // The last flushEvery lines arrive at once, as when the GUI stalls.
        const bool stalled = flushEvery == 0 || (flushEvery == 30 && i >= 30);
        buffer.append(3, numbered(i));
        QVERIFY(buffer.pendingLines() <= maxLines);
        QVERIFY(buffer.pendingChars() <= maxChars);
        if (!stalled && (i + 1) % flushEvery == 0)
            buffer.flush();
    }
    buffer.flush();

    QString notice;
    const QStringList lines = logLines(edit, &notice);
    QCOMPARE(buffer.droppedLines(), qint64(dropped));
    QCOMPARE(notice,
        dropped ? QStringLiteral("[%1 earlier lines of the log were dropped]").arg(dropped)
                : QString());
    // Exactly the newest lines, in order, and every other line counted.
    QCOMPARE(lines.size(), total - dropped);
    QCOMPARE(lines.first() + "\n", numbered(dropped));
    QCOMPARE(lines.last() + "\n", numbered(total - 1));
    QVERIFY(lines.size() <= maxLines);
    QVERIFY(edit.document()->characterCount() <= maxChars + notice.size() + 2);
}

void TestKvcLogBuffer::trimsInChunksNotPerMessage()
{
    QTextEdit edit;
    KvcLogBuffer buffer(&edit, 100, 100000);
    int trims = 0;
    for (int i = 0; i < 2000; ++i) {
        const qint64 before = buffer.droppedLines();
        const int blocks = edit.document()->blockCount();
        buffer.append(-1, numbered(i));
        buffer.flush();
        const qint64 dropped = buffer.droppedLines() - before;
        if (dropped > 0) {
            ++trims;
            // A fifth of the limit at once, and the document shrank by it.
            QVERIFY2(dropped >= 20, qPrintable(QString::number(dropped)));
            QVERIFY(edit.document()->blockCount() <= blocks + 2 - dropped);
        }
        QVERIFY(edit.document()->blockCount() <= 100 + 2);
    }
    QVERIFY2(trims >= 2000 / 25 && trims <= 2000 / 20, qPrintable(QString::number(trims)));
}

void TestKvcLogBuffer::noticeLeavesTheLogsColoursAlone()
{
    QTextEdit edit;
    KvcLogBuffer buffer(&edit, 10, 100000);
    // Raw output only: the log keeps the edit's own colour, also after trims.
    for (int i = 0; i < 25; ++i) {
        buffer.append(-1, numbered(i));
        buffer.flush();
    }
    QVector<Run> runs = runsOf(edit);
    QCOMPARE(runs.size(), 2);
    QCOMPARE(runs[0].first, QColor(Qt::gray).name());
    QCOMPARE(runs[0].second, KvcLogBuffer::droppedNotice(buffer.droppedLines()) + "\n");
    QCOMPARE(runs[1].first, QString());
    QVERIFY(edit.document()->firstBlock().begin().fragment().charFormat().fontItalic());

    // A coloured line that survives keeps its colour, -1 keeps following it.
    // Eight lines: exactly what a trim keeps of a limit of ten.
    buffer.append(4, numbered(100));
    buffer.append(-1, numbered(101));
    for (int i = 0; i < 6; ++i)
        buffer.append(6, numbered(200 + i));
    buffer.flush();
    runs = runsOf(edit);
    QCOMPARE(runs.size(), 3);
    QCOMPARE(runs[0].first, QColor(Qt::gray).name());
    QCOMPARE(runs[1].first, name(Qt::red));
    QCOMPARE(runs[1].second, numbered(100) + numbered(101));
    QCOMPARE(runs[2].first, name(Qt::darkGreen));
    QVERIFY(runs[2].second.endsWith(numbered(205)));
    QCOMPARE(edit.textColor(), QColor(Qt::darkGreen));
}

void TestKvcLogBuffer::lineLongerThanTheLimitLosesItsBeginning_data()
{
    QTest::addColumn<int>("pieces"); // of 100 characters, none a line end
    QTest::addColumn<bool>("flushEach");
    QTest::addColumn<int>("dropped");

    // 1500 characters against a bound of 1000.
    QTest::newRow("one message: the waiting text loses the line's beginning") << 15 << false << 1;
    // Past 1000 at the 10th and 13th piece, back to 800 each time.
    QTest::newRow("in pieces: each trim of the log cuts into the line") << 15 << true << 2;
}

void TestKvcLogBuffer::lineLongerThanTheLimitLosesItsBeginning()
{
    QFETCH(int, pieces);
    QFETCH(bool, flushEach);
    QFETCH(int, dropped);

    QTextEdit edit;
    KvcLogBuffer buffer(&edit, 100, 1000);
    QString all;
    for (int i = 0; i < pieces; ++i) {
        const QString piece = QStringLiteral("%1").arg(i, 100, 10, QLatin1Char('x'));
        all += piece;
        if (flushEach) {
            buffer.append(-1, piece);
            buffer.flush();
        }
    }
    if (!flushEach)
        buffer.append(-1, all);
    QVERIFY(buffer.pendingChars() <= 1000);
    buffer.flush();
    QString notice;
    const QStringList lines = logLines(edit, &notice);
    QCOMPARE(lines.size(), 1);
    QVERIFY(lines.first().size() <= 1000);
    QVERIFY(all.endsWith(lines.first()));
    QCOMPARE(buffer.droppedLines(), qint64(dropped));
    QCOMPARE(notice, QStringLiteral("[%1 earlier lines of the log were dropped]").arg(dropped));
}

void TestKvcLogBuffer::limitsDefaultToTheLogsBoundAndAreAtLeastTen()
{
    QTextEdit edit;
    const KvcLogBuffer defaults(&edit);
    QCOMPARE(defaults.maxLines(), 50000);
    QCOMPARE(defaults.maxChars(), 4 * 1024 * 1024);
    const KvcLogBuffer tiny(&edit, 0, -5);
    QCOMPARE(tiny.maxLines(), 10);
    QCOMPARE(tiny.maxChars(), 10);
}

void TestKvcLogBuffer::flushWritesAFrameAtATimeAndTheRestFollows_data()
{
    QTest::addColumn<int>("lineLength"); // without its line end
    QTest::addColumn<int>("lines");
    QTest::addColumn<int>("firstFlushLines");

    const int chars = KvcLogBuffer::FlushChars;
    QTest::newRow("short lines: the line budget")
        << 11 << 3 * KvcLogBuffer::FlushLines + 5 << KvcLogBuffer::FlushLines;
    QTest::newRow("long lines: the character budget, whole lines")
        << 999 << 3 * chars / 1000 << chars / 1000;
    QTest::newRow("a small burst goes at once") << 11 << 100 << 100;
}

void TestKvcLogBuffer::flushWritesAFrameAtATimeAndTheRestFollows()
{
    QFETCH(int, lineLength);
    QFETCH(int, lines);
    QFETCH(int, firstFlushLines);

    QTextEdit edit;
    KvcLogBuffer buffer(&edit);
    QString expected;
    QVector<Run> expectedRuns;
    for (int i = 0; i < lines; ++i) {
        const QString line = numbered(i).rightJustified(lineLength + 1, QLatin1Char('.'));
        expected += line;
        // Colours change on the way: each slice must keep them.
        const int level = i % 1000 == 0 ? 4 : i % 1000 == 500 ? 6 : -1;
        buffer.append(level, line);
        const QString color = name((i / 500) % 2 ? Qt::darkGreen : Qt::red);
        if (expectedRuns.isEmpty() || expectedRuns.last().first != color)
            expectedRuns.append({color, QString()});
        expectedRuns.last().second += line;
    }
    buffer.flush();
    QCOMPARE(edit.document()->blockCount() - 1, firstFlushLines);
    QCOMPARE(buffer.pendingLines(), lines - firstFlushLines);
    QCOMPARE(edit.toPlainText(), expected.left(firstFlushLines * (lineLength + 1)));
    // The rest comes by itself, frame by frame, without loss.
    QTRY_VERIFY(buffer.isEmpty());
    QCOMPARE(buffer.pendingChars(), 0);
    QCOMPARE(edit.toPlainText(), expected);
    QCOMPARE(buffer.droppedLines(), qint64(0));
    QCOMPARE(runsOf(edit), expectedRuns);
}

void TestKvcLogBuffer::restIsNotFlushedIntoADeletedBuffer_data()
{
    QTest::addColumn<bool>("editFirst");
    QTest::newRow("buffer deleted, edit lives on") << false;
    QTest::newRow("edit deleted, then the buffer") << true;
}

void TestKvcLogBuffer::restIsNotFlushedIntoADeletedBuffer()
{
    QFETCH(bool, editFirst);
    auto edit = std::make_unique<QTextEdit>();
    auto buffer = std::make_unique<KvcLogBuffer>(edit.get());
    for (int i = 0; i < 2 * KvcLogBuffer::FlushLines; ++i)
        buffer->append(3, numbered(i));
    buffer->flush();
    QVERIFY(!buffer->isEmpty());
    const int blocks = edit->document()->blockCount();
    if (editFirst)
        edit.reset();
    buffer.reset();
    // The flush of the rest was due a frame later: it must not come.
    bool later = false;
    QTimer::singleShot(100, [&later] { later = true; });
    QTRY_VERIFY(later);
    if (edit)
        QCOMPARE(edit->document()->blockCount(), blocks);
}

QTEST_MAIN(TestKvcLogBuffer)
#include "tst_kvclogbuffer.moc"
