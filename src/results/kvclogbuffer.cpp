#include "kvclogbuffer.h"

#include <QAbstractTextDocumentLayout>
#include <QCoreApplication>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextEdit>
#include <QTimer>

#include <algorithm>

namespace {

// Marks the notice block.
constexpr int NoticeState = 0x4b564e; // "KVN"

// What a trim leaves: four fifths of a limit.
int lowWater(int limit) { return limit - limit / 5; }

QTextCharFormat formatFor(int level)
{
    QTextCharFormat format;
    const QColor color = KvcLogBuffer::levelColor(level);
    if (color.isValid())
        format.setForeground(color);
    return format;
}

// The end of a slice of `text` from `from`: up to the line end that uses up
// the line budget, within the character budget; a line longer than that is
// cut at it.
int sliceEnd(const QString &text, int from, int lines, int chars)
{
    const int n = qMin(text.size(), from + chars);
    for (int i = from; i < n; ++i) {
        if (text.at(i) == QLatin1Char('\n') && --lines == 0)
            return i + 1;
    }
    if (n == text.size())
        return n;
    const int lastEnd = text.lastIndexOf(QLatin1Char('\n'), n - 1);
    return lastEnd >= from ? lastEnd + 1 : n;
}

int lineEnds(const QString &text, int from, int to)
{
    return text.midRef(from, to - from).count(QLatin1Char('\n'));
}

} // namespace

void KvcLogBuffer::Part::add(int level, const QString &s)
{
    if (s.isEmpty())
        return;
    if (marks.isEmpty() || marks.last().level != level)
        marks.append({text.size(), level});
    text += s;
    lines += s.count(QLatin1Char('\n'));
}

int KvcLogBuffer::Part::levelAt(int pos) const
{
    const auto after = std::upper_bound(
        marks.cbegin(), marks.cend(), pos, [](int p, const Mark &m) { return p < m.pos; });
    return after == marks.cbegin() ? -1 : (after - 1)->level;
}

KvcLogBuffer::KvcLogBuffer(
    QTextEdit *target, int maxLines, int maxChars, int headLines, int headChars)
    : m_target(target)
    , m_maxLines(qMax(maxLines, 10))
    , m_maxChars(qMax(maxChars, 10))
    , m_headLines(qBound(0, headLines, m_maxLines / 2))
    , m_headChars(qBound(0, headChars, m_maxChars / 2))
{
    m_headFull = m_headLines == 0 || m_headChars == 0;
    // Text the edit held before is not the log's: the log comes after it.
    m_docHead = m_target->document()->characterCount() - 1;
    QScrollBar *bar = m_target->verticalScrollBar();
    connect(bar, &QScrollBar::valueChanged, this, &KvcLogBuffer::viewScrolled);
    // The layout grows the document lazily, after the flush: a following view
    // keeps up with it.
    connect(bar, &QScrollBar::rangeChanged, this, [this] {
        if (m_follow)
            scrollToEnd();
    });
}

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

int KvcLogBuffer::pendingChars() const
{
    return m_head.text.size() - m_head.shown + m_tail.text.size() - m_tail.shown;
}

void KvcLogBuffer::append(int level, const QString &msg)
{
    if (level >= 0 && level <= AllLevels)
        m_level = level;
    m_pendingLines += msg.count(QLatin1Char('\n'));
    int used = 0;
    if (!m_headFull) {
        // The beginning ends at the line end that fills its lines, or at the
        // last line end within its characters (mid-line if there is none).
        used = sliceEnd(msg, 0, m_headLines - m_head.lines, m_headChars - m_head.text.size());
        // Only a first line longer than the beginning is cut.
        if (used < msg.size() && (used == 0 || msg.at(used - 1) != QLatin1Char('\n'))
            && !m_head.text.isEmpty())
            used = 0;
        m_head.add(m_level, msg.left(used));
        m_headFull
            = m_head.lines >= m_headLines || m_head.text.size() >= m_headChars || used < msg.size();
    }
    if (used == msg.size())
        return;
    m_tail.add(m_level, used ? msg.mid(used) : msg);
    if (m_head.lines + m_tail.lines > m_maxLines
        || m_head.text.size() + m_tail.text.size() > m_maxChars)
        dropOldest();
}

