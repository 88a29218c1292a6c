#include "kvclogbuffer.h"

#include <QCoreApplication>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextEdit>
#include <QTimer>

namespace {

// Marks the notice block, so that a cleared edit loses it with everything else.
constexpr int NoticeState = 0x4b564e; // "KVN"

// What a trim leaves: four fifths of a limit.
int lowWater(int limit) { return limit - limit / 5; }

QTextBlock firstLogBlock(QTextDocument *doc)
{
    const QTextBlock first = doc->firstBlock();
    return first.userState() == NoticeState ? first.next() : first;
}

} // namespace

KvcLogBuffer::KvcLogBuffer(QTextEdit *target, int maxLines, int maxChars)
    : m_target(target)
    , m_maxLines(qMax(maxLines, 10))
    , m_maxChars(qMax(maxChars, 10))
{ }

KvcLogBuffer::~KvcLogBuffer() { delete m_restTimer; }

QColor KvcLogBuffer::levelColor(int level)
{
    static const QColor logColors[8] = {
        Qt::black, Qt::black, Qt::black, Qt::blue, Qt::red, Qt::red, Qt::darkGreen, Qt::darkGreen};
    if (level < 0 || level > 7)
        return QColor();
    return logColors[level];
}

QString KvcLogBuffer::droppedNotice(qint64 count)
{
    return QCoreApplication::translate(
        "KvcResultsWidget", "[%n earlier lines of the log were dropped]", nullptr, int(count));
}

void KvcLogBuffer::append(int level, const QString &msg)
{
    const QColor color = levelColor(level);
    if (color.isValid())
        m_color = color;
    if (!m_runs.isEmpty() && m_runs.last().color == m_color)
        m_runs.last().text += msg;
    else
        m_runs.append(Run {m_color, msg});
    m_pendingChars += msg.size();
    m_pendingLines += msg.count(QLatin1Char('\n'));
    if (m_pendingChars > m_maxChars || m_pendingLines > m_maxLines)
        dropOldestPending();
}

void KvcLogBuffer::dropOldestPending()
{
    const int needChars = m_pendingChars - lowWater(m_maxChars);
    const int needLines = m_pendingLines - lowWater(m_maxLines);
    int chars = 0;
    int lines = 0;
    int whole = 0; // runs dropped whole
    int cut = 0; // characters dropped from the next run
    bool midLine = false;
    for (; whole < m_runs.size(); ++whole) {
        const QString &text = m_runs.at(whole).text;
        const int n = text.size();
        for (int i = 0; i < n && cut == 0; ++i) {
            if (text.at(i) != QLatin1Char('\n'))
                continue;
            if (chars + i + 1 >= needChars && lines + 1 >= needLines)
                cut = i + 1; // the first line end that satisfies both
            else
                ++lines;
        }
        if (cut > 0) {
            ++lines;
            break;
        }
        if (chars + n >= needChars && lines >= needLines && whole + 1 == m_runs.size()) {
            // No line end left: the last line loses its beginning.
            cut = needChars - chars;
            midLine = true;
            break;
        }
        chars += n;
    }
    m_runs.erase(m_runs.begin(), m_runs.begin() + whole);
    if (cut > 0 && !m_runs.isEmpty()) {
        m_runs.first().text.remove(0, cut);
        chars += cut;
        if (m_runs.first().text.isEmpty())
            m_runs.removeFirst();
    }
    m_pendingChars -= chars;
    m_pendingLines -= lines;
    m_droppedPending += lines + (midLine ? 1 : 0);
    m_replaceOnFlush = true;
}

void KvcLogBuffer::clearDocument()
{
    QTextDocument *doc = m_target->document();
    const QTextBlock first = firstLogBlock(doc);
    const QTextBlock last = doc->lastBlock();
    if (!first.isValid())
        return;
    // The last line is unfinished (or empty): its end is still to come and
    // counts when it is dropped or shown.
    m_droppedShown += last.blockNumber() - first.blockNumber();
    QTextCursor cursor(doc);
    cursor.setPosition(first.position());
    cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
}

