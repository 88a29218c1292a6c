#include "luasyntaxhighlighter.h"

#include <QTextEdit>

namespace {

bool isWordStart(QChar c)
{
    return c.isLetter() || c == QLatin1Char('_');
}

bool isWordChar(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('_');
}

bool isHexDigit(QChar c)
{
    return c.isDigit() || (c.toLower() >= QLatin1Char('a') && c.toLower() <= QLatin1Char('f'));
}

} // namespace

LuaSyntaxHighlighter::LuaSyntaxHighlighter(const QStringList &keywords, bool darkBackground,
                                           QTextEdit *editor)
    : QSyntaxHighlighter(editor)
{
    for (const char *word : {"and", "break", "do", "else", "elseif", "end", "false", "for",
                             "function", "goto", "if", "in", "local", "nil", "not", "or",
                             "repeat", "return", "then", "true", "until", "while"})
        luaKeywords.insert(QLatin1String(word));
    for (const QString &word : keywords)
        extraKeywords.insert(word);

    const QColor keyword = darkBackground ? QColor(0x82, 0xaa, 0xff) : QColor(0x00, 0x00, 0xa0);
    const QColor extra = darkBackground ? QColor(0xff, 0xcb, 0x6b) : QColor(0x80, 0x00, 0x80);
    const QColor string = darkBackground ? QColor(0xc3, 0xe8, 0x8d) : QColor(0xa0, 0x20, 0x00);
    const QColor comment = darkBackground ? QColor(0x80, 0x8a, 0x99) : QColor(0x00, 0x80, 0x00);
    const QColor number = darkBackground ? QColor(0xf7, 0x8c, 0x6c) : QColor(0x00, 0x70, 0x70);
    formats[Keyword].setForeground(keyword);
    formats[Keyword].setFontWeight(QFont::Bold);
    formats[ExtraKeyword].setForeground(extra);
    formats[ExtraKeyword].setFontWeight(QFont::Bold);
    formats[String].setForeground(string);
    formats[Comment].setForeground(comment);
    formats[Comment].setFontItalic(true);
    formats[Number].setForeground(number);
}

QTextCharFormat LuaSyntaxHighlighter::formatFor(Kind kind) const
{
    return formats[kind];
}

// Level of a long bracket "[==[" opening at `at`, or -1 if there is none.
int LuaSyntaxHighlighter::longBracketLevel(const QString &text, int at)
{
    if (at >= text.size() || text.at(at) != QLatin1Char('['))
        return -1;
    int i = at + 1;
    while (i < text.size() && text.at(i) == QLatin1Char('='))
        ++i;
    if (i < text.size() && text.at(i) == QLatin1Char('['))
        return i - at - 1;
    return -1;
}

// Index just past the "]==]" of `level` from `from`, or -1 if the block has none.
int LuaSyntaxHighlighter::scanLongBracketClose(const QString &text, int from, int level) const
{
    for (int i = from; i < text.size(); ++i) {
        if (text.at(i) != QLatin1Char(']'))
            continue;
        int j = i + 1;
        while (j < text.size() && text.at(j) == QLatin1Char('='))
            ++j;
        if (j < text.size() && text.at(j) == QLatin1Char(']') && j - i - 1 == level)
            return j + 1;
    }
    return -1;
}

void LuaSyntaxHighlighter::highlightBlock(const QString &text)
{
    setCurrentBlockState(-1);
    int i = 0;
    const int previous = previousBlockState();
    if (previous >= 0) {
        // A long string or comment that an earlier block left open.
        const bool comment = previous >= LongComment;
        const int level = comment ? previous - LongComment : previous - LongString;
        const int end = scanLongBracketClose(text, 0, level);
        const Kind kind = comment ? Comment : String;
        if (end < 0) {
            setFormat(0, text.size(), formats[kind]);
            setCurrentBlockState(previous);
            return;
        }
        setFormat(0, end, formats[kind]);
        i = end;
    }

    while (i < text.size()) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('-') && i + 1 < text.size() && text.at(i + 1) == QLatin1Char('-')) {
            const int level = longBracketLevel(text, i + 2);
            if (level < 0) {
                setFormat(i, text.size() - i, formats[Comment]);
                return;
            }
            const int end = scanLongBracketClose(text, i + 2 + level + 2, level);
            if (end < 0) {
                setFormat(i, text.size() - i, formats[Comment]);
                setCurrentBlockState(LongComment + level);
                return;
            }
            setFormat(i, end - i, formats[Comment]);
            i = end;
        } else if (c == QLatin1Char('[') && longBracketLevel(text, i) >= 0) {
            const int level = longBracketLevel(text, i);
            const int end = scanLongBracketClose(text, i + level + 2, level);
            if (end < 0) {
                setFormat(i, text.size() - i, formats[String]);
                setCurrentBlockState(LongString + level);
                return;
            }
            setFormat(i, end - i, formats[String]);
            i = end;
        } else if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
            int j = i + 1;
            while (j < text.size() && text.at(j) != c) {
                if (text.at(j) == QLatin1Char('\\'))
                    ++j;
                ++j;
            }
            const int end = qMin(j + 1, int(text.size()));
            setFormat(i, end - i, formats[String]);
            i = end;
        } else if (c.isDigit()
                   || (c == QLatin1Char('.') && i + 1 < text.size() && text.at(i + 1).isDigit())) {
            int j = i;
            const bool hex = c == QLatin1Char('0') && i + 1 < text.size()
                             && text.at(i + 1).toLower() == QLatin1Char('x');
            if (hex) {
                j += 2;
                while (j < text.size()
                       && (isHexDigit(text.at(j)) || text.at(j) == QLatin1Char('.')
                           || ((text.at(j).toLower() == QLatin1Char('p'))
                               && j + 1 < text.size()))) {
                    if (text.at(j).toLower() == QLatin1Char('p')
                        && (text.at(j + 1) == QLatin1Char('+') || text.at(j + 1) == QLatin1Char('-')))
                        ++j;
                    ++j;
                }
            } else {
                while (j < text.size() && (text.at(j).isDigit() || text.at(j) == QLatin1Char('.')))
                    ++j;
                if (j < text.size() && text.at(j).toLower() == QLatin1Char('e')) {
                    int k = j + 1;
                    if (k < text.size()
                        && (text.at(k) == QLatin1Char('+') || text.at(k) == QLatin1Char('-')))
                        ++k;
                    if (k < text.size() && text.at(k).isDigit()) {
                        while (k < text.size() && text.at(k).isDigit())
                            ++k;
                        j = k;
                    }
                }
            }
            // "3abc" is not a number followed by a word: leave it plain.
            if (j < text.size() && isWordChar(text.at(j))) {
                while (j < text.size() && isWordChar(text.at(j)))
                    ++j;
            } else {
                setFormat(i, j - i, formats[Number]);
            }
            i = j;
        } else if (isWordStart(c)) {
            int j = i + 1;
            while (j < text.size() && isWordChar(text.at(j)))
                ++j;
            const QString word = text.mid(i, j - i);
            if (luaKeywords.contains(word))
                setFormat(i, j - i, formats[Keyword]);
            else if (extraKeywords.contains(word))
                setFormat(i, j - i, formats[ExtraKeyword]);
            i = j;
        } else {
            ++i;
        }
    }
}