void KvcLogBuffer::dropOldest()
{
    // What stays of the rest: four fifths of what the beginning leaves.
    const int keepLines = lowWater(m_maxLines - m_head.lines);
    const int keepChars = lowWater(m_maxChars - m_head.text.size());
    const QString &text = m_tail.text;
    int cut = 0;
    // Past the line end after which both limits hold.
    int lines = m_tail.lines;
    for (int i = 0; i < text.size(); ++i) {
        if (text.at(i) != QLatin1Char('\n'))
            continue;
        --lines;
        if (lines <= keepLines && text.size() - (i + 1) <= keepChars) {
            cut = i + 1;
            break;
        }
    }
    const bool midLine = cut == 0 || text.size() - cut > keepChars;
    if (midLine)
        cut = text.size() - keepChars; // the last line loses its beginning
    const int droppedEnds = lineEnds(text, 0, cut);
    m_dropped += droppedEnds + (midLine ? 1 : 0);

    // The part of it that the edit shows goes from the document at the next
    // flush; the part it does not show yet goes unseen.
    m_docTrim += visibleChars(m_tail, 0, qMin(cut, m_tail.shown));
    if (cut > m_tail.shown)
        m_pendingLines -= lineEnds(text, m_tail.shown, cut);
    m_tail.shown = qMax(0, m_tail.shown - cut);

    const int level = m_tail.levelAt(cut);
    QVector<Mark> marks {{0, level}};
    for (const Mark &m : qAsConst(m_tail.marks)) {
        if (m.pos > cut)
            marks.append({m.pos - cut, m.level});
    }
    m_tail.marks = marks;
    m_tail.text.remove(0, cut);
    m_tail.lines -= droppedEnds;
}

int KvcLogBuffer::visibleChars(const Part &part, int from, int to) const
{
    if (m_maxLevel == AllLevels)
        return to - from;
    int n = 0;
    for (int i = 0; i < part.marks.size(); ++i) {
        const int a = qMax(from, part.marks.at(i).pos);
        const int b
            = qMin(to, i + 1 < part.marks.size() ? part.marks.at(i + 1).pos : part.text.size());
        if (a < b && visible(part.marks.at(i).level))
            n += b - a;
    }
    return n;
}

int KvcLogBuffer::writeRange(QTextCursor &cursor, const Part &part, int from, int to) const
{
    int written = 0;
    auto mark = std::upper_bound(part.marks.cbegin(), part.marks.cend(), from,
        [](int p, const Mark &m) { return p < m.pos; });
    if (mark != part.marks.cbegin())
        --mark;
    for (; mark != part.marks.cend() && mark->pos < to; ++mark) {
        const int a = qMax(from, mark->pos);
        const int b = qMin(to, mark + 1 != part.marks.cend() ? (mark + 1)->pos : part.text.size());
        if (a >= b || !visible(mark->level))
            continue;
        cursor.insertText(part.text.mid(a, b - a), formatFor(mark->level));
        written += b - a;
    }
    return written;
}

QString KvcLogBuffer::text() const
{
    if (m_dropped == 0)
        return m_head.text + m_tail.text;
    const bool open = !m_head.text.isEmpty() && !m_head.text.endsWith(QLatin1Char('\n'));
    return m_head.text + (open ? QStringLiteral("\n") : QString()) + droppedNotice(m_dropped)
        + QLatin1Char('\n') + m_tail.text;
}

