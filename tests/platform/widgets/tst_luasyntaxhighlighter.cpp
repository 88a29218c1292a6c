#include "luasyntaxhighlighter.h"

#include <QTextBlock>
#include <QTextEdit>
#include <QTextLayout>
#include <QtTest>

// Each character of a block as one letter: p plain, k keyword, x extra
// keyword, s string, c comment, n number.
static QString kinds(const LuaSyntaxHighlighter &highlighter, const QTextBlock &block)
{
    QString result(block.length() - 1, QLatin1Char('p'));
    const struct {
        LuaSyntaxHighlighter::Kind kind;
        char letter;
    } table[] = {{LuaSyntaxHighlighter::Keyword, 'k'}, {LuaSyntaxHighlighter::ExtraKeyword, 'x'},
        {LuaSyntaxHighlighter::String, 's'}, {LuaSyntaxHighlighter::Comment, 'c'},
        {LuaSyntaxHighlighter::Number, 'n'}};
    for (const QTextLayout::FormatRange &range : block.layout()->formats()) {
        char letter = '?';
        for (const auto &entry : table)
            if (range.format.foreground() == highlighter.formatFor(entry.kind).foreground()
                && range.format.fontWeight() == highlighter.formatFor(entry.kind).fontWeight())
                letter = entry.letter;
        for (int i = range.start; i < range.start + range.length && i < result.size(); ++i)
            result[i] = QLatin1Char(letter);
    }
    return result;
}

class LuaSyntaxHighlighterTest : public QObject
{
    Q_OBJECT

private slots:
    void recognisesEachKind_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("expected"); // one string per line

        QTest::newRow("keywords and extra words, not inside other words")
            << "local Mesh = ends" << QStringList {"kkkkkpxxxxppppppp"};
        QTest::newRow("quoted strings with escapes")
            << "a = \"x\\\"y\" .. 'z'" << QStringList {"ppppssssssppppsss"};
        QTest::newRow("numbers: decimal, exponent, hex, leading dot")
            << "1 2.5e-3 0xFF .5 x1" << QStringList {"npnnnnnnpnnnnpnnppp"};
        QTest::newRow("numbers: glued to a word, binary exponent, exponent without digits")
            << "3abc 0x1p-2 1e 5E+2" << QStringList {"pppppnnnnnnppppnnnn"};
        QTest::newRow("line comment runs to the end")
            << "x = 1 -- end of 'line'" << QStringList {"ppppnpcccccccccccccccc"};
        QTest::newRow("long string across lines")
            << "s = [==[ a ]] \nstill ]==] end" << QStringList {"ppppssssssssss", "sssssssssspkkk"};
        QTest::newRow("long comment across lines")
            << "--[[ one\ntwo\nthree ]] do" << QStringList {"cccccccc", "ccc", "ccccccccpkk"};
        QTest::newRow("unterminated string stops at the line end")
            << "'open\nnext" << QStringList {"sssss", "pppp"};
    }

    void recognisesEachKind()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, expected);
        QTextEdit edit;
        auto *highlighter = new LuaSyntaxHighlighter({"Mesh"}, false, &edit);
        QCOMPARE(highlighter->parent(), &edit);
        edit.setPlainText(text);
        QStringList actual;
        for (QTextBlock block = edit.document()->begin(); block.isValid(); block = block.next())
            actual << kinds(*highlighter, block);
        QCOMPARE(actual, expected);
    }

    void editingTheOpeningRehighlightsFollowingLines()
    {
        QTextEdit edit;
        auto *highlighter = new LuaSyntaxHighlighter({}, false, &edit);
        edit.setPlainText("x = 1\ny = 2");
        QCOMPARE(kinds(*highlighter, edit.document()->lastBlock()), QString("ppppn"));
        QTextCursor cursor(edit.document());
        cursor.insertText("--[[ ");
        QCOMPARE(kinds(*highlighter, edit.document()->lastBlock()), QString("ccccc"));
    }
};

QTEST_MAIN(LuaSyntaxHighlighterTest)
#include "tst_luasyntaxhighlighter.moc"
