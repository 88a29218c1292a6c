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
    void flushAppendsAtTheEndWhereverTheCursorIs();
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
    void keepsTheBeginningAndTheNewestLines_data();
    void keepsTheBeginningAndTheNewestLines();
    void filterShowsTheChosenLevelsAndWhatFollowsThem_data();
    void filterShowsTheChosenLevelsAndWhatFollowsThem();
    void dropsWhileFilteredLeaveWhatARebuildShows();
    void followsTheEndUntilTheUserScrollsAway();
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

void TestKvcLogBuffer::flushAppendsAtTheEndWhereverTheCursorIs()
{
    // The user clicked into the log: the next message still goes at its end.
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
    QCOMPARE(edit.toPlainText(), "head\ntail" + many);
    QCOMPARE(edit.verticalScrollBar()->value(), edit.verticalScrollBar()->maximum());
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
        << 100 << 100000 << 1000 << 10 << 903;
    QTest::newRow("character limit first: whole lines go") << 1000 << 1200 << 101 << 1 << 21;
    QTest::newRow("GUI fell behind: the waiting text drops its oldest lines")
        << 100 << 100000 << 1000 << 0 << 903;
    QTest::newRow("GUI fell behind with a log shown: the old log goes too")
        << 100 << 100000 << 1030 << 30 << 945;
}

