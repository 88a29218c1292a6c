#include "luasyntaxhighlighter.h"

#include <QTextEdit>

namespace {

bool isWordStart(QChar c) { return c.isLetter() || c == QLatin1Char('_'); }

bool isWordChar(QChar c) { return c.isLetterOrNumber() || c == QLatin1Char('_'); }

bool isHexDigit(QChar c)
{
    return c.isDigit() || (c.toLower() >= QLatin1Char('a') && c.toLower() <= QLatin1Char('f'));
}

int wordEnd(const QString &text, int from)
{
    while (from < text.size() && isWordChar(text.at(from)))
        ++from;
    return from;
}

bool startsNumber(const QString &text, int at)
{
    const QChar c = text.at(at);
    return c.isDigit()
        || (c == QLatin1Char('.') && at + 1 < text.size() && text.at(at + 1).isDigit());
}

// Index just past the quoted string opening at `from`; an unterminated one
// ends with the block.
int quotedStringEnd(const QString &text, int from)
{
    const QChar quote = text.at(from);
    int j = from + 1;
    while (j < text.size() && text.at(j) != quote) {
        if (text.at(j) == QLatin1Char('\\'))
            ++j;
        ++j;
    }
    return qMin(j + 1, int(text.size()));
}

// From the "0x" at `from`: hexadecimal digits, a fraction and a binary
// exponent ("p-3").
int hexNumberEnd(const QString &text, int from)
{
    int j = from + 2;
    while (j < text.size()
        && (isHexDigit(text.at(j)) || text.at(j) == QLatin1Char('.')
            || ((text.at(j).toLower() == QLatin1Char('p')) && j + 1 < text.size()))) {
        if (text.at(j).toLower() == QLatin1Char('p')
            && (text.at(j + 1) == QLatin1Char('+') || text.at(j + 1) == QLatin1Char('-')))
            ++j;
        ++j;
    }
    return j;
}

// Digits with a fraction, and an exponent only if digits follow its "e".
int decimalNumberEnd(const QString &text, int from)
{
    int j = from;
    while (j < text.size() && (text.at(j).isDigit() || text.at(j) == QLatin1Char('.')))
        ++j;
    if (j < text.size() && text.at(j).toLower() == QLatin1Char('e')) {
        int k = j + 1;
        if (k < text.size() && (text.at(k) == QLatin1Char('+') || text.at(k) == QLatin1Char('-')))
            ++k;
        if (k < text.size() && text.at(k).isDigit()) {
            while (k < text.size() && text.at(k).isDigit())
                ++k;
            j = k;
        }
    }
    return j;
}

} // namespace

LuaSyntaxHighlighter::LuaSyntaxHighlighter(
    const QStringList &keywords, bool darkBackground, QTextEdit *editor)
    : QSyntaxHighlighter(editor)
{
    for (const char *word : {"and", "break", "do", "else", "elseif", "end", "false", "for",
             "function", "goto", "if", "in", "local", "nil", "not", "or", "repeat", "return",
             "then", "true", "until", "while"})
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

QTextCharFormat LuaSyntaxHighlighter::formatFor(Kind kind) const { return formats[kind]; }

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
    int i = continueLongBracket(text);
    while (i < text.size())
        i = highlightToken(text, i);
}

// A long string or comment that an earlier block left open; returns where
// the rest of the block starts.
int LuaSyntaxHighlighter::continueLongBracket(const QString &text)
{
    const int previous = previousBlockState();
    if (previous < 0)
        return 0;
    const bool comment = previous >= LongComment;
    const int level = comment ? previous - LongComment : previous - LongString;
    return highlightLongBracket(text, 0, 0, level, comment ? Comment : String);
}

// Formats from `start` to the closing bracket of `level`, searched from
// `from`. One left open takes the rest of the block and the block's state
// carries it on to the next. Returns the index past what was formatted.
int LuaSyntaxHighlighter::highlightLongBracket(
    const QString &text, int start, int from, int level, Kind kind)
{
    const int end = scanLongBracketClose(text, from, level);
    if (end < 0) {
        setFormat(start, text.size() - start, formats[kind]);
        setCurrentBlockState((kind == Comment ? LongComment : LongString) + level);
        return text.size();
    }
    setFormat(start, end - start, formats[kind]);
    return end;
}

// Formats the token at `i`; returns the index past it.
int LuaSyntaxHighlighter::highlightToken(const QString &text, int i)
{
    const QChar c = text.at(i);
    if (c == QLatin1Char('-') && i + 1 < text.size() && text.at(i + 1) == QLatin1Char('-')) {
        const int level = longBracketLevel(text, i + 2);
        if (level >= 0)
            return highlightLongBracket(text, i, i + 2 + level + 2, level, Comment);
        setFormat(i, text.size() - i, formats[Comment]);
        return text.size();
    }
    const int level = longBracketLevel(text, i);
    if (level >= 0)
        return highlightLongBracket(text, i, i + level + 2, level, String);
    if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
        const int end = quotedStringEnd(text, i);
        setFormat(i, end - i, formats[String]);
        return end;
    }
    if (startsNumber(text, i))
        return highlightNumber(text, i);
    if (isWordStart(c))
        return highlightWord(text, i);
    return i + 1;
}

int LuaSyntaxHighlighter::highlightNumber(const QString &text, int i)
{
    const bool hex = text.at(i) == QLatin1Char('0') && i + 1 < text.size()
        && text.at(i + 1).toLower() == QLatin1Char('x');
    const int end = hex ? hexNumberEnd(text, i) : decimalNumberEnd(text, i);
    // "3abc" is not a number followed by a word: leave it plain.
    if (end < text.size() && isWordChar(text.at(end)))
        return wordEnd(text, end);
    setFormat(i, end - i, formats[Number]);
    return end;
}

int LuaSyntaxHighlighter::highlightWord(const QString &text, int i)
{
    const int end = wordEnd(text, i + 1);
    const QString word = text.mid(i, end - i);
    if (luaKeywords.contains(word))
        setFormat(i, end - i, formats[Keyword]);
    else if (extraKeywords.contains(word))
        setFormat(i, end - i, formats[ExtraKeyword]);
    return end;
}
