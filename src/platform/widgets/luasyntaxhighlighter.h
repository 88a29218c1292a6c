#pragma once

#include "widgetutilsexport.h"

#include <QSet>
#include <QSyntaxHighlighter>
#include <QTextCharFormat>

class QTextEdit;

/// Highlights Lua in a text edit: keywords, strings (quoted and long
/// brackets), comments (line and long comments across lines), numbers
/// (decimal, hexadecimal, with fraction and exponent), and a list of extra
/// words of the caller's (the constructor names of a model, for instance).
///
/// `darkBackground` picks colours that read well on a dark background; false
/// gives the light palette. The highlighter becomes a child of `editor` and
/// works on its document.
class WIDGETUTILS_EXPORT LuaSyntaxHighlighter : public QSyntaxHighlighter
{
    Q_OBJECT

public:
    /// What a character of the text was recognised as (for tests and tools).
    enum Kind { Plain, Keyword, ExtraKeyword, String, Comment, Number };

    LuaSyntaxHighlighter(const QStringList &keywords, bool darkBackground, QTextEdit *editor);

    QTextCharFormat formatFor(Kind kind) const;

protected:
    void highlightBlock(const QString &text) override;

private:
    // Block states: -1 plain; a long string open at the end of the block is
    // LongString + level; a long comment is LongComment + level.
    enum State { LongString = 0, LongComment = 1 << 16 };

    int continueLongBracket(const QString &text);
    int highlightLongBracket(const QString &text, int start, int from, int level, Kind kind);
    int highlightToken(const QString &text, int i);
    int highlightNumber(const QString &text, int i);
    int highlightWord(const QString &text, int i);
    int scanLongBracketClose(const QString &text, int from, int level) const;
    static int longBracketLevel(const QString &text, int at);

    QSet<QString> luaKeywords;
    QSet<QString> extraKeywords;
    QTextCharFormat formats[Number + 1];
};
