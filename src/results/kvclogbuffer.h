#pragma once

#include "kvcexport.h"

#include <QColor>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVector>

class QTextCharFormat;
class QTextBlock;
class QTextCursor;
class QTextDocument;
class QTextEdit;
class QTimer;

/// Keeps an execution's log and writes it into a text edit.
///
/// Colours: levels 0..7 take their entry of levelColor(); level -1 (raw process
/// output) keeps the colour of the previous message, and so does any level
/// outside -1..7, which has no entry of its own. Before the first message with
/// a level, text takes the text edit's own colour. A message's level for the
/// filter (setMaxLevel()) follows the same rule, and text before the first
/// level is always shown: it is the simulator's own output from before the
/// server spoke, often the very error that stopped it.
///
/// append() only stores; flush() writes what the edit does not show yet at
/// the end of the document (never at a cursor the user clicked somewhere), as
/// plain text without adding line ends, one insertion per run of one level,
/// in one edit block, and leaves the edit's text colour at the last colour
/// written. A flush writes at most FlushLines lines and FlushChars characters:
/// a text edit lays out some 50 000 to 100 000 lines a second, so a backlog
/// written at once would freeze the GUI. If more waits, the buffer flushes
/// again a frame later by itself, through the edit's event loop.
///
/// The log is bounded, and what goes is its middle. The beginning of an
/// execution (model loading, its warnings) is what a user reads after a
/// failure, the end is what is happening now: the first headLines() lines or
/// headChars() characters, whichever comes first (by default 2 000 lines or
/// 256 Ki characters), are kept for good; after them the log keeps the newest
/// lines, the whole log at most maxLines() lines and maxChars() characters (by
/// default 50 000 lines or 4 Mi characters, 8 MiB of text). Past either limit
/// the oldest lines after the beginning go, down to four fifths of what the
/// limits leave after the beginning, so a trim happens once per fifth and not
/// once per message; a line longer than that loses its beginning (counted as a
/// dropped line). Text that the edit has not shown yet is bounded alike, so a
/// flood faster than the edit can lay out costs no memory either.
///
/// Where lines were dropped, one notice line between the beginning and the
/// rest counts them: "[n earlier lines of the log were dropped]" (context
/// KvcResultsWidget), in grey italics; the log's own colours are not affected.
///
/// Following: while the edit is scrolled to its end, a flush keeps it there
/// (and, without a selection, moves the edit's cursor to the end, so the last
/// line's end is in view). Once the user scrolls away from the end, flushes
/// leave the view on the text the user reads, also when lines above it are
/// dropped, until the user scrolls back to the end or setFollowing(true).
///
/// setMaxLevel() and a changed filter rebuild the document in one go, off the
/// edit, and hand the edit the new document (documentReplaced()); the old one
/// is deleted if the edit owned it. The buffer does not own the text edit.
class KVC_TESTING_EXPORT KvcLogBuffer : public QObject
{
    Q_OBJECT

public:
    static constexpr int DefaultMaxLines = 50000;
    static constexpr int DefaultMaxChars = 4 * 1024 * 1024;
    static constexpr int DefaultHeadLines = 2000;
    static constexpr int DefaultHeadChars = 256 * 1024;
    /// What one flush writes at most (some 5 to 10 ms of layout).
    static constexpr int FlushLines = 500;
    static constexpr int FlushChars = 32 * 1024;
    /// The least severe level; setMaxLevel(AllLevels) shows everything.
    static constexpr int AllLevels = 7;

    /// Limits below 10 are raised to 10; the beginning kept is at most half
    /// of each limit (0 keeps no beginning: the log is its newest lines).
    explicit KvcLogBuffer(QTextEdit *target, int maxLines = DefaultMaxLines,
        int maxChars = DefaultMaxChars, int headLines = DefaultHeadLines,
        int headChars = DefaultHeadChars);
    ~KvcLogBuffer() override;
    Q_DISABLE_COPY(KvcLogBuffer)

