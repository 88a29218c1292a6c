#pragma once

#include "kvcexport.h"

#include <QColor>
#include <QPointer>
#include <QString>
#include <QVector>

class QTextEdit;
class QTimer;

/// Collects log messages and writes them into a text edit in one go, so that
/// a flood of output costs one insertion per colour run and flush, not one per
/// message.
///
/// Colours: levels 0..7 take their entry of levelColor(); level -1 (raw process
/// output) keeps the colour of the previous message, and so does any level
/// outside -1..7, which has no entry of its own. Before the first message with
/// a colour, text takes the text edit's current colour. Consecutive messages of
/// the same colour form one run; a change of colour starts a new run.
///
/// flush() inserts the runs at the text edit's cursor as plain text, in order
/// and without adding line ends, in one edit block (one layout), leaves the
/// edit's cursor after them with the last colour, and scrolls to the cursor.
/// The buffer does not own the text edit.
///
/// A flush writes at most FlushLines lines and FlushChars characters, the
/// oldest first: a text edit lays out some 50 000 to 100 000 lines a second,
/// so writing a backlog of 50 000 lines at once would freeze the GUI for a
/// second. If more waits, the buffer asks for another flush itself, a frame
/// later, through the text edit's event loop; a burst is thus written over a
/// few frames and nothing of it is lost. (Every flush puts that off by a
/// frame again, so a caller that flushes each frame is not doubled.)
///
/// The log is bounded. A simulator that prints as fast as it can for an hour
/// would otherwise grow the document (and its layout) until the machine
/// swaps, and nobody scrolls through millions of lines anyway: the end of the
/// log is what matters. So the edit keeps at most maxLines() lines and
/// maxChars() characters of log, whichever is reached first (by default
/// 50 000 lines or 4 Mi characters, 8 MiB of text). Past either limit, flush()
/// removes the oldest lines down to four fifths of both limits, so a trim
/// happens once per fifth of the log and not once per message; a line longer
/// than the whole limit loses its beginning. The text waiting to be written
/// has the same limits: if the GUI falls that far behind (a flood faster than
/// the edit can lay out), the oldest waiting text is dropped, in the same
/// fifths, and since everything shown is then older than what was lost, the
/// next flush replaces the whole log.
///
/// Whatever was dropped is counted in one notice line at the top of the log,
/// "[n earlier lines of the log were dropped]" (context KvcResultsWidget),
/// in grey italics; the log's own colours are not affected by it. A flush
/// costs a frame's worth of text at most, plus, once per fifth of the log, a
/// trim at the top: a few milliseconds, because it gets an edit block of its
/// own (together with the insertion at the end, the changed range would span
/// the whole document, and the text edit would lay out every line again: a
/// second at 40 000 lines).
class KVC_TESTING_EXPORT KvcLogBuffer
{
public:
    static constexpr int DefaultMaxLines = 50000;
    static constexpr int DefaultMaxChars = 4 * 1024 * 1024;
    /// What one flush writes at most (some 5 to 10 ms of layout).
    static constexpr int FlushLines = 500;
    static constexpr int FlushChars = 32 * 1024;

    /// Limits below 10 are raised to 10.
    explicit KvcLogBuffer(
        QTextEdit *target, int maxLines = DefaultMaxLines, int maxChars = DefaultMaxChars);
    ~KvcLogBuffer();
    Q_DISABLE_COPY(KvcLogBuffer)

    void append(int level, const QString &msg);
    bool isEmpty() const { return m_runs.isEmpty(); }
    /// Number of colour runs waiting.
    int pendingRuns() const { return m_runs.size(); }
    /// Characters and line ends waiting for the next flush.
    int pendingChars() const { return m_pendingChars; }
    int pendingLines() const { return m_pendingLines; }
    void flush();

    int maxLines() const { return m_maxLines; }
    int maxChars() const { return m_maxChars; }
    /// Lines dropped so far, from the edit and from the waiting text: the
    /// number the notice shows once the waiting text has been flushed.
    qint64 droppedLines() const { return m_droppedShown + m_droppedPending; }

    /// The notice line for `count` dropped lines, translated.
    static QString droppedNotice(qint64 count);
    /// Colour of a log level 0..7; an invalid colour for any other level.
    static QColor levelColor(int level);

private:
    struct Run {
        QColor color;
        QString text;
    };

    static int takeSlice(const QString &text, int lines, int chars);
    void scheduleRest();
    void dropOldestPending();
    void clearDocument();
    qint64 trimDocument();
    void showNotice();

    QTextEdit *m_target = nullptr;
    QVector<Run> m_runs;
    QColor m_color;
    int m_maxLines = DefaultMaxLines;
    int m_maxChars = DefaultMaxChars;
    int m_pendingChars = 0;
    int m_pendingLines = 0;
    // Dropped lines already counted in the notice, and those of the waiting
    // text that the next flush adds to it.
    qint64 m_droppedShown = 0;
    qint64 m_droppedPending = 0;
    // The waiting text lost its oldest part: what the edit shows is older.
    bool m_replaceOnFlush = false;
    // Flushes the rest a frame after the last flush; a child of the text
    // edit, so it goes with it.
    QPointer<QTimer> m_restTimer;
    static constexpr int RestDelayMs = 16;
};