void TestKvcLogBuffer::boundKeepsTheNewestLinesAndCountsTheOthers()
{
    QFETCH(int, maxLines);
    QFETCH(int, maxChars);
    QFETCH(int, total);
    QFETCH(int, flushEvery);
    QFETCH(int, dropped);

    QTextEdit edit;
    KvcLogBuffer buffer(&edit, maxLines, maxChars, 0, 0);
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
    KvcLogBuffer buffer(&edit, 100, 100000, 0, 0);
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
    KvcLogBuffer buffer(&edit, 10, 100000, 0, 0);
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
    buffer.append(4, numbered(100));
    buffer.append(-1, numbered(101));
    for (int i = 0; i < 6; ++i)
        buffer.append(6, numbered(200 + i));
    buffer.flush();
    runs = runsOf(edit);
    QCOMPARE(runs.first().first, QColor(Qt::gray).name());
    QCOMPARE(runs.at(runs.size() - 2).first, name(Qt::red));
    QCOMPARE(runs.at(runs.size() - 2).second, numbered(100) + numbered(101));
    QCOMPARE(runs.last().first, name(Qt::darkGreen));
    QVERIFY(runs.last().second.endsWith(numbered(205)));
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
    KvcLogBuffer buffer(&edit, 100, 1000, 0, 0);
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

void TestKvcLogBuffer::keepsTheBeginningAndTheNewestLines_data()
{
    QTest::addColumn<int>("maxLines");
    QTest::addColumn<int>("headLines");
    QTest::addColumn<int>("headChars");
    QTest::addColumn<int>("total");
    QTest::addColumn<int>("flushEvery"); // 0: once, at the end
    QTest::addColumn<int>("kept"); // lines of the beginning

    // "line 000123\n" is 12 characters.
    QTest::newRow("beginning by lines, many trims after it")
        << 100 << 20 << 100000 << 1000 << 10 << 20;
    QTest::newRow("beginning by characters: the whole lines within them")
        << 100 << 50 << 12 * 7 + 5 << 1000 << 10 << 7;
    QTest::newRow("GUI fell behind: the beginning is still written first")
        << 100 << 20 << 100000 << 1000 << 0 << 20;
    QTest::newRow("a beginning of several frames, written while lines are dropped")
        << 3000 << 1500 << 100000 << 9000 << 1500 << 1500;
    QTest::newRow("under the bound: no notice") << 100 << 20 << 100000 << 90 << 7 << 20;
}

void TestKvcLogBuffer::keepsTheBeginningAndTheNewestLines()
{
    QFETCH(int, maxLines);
    QFETCH(int, headLines);
    QFETCH(int, headChars);
    QFETCH(int, total);
    QFETCH(int, flushEvery);
    QFETCH(int, kept);

    QTextEdit edit;
    KvcLogBuffer buffer(&edit, maxLines, 100000, headLines, headChars);
    for (int i = 0; i < total; ++i) {
        buffer.append(i % 3 ? -1 : 4, numbered(i));
        if (flushEvery && (i + 1) % flushEvery == 0)
            buffer.flush();
    }
    QTRY_VERIFY((buffer.flush(), buffer.isEmpty()));

    QStringList lines = edit.toPlainText().split(QLatin1Char('\n'));
    lines.removeLast();
    const qint64 dropped = buffer.droppedLines();
    for (int i = 0; i < kept; ++i)
        QCOMPARE(lines.at(i) + "\n", numbered(i));
    if (dropped > 0)
        QCOMPARE(lines.at(kept), KvcLogBuffer::droppedNotice(dropped));
    // Every line shown or counted, the newest in order after the notice.
    const QStringList tail = lines.mid(kept + (dropped > 0 ? 1 : 0));
    QCOMPARE(kept + dropped + tail.size(), qint64(total));
    QCOMPARE(tail.first() + "\n", numbered(kept + int(dropped)));
    QCOMPARE(tail.last() + "\n", numbered(total - 1));
    QVERIFY(kept + tail.size() <= buffer.maxLines());
    QCOMPARE(edit.toPlainText(), buffer.text());
    // The notice is the only grey text; red and -1 after it stay red.
    const QVector<Run> runs = runsOf(edit);
    QCOMPARE(std::count_if(runs.cbegin(), runs.cend(),
                 [](const Run &run) { return run.first == QColor(Qt::gray).name(); }),
        dropped > 0 ? 1 : 0);
}

void TestKvcLogBuffer::filterShowsTheChosenLevelsAndWhatFollowsThem_data()
{
    QTest::addColumn<int>("maxLevel");
    QTest::addColumn<QString>("shown");

    QTest::newRow("7: everything")
        << 7 << "raw\ninfo\n+info\nwarn\n+warn\ndebug\nemerg\nnotice\nerr\nodd\n";
    QTest::newRow("6: no debug") << 6 << "raw\ninfo\n+info\nwarn\n+warn\nemerg\nnotice\nerr\nodd\n";
    QTest::newRow("5: notices and worse") << 5 << "raw\nwarn\n+warn\nemerg\nnotice\nerr\nodd\n";
    QTest::newRow("4: warnings and worse") << 4 << "raw\nwarn\n+warn\nemerg\nerr\nodd\n";
    QTest::newRow("3: errors; a level past 7 follows its error") << 3 << "raw\nemerg\nerr\nodd\n";
    QTest::newRow("below 0 is 0") << -3 << "raw\nemerg\n";
}

void TestKvcLogBuffer::filterShowsTheChosenLevelsAndWhatFollowsThem()
{
    QFETCH(int, maxLevel);
    QFETCH(QString, shown);

    const QVector<Message> messages {{-1, "raw\n"}, {6, "info\n"}, {-1, "+info\n"}, {4, "warn\n"},
        {-1, "+warn\n"}, {7, "debug\n"}, {0, "emerg\n"}, {5, "notice\n"}, {3, "err\n"},
        {9, "odd\n"}};
    QTextEdit edit, unfiltered;
    KvcLogBuffer buffer(&edit);
    KvcLogBuffer reference(&unfiltered);
    // Half before the filter, half arriving while it is on.
    for (int i = 0; i < messages.size(); ++i) {
        if (i == messages.size() / 2) {
            buffer.flush();
            buffer.setMaxLevel(maxLevel);
        }
        buffer.append(messages.at(i).first, messages.at(i).second);
        reference.append(messages.at(i).first, messages.at(i).second);
    }
    buffer.flush();
    reference.flush();
    QCOMPARE(edit.toPlainText(), shown);
    // Back to all: the log and its colours as if never filtered.
    buffer.setMaxLevel(KvcLogBuffer::AllLevels);
    QCOMPARE(runsOf(edit), runsOf(unfiltered));
    QCOMPARE(buffer.text(), unfiltered.toPlainText());
}

void TestKvcLogBuffer::dropsWhileFilteredLeaveWhatARebuildShows()
{
    QTextEdit edit;
    KvcLogBuffer buffer(&edit, 100, 100000, 10, 100000);
    buffer.setMaxLevel(4);
    for (int i = 0; i < 1000; ++i) {
        buffer.append(i % 7 == 0 ? 7 : i % 5 == 0 ? 4 : -1, numbered(i));
        if (i % 13 == 0)
            buffer.flush();
    }
    QTRY_VERIFY((buffer.flush(), buffer.isEmpty()));
    QVERIFY(buffer.droppedLines() > 0);
    const QString incremental = edit.toPlainText();
    buffer.setMaxLevel(7);
    buffer.setMaxLevel(4);
    QCOMPARE(incremental, edit.toPlainText());
    QVERIFY(incremental.contains(KvcLogBuffer::droppedNotice(buffer.droppedLines())));
}

void TestKvcLogBuffer::followsTheEndUntilTheUserScrollsAway()
{
    QTextEdit edit;
    edit.resize(300, 120);
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    KvcLogBuffer buffer(&edit, 400, 100000, 0, 0);
    QSignalSpy following(&buffer, &KvcLogBuffer::followingChanged);
    QScrollBar *bar = edit.verticalScrollBar();
    int n = 0;
    const auto more = [&](int lines) {
        for (int i = 0; i < lines; ++i)
            buffer.append(6, numbered(n++));
        buffer.flush();
    };
    more(300);
    QCOMPARE(bar->value(), bar->maximum());

    // The user scrolls up: the text at the top stays, through drops above it.
    bar->setValue(bar->maximum() * 3 / 4);
    QCOMPARE(following.takeFirst(), QVariantList {false});
    const QString read = edit.cursorForPosition(QPoint(0, 0)).block().text();
    for (int i = 0; i < 4; ++i)
        more(50);
    QVERIFY(buffer.droppedLines() > 0);
    QCOMPARE(edit.cursorForPosition(QPoint(0, 0)).block().text(), read);
    QVERIFY(!buffer.following());

    // Back at the end it follows again.
    bar->setValue(bar->maximum());
    QCOMPARE(following.takeFirst(), QVariantList {true});
    more(50);
    QCOMPARE(bar->value(), bar->maximum());
    bar->setValue(0);
    buffer.setFollowing(true);
    QCOMPARE(bar->value(), bar->maximum());
    QCOMPARE(following.size(), 2);
}

QTEST_MAIN(TestKvcLogBuffer)
#include "tst_kvclogbuffer.moc"