    void append(int level, const QString &msg);
    /// Nothing waits to be written.
    bool isEmpty() const { return pendingChars() == 0; }
    /// Characters and line ends kept but not written yet.
    int pendingChars() const;
    int pendingLines() const { return m_pendingLines; }
    void flush();

    int maxLines() const { return m_maxLines; }
    int maxChars() const { return m_maxChars; }
    int headLines() const { return m_headLines; }
    int headChars() const { return m_headChars; }
    /// Lines dropped so far: the number the notice shows after the next flush.
    qint64 droppedLines() const { return m_dropped; }
    /// The kept log of every level as the edit shows it without a filter:
    /// its beginning, the notice line if lines were dropped, the rest.
    QString text() const;

    /// The kept log as runs of one level each (the level that colours them,
    /// -1 for text before any level), the notice line included as text of
    /// level -1, whatever the filter shows: what a saved run keeps.
    struct Run {
        int level = -1;
        QString text;
    };
    QVector<Run> runs() const;

    /// Shows messages of levels 0..level only (and text before any level);
    /// AllLevels shows all. Levels are clamped to 0..AllLevels.
    void setMaxLevel(int level);
    int maxLevel() const { return m_maxLevel; }

    bool following() const { return m_follow; }
    /// Scrolls to the end and follows it (true), or stays where the view is.
    void setFollowing(bool follow);

    /// The notice line for `count` dropped lines, translated.
    static QString droppedNotice(qint64 count);
    /// Colour of a log level 0..7; an invalid colour for any other level.
    static QColor levelColor(int level);

signals:
    /// The user scrolled away from the end (false) or back to it (true), or
    /// setFollowing() changed it.
    void followingChanged(bool following);
    /// The edit shows a new document (a changed filter); positions into the
    /// old one are void.
    void documentReplaced();

private:
    // A level change at a position of a part's text; level -1: no level yet.
    struct Mark {
        int pos;
        int level;
    };
    // The kept beginning, or the rest after it.
    struct Part {
        QString text;
        QVector<Mark> marks;
        int lines = 0;
        // How much of the text the edit shows (the first `shown` characters,
        // those of hidden levels included).
        int shown = 0;
        void add(int level, const QString &s);
        int levelAt(int pos) const;
    };

    bool visible(int level) const { return level < 0 || level <= m_maxLevel; }
    int visibleChars(const Part &part, int from, int to) const;
    int writeRange(QTextCursor &cursor, const Part &part, int from, int to) const;
    void dropOldest();
    QTextBlock noticeBlock(const QTextDocument *doc) const;
    int tailStart(const QTextDocument *doc) const;
    void showNotice(QTextDocument *doc);
    void rebuild();
    void scheduleRest();
    void scrollToEnd();
    void viewScrolled(int value);

    QTextEdit *m_target = nullptr;
    Part m_head;
    Part m_tail;
    bool m_headFull = false;
    int m_level = -1; // the level that -1 continues
    int m_maxLevel = AllLevels;
    int m_maxLines = DefaultMaxLines;
    int m_maxChars = DefaultMaxChars;
    int m_headLines = DefaultHeadLines;
    int m_headChars = DefaultHeadChars;
    int m_pendingLines = 0;
    qint64 m_dropped = 0;
    qint64 m_droppedShown = 0;
    // The document: the shown beginning (m_docHead characters), the notice
    // block once lines were dropped, the shown rest. Characters of the rest
    // that were dropped but are still in the document:
    int m_docHead = 0;
    int m_docTrim = 0;
    bool m_follow = true;
    bool m_scrolling = false; // the buffer moves the view, not the user
    // Flushes the rest a frame after the last flush; a child of the text
    // edit, so it goes with it.
    QPointer<QTimer> m_restTimer;
    static constexpr int RestDelayMs = 16;
};
