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

} // namespace

class TestKvcLogBuffer : public QObject
{
    Q_OBJECT

private slots:
    void colours_data();
    void colours();
    void mergesMessagesOfTheSameColourIntoOneRun();
    void levelColorTable();
    void flushInsertsAtTheCursorAndScrollsToIt();
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
    QTest::newRow("messages without line ends stay on one line")
        << QVector<Message> {{5, "part one, "}, {2, "part two"}}
        << QVector<Run> {{name(Qt::red), "part one, "}, {name(Qt::black), "part two"}};
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
    buffer.flush();
    QCOMPARE(edit.document()->blockCount(), 1003);
}

void TestKvcLogBuffer::levelColorTable()
{
    const QVector<Qt::GlobalColor> table {
        Qt::black, Qt::black, Qt::black, Qt::blue, Qt::red, Qt::red, Qt::darkGreen, Qt::darkGreen};
    for (int level = 0; level < 8; ++level)
        QCOMPARE(KvcLogBuffer::levelColor(level), QColor(table.at(level)));
    QVERIFY(!KvcLogBuffer::levelColor(-1).isValid());
    QVERIFY(!KvcLogBuffer::levelColor(8).isValid());
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

QTEST_MAIN(TestKvcLogBuffer)
#include "tst_kvclogbuffer.moc"