QVector<KvcLogBuffer::Run> KvcLogBuffer::runs() const
{
    QVector<Run> runs;
    const auto add = [&runs](const Part &part) {
        int from = 0;
        int level = part.levelAt(0);
        for (const Mark &mark : part.marks) {
            if (mark.pos > from)
                runs.append({level, part.text.mid(from, mark.pos - from)});
            from = qMax(from, mark.pos);
            level = mark.level;
        }
        if (part.text.size() > from)
            runs.append({level, part.text.mid(from)});
    };
    add(m_head);
    if (m_dropped > 0) {
        const bool open = !m_head.text.isEmpty() && !m_head.text.endsWith(QLatin1Char('\n'));
        runs.append({-1,
            (open ? QStringLiteral("\n") : QString()) + droppedNotice(m_dropped)
                + QLatin1Char('\n')});
    }
    add(m_tail);
    return runs;
}

QTextBlock KvcLogBuffer::noticeBlock(const QTextDocument *doc) const
{
    // After the shown beginning, or after the line end put after it when it
    // ended mid-line.
    QTextBlock block = doc->findBlock(m_docHead);
    if (block.userState() == NoticeState)
        return block;
    block = block.next();
    return block.isValid() && block.userState() == NoticeState ? block : QTextBlock();
}

int KvcLogBuffer::tailStart(const QTextDocument *doc) const
{
    const QTextBlock notice = noticeBlock(doc);
    return notice.isValid() ? notice.next().position() : m_docHead;
}

void KvcLogBuffer::showNotice(QTextDocument *doc)
{
    QTextCharFormat format;
    format.setForeground(QColor(Qt::gray));
    format.setFontItalic(true);
    const QString text = droppedNotice(m_dropped);
    m_droppedShown = m_dropped;
    QTextCursor cursor(doc);
    const QTextBlock notice = noticeBlock(doc);
    if (notice.isValid()) {
        cursor.setPosition(notice.position());
        cursor.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
        cursor.insertText(text, format);
        return;
    }
    cursor.setPosition(m_docHead);
    if (m_docHead > 0 && doc->characterAt(m_docHead - 1) != QChar::ParagraphSeparator)
        cursor.insertBlock(QTextBlockFormat(), QTextCharFormat());
    const int at = cursor.position();
    cursor.insertText(text, format);
    cursor.insertBlock(QTextBlockFormat(), QTextCharFormat());
    doc->findBlock(at).setUserState(NoticeState);
    cursor.block().setUserState(-1);
}

void KvcLogBuffer::flush()
{
    if (isEmpty() && m_docTrim == 0 && m_droppedShown == m_dropped)
        return;
    QTextDocument *doc = m_target->document();
    // The text the user reads, at the top of the view: a cursor keeps to it
    // through the edits.
    QTextCursor top;
    qreal topOffset = 0;
    if (!m_follow) {
        top = m_target->cursorForPosition(QPoint(0, 0));
        topOffset = m_target->verticalScrollBar()->value()
            - doc->documentLayout()->blockBoundingRect(top.block()).top();
    }

    // The drops get an edit block of their own: in one with the insertion,
    // the changed range would span most of the document and the text edit
    // would lay out every line again, not only those that changed.
    QTextCursor edit(doc);
    edit.beginEditBlock();
    if (m_docTrim > 0) {
        const int from = tailStart(doc);
        edit.setPosition(from);
        edit.setPosition(
            qMin(from + m_docTrim, doc->characterCount() - 1), QTextCursor::KeepAnchor);
        edit.removeSelectedText();
        m_docTrim = 0;
    }
    // The notice goes after the whole beginning: nothing is inserted before
    // it later, so it stays a block of its own.
    if (m_droppedShown != m_dropped && m_head.shown == m_head.text.size())
        showNotice(doc);
    edit.endEditBlock();

    edit.beginEditBlock();
    int lines = FlushLines;
    int chars = FlushChars;
    int lastLevel = -2;
    for (Part *part : {&m_head, &m_tail}) {
        if (lines <= 0 || chars <= 0 || part->shown == part->text.size())
            continue;
        const int end = sliceEnd(part->text, part->shown, lines, chars);
        const int ends = lineEnds(part->text, part->shown, end);
        if (part == &m_head) {
            edit.setPosition(m_docHead);
            m_docHead += writeRange(edit, *part, part->shown, end);
        } else {
            edit.movePosition(QTextCursor::End);
            writeRange(edit, *part, part->shown, end);
        }
        lastLevel = part->levelAt(end - 1);
        lines -= ends;
        chars -= end - part->shown;
        m_pendingLines -= ends;
        part->shown = end;
    }
    edit.endEditBlock();
    // The colour for further insertions is that of the last message.
    // (Set on a selection, it would colour the selected text.)
    if (levelColor(lastLevel).isValid() && !m_target->textCursor().hasSelection())
        m_target->setTextColor(levelColor(lastLevel));

    if (m_follow) {
        scrollToEnd();
    } else {
        m_scrolling = true;
        const qreal y = doc->documentLayout()->blockBoundingRect(top.block()).top() + topOffset;
        m_target->verticalScrollBar()->setValue(qRound(y));
        m_scrolling = false;
    }
    if (!isEmpty())
        scheduleRest();
    else if (m_restTimer)
        m_restTimer->stop();
}