qint64 KvcLogBuffer::trimDocument()
{
    QTextDocument *doc = m_target->document();
    const QTextBlock first = firstLogBlock(doc);
    const QTextBlock last = doc->lastBlock();
    // The empty block after a last line end is no line.
    const int lines = last.blockNumber() - first.blockNumber() + (last.length() > 1 ? 1 : 0);
    const int chars = doc->characterCount() - first.position();
    if (lines <= m_maxLines && chars <= m_maxChars)
        return 0;

    // Keep the newest lowWater() lines and characters, from a line start.
    QTextBlock keep = first;
    if (lines > lowWater(m_maxLines))
        keep = doc->findBlockByNumber(first.blockNumber() + lines - lowWater(m_maxLines));
    int keepPos = keep.position();
    qint64 dropped = keep.blockNumber() - first.blockNumber();
    const int charsFrom = doc->characterCount() - lowWater(m_maxChars);
    if (keepPos < charsFrom) {
        QTextBlock byChars = doc->findBlock(charsFrom);
        if (byChars.position() < charsFrom)
            byChars = byChars.next();
        if (byChars.isValid()) {
            keepPos = byChars.position();
            dropped = byChars.blockNumber() - first.blockNumber();
        } else {
            // Within the last line: it loses its beginning, counted as a line.
            keepPos = charsFrom;
            dropped = last.blockNumber() - first.blockNumber() + 1;
        }
    }
    if (keepPos <= first.position())
        return 0;
    QTextCursor cursor(doc);
    cursor.setPosition(first.position());
    cursor.setPosition(keepPos, QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
    return dropped;
}

void KvcLogBuffer::showNotice()
{
    QTextDocument *doc = m_target->document();
    QTextCharFormat format;
    format.setForeground(QColor(Qt::gray));
    format.setFontItalic(true);
    const QString text = droppedNotice(m_droppedShown);
    QTextCursor cursor(doc);
    QTextBlock first = doc->firstBlock();
    if (first.userState() == NoticeState) {
        cursor.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
        cursor.insertText(text, format);
        return;
    }
    // The log's first line keeps its own formats: the notice is a block of
    // its own before it.
    const QTextBlockFormat blockFormat = first.blockFormat();
    const QTextCharFormat charFormat = first.charFormat();
    cursor.insertText(text, format);
    cursor.insertBlock(blockFormat, charFormat);
    doc->firstBlock().setUserState(NoticeState);
}

int KvcLogBuffer::takeSlice(const QString &text, int lines, int chars)
{
    // Up to the line end that uses up the line budget, within the character
    // budget; a line longer than that is cut at it.
    const int n = qMin(text.size(), chars);
    for (int i = 0; i < n; ++i) {
        if (text.at(i) == QLatin1Char('\n') && --lines == 0)
            return i + 1;
    }
    if (n == text.size())
        return n;
    const int lastEnd = text.lastIndexOf(QLatin1Char('\n'), n - 1);
    return lastEnd >= 0 ? lastEnd + 1 : n;
}

void KvcLogBuffer::scheduleRest()
{
    if (!m_restTimer) {
        m_restTimer = new QTimer(m_target);
        m_restTimer->setSingleShot(true);
        m_restTimer->setInterval(RestDelayMs);
        QObject::connect(m_restTimer, &QTimer::timeout, m_restTimer, [this] { flush(); });
    }
    m_restTimer->start();
}

void KvcLogBuffer::flush()
{
    if (m_runs.isEmpty())
        return;
    // One edit block: the document is laid out once for the whole slice.
    QTextCursor edit(m_target->document());
    edit.beginEditBlock();
    if (m_replaceOnFlush)
        clearDocument();
    QTextCursor cursor = m_target->textCursor();
    int lines = FlushLines;
    int chars = FlushChars;
    int done = 0; // runs written whole
    QColor lastColor;
    for (; done < m_runs.size() && lines > 0 && chars > 0; ++done) {
        Run &run = m_runs[done];
        QTextCharFormat format = cursor.charFormat();
        if (run.color.isValid())
            format.setForeground(run.color);
        lastColor = run.color;
        const int take = takeSlice(run.text, lines, chars);
        const int taken = run.text.leftRef(take).count(QLatin1Char('\n'));
        lines -= taken;
        chars -= take;
        m_pendingChars -= take;
        m_pendingLines -= taken;
        if (take == run.text.size()) {
            cursor.insertText(run.text, format);
            continue;
        }
        cursor.insertText(run.text.left(take), format);
        run.text.remove(0, take);
        break;
    }
    m_runs.erase(m_runs.begin(), m_runs.begin() + done);
    edit.endEditBlock();
    // A trim gets an edit block of its own: in one with the insertion, the
    // changed range would span the whole document and the text edit would
    // lay out every line again, not only those at the top.
    edit.beginEditBlock();
    const qint64 before = m_droppedShown;
    m_droppedShown += m_droppedPending + trimDocument();
    m_droppedPending = 0;
    if (m_droppedShown != before || m_replaceOnFlush)
        showNotice();
    m_replaceOnFlush = false;
    edit.endEditBlock();
    m_target->setTextCursor(cursor);
    // The colour of what was written last; what still waits brings its own.
    if (lastColor.isValid())
        m_target->setTextColor(lastColor);
    m_target->ensureCursorVisible();
    if (!m_runs.isEmpty())
        scheduleRest();
    else if (m_restTimer)
        m_restTimer->stop();
}