void KvcLogBuffer::scrollToEnd()
{
    m_scrolling = true;
    QTextCursor cursor = m_target->textCursor();
    // A selection the user made stays: only the view moves.
    if (!cursor.hasSelection()) {
        cursor.movePosition(QTextCursor::End);
        m_target->setTextCursor(cursor);
        m_target->ensureCursorVisible();
    }
    QScrollBar *bar = m_target->verticalScrollBar();
    bar->setValue(bar->maximum());
    m_scrolling = false;
}

void KvcLogBuffer::viewScrolled(int value)
{
    if (m_scrolling)
        return;
    const bool atEnd = value >= m_target->verticalScrollBar()->maximum();
    if (atEnd == m_follow)
        return;
    m_follow = atEnd;
    emit followingChanged(m_follow);
}

void KvcLogBuffer::setFollowing(bool follow)
{
    if (follow)
        scrollToEnd();
    if (follow == m_follow)
        return;
    m_follow = follow;
    emit followingChanged(m_follow);
}

void KvcLogBuffer::setMaxLevel(int level)
{
    level = qBound(0, level, int(AllLevels));
    if (level == m_maxLevel)
        return;
    m_maxLevel = level;
    rebuild();
}

void KvcLogBuffer::rebuild()
{
    // A document of its own has no layout yet: filling it costs no layout,
    // and the edit lays a new document out lazily, a screenful first.
    QTextDocument *old = m_target->document();
    auto doc = new QTextDocument(m_target);
    doc->setUndoRedoEnabled(false);
    doc->setDefaultFont(old->defaultFont());
    doc->setDefaultTextOption(old->defaultTextOption());
    doc->setDocumentMargin(old->documentMargin());
    QTextCursor cursor(doc);
    cursor.beginEditBlock();
    m_docHead = writeRange(cursor, m_head, 0, m_head.text.size());
    m_head.shown = m_head.text.size();
    cursor.endEditBlock();
    if (m_dropped > 0)
        showNotice(doc);
    cursor.beginEditBlock();
    cursor.movePosition(QTextCursor::End);
    writeRange(cursor, m_tail, 0, m_tail.text.size());
    cursor.endEditBlock();
    m_tail.shown = m_tail.text.size();
    m_pendingLines = 0;
    m_docTrim = 0;
    // The edit deletes the document it made itself; those made here are
    // the buffer's to delete.
    QPointer<QTextDocument> previous = old;
    m_scrolling = true; // the edit goes back to the top, the user does not
    m_target->setDocument(doc);
    m_scrolling = false;
    if (previous && previous->parent() == m_target)
        delete previous;
    if (m_restTimer)
        m_restTimer->stop();
    emit documentReplaced();
    if (m_follow)
        scrollToEnd();
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
