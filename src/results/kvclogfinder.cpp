#include "kvclogfinder.h"

#include <QScrollBar>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextEdit>

#include <algorithm>

KvcLogFinder::KvcLogFinder(QTextEdit *edit)
    : QObject(edit)
    , m_edit(edit)
{
    attach();
    connect(edit->verticalScrollBar(), &QScrollBar::valueChanged, this, &KvcLogFinder::highlight);
    connect(edit->horizontalScrollBar(), &QScrollBar::valueChanged, this, &KvcLogFinder::highlight);
}

void KvcLogFinder::attach()
{
    if (m_doc)
        m_doc->disconnect(this);
    m_doc = m_edit->document();
    connect(m_doc, &QTextDocument::contentsChange, this, &KvcLogFinder::contentsChanged);
    m_current = QTextCursor();
}

void KvcLogFinder::documentReplaced()
{
    attach();
    searchAll();
}

void KvcLogFinder::setPattern(const QString &pattern)
{
    if (pattern == m_pattern)
        return;
    m_pattern = pattern;
    m_current = QTextCursor();
    searchAll();
}

void KvcLogFinder::setCaseSensitive(bool sensitive)
{
    const Qt::CaseSensitivity cs = sensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    if (cs == m_case)
        return;
    m_case = cs;
    searchAll();
}

void KvcLogFinder::setActive(bool active)
{
    m_active = active;
    highlight();
}

QVector<int> KvcLogFinder::search(int from, int to) const
{
    QVector<int> found;
    if (m_pattern.isEmpty() || from >= to)
        return found;
    // The document's positions are those of its plain text: one character
    // per line end.
    QTextCursor range(m_doc);
    range.setPosition(from);
    range.setPosition(to, QTextCursor::KeepAnchor);
    const QString text = range.selectedText();
    for (int i = text.indexOf(m_pattern, 0, m_case); i >= 0;
         i = text.indexOf(m_pattern, i + 1, m_case))
        found.append(from + i);
    return found;
}

void KvcLogFinder::searchAll()
{
    m_matches.clear();
    if (!m_pattern.isEmpty()) {
        const QString text = m_doc->toPlainText();
        for (int i = text.indexOf(m_pattern, 0, m_case); i >= 0;
             i = text.indexOf(m_pattern, i + 1, m_case))
            m_matches.append(i);
    }
    highlight();
    emit matchesChanged();
}

void KvcLogFinder::contentsChanged(int position, int removed, int added)
{
    const int n = m_pattern.size();
    if (n == 0)
        return;
    // Matches that touched the changed range go; those after it move; the
    // range and its edges are searched again.
    const auto first = std::lower_bound(m_matches.begin(), m_matches.end(), position - n + 1);
    const auto last = std::lower_bound(first, m_matches.end(), position + removed);
    const int index = int(first - m_matches.begin());
    const int shift = added - removed;
    for (auto it = last; it != m_matches.end(); ++it)
        *it += shift;
    m_matches.erase(first, last);
    const int end = qMin(position + added + n - 1, m_doc->characterCount() - 1);
    QVector<int> found;
    for (int pos : search(qMax(0, position - n + 1), end)) {
        if (pos < position + added && pos + n > position)
            found.append(pos);
    }
    m_matches.insert(index, found.size(), 0);
    std::copy(found.cbegin(), found.cend(), m_matches.begin() + index);
    highlight();
    emit matchesChanged();
}

int KvcLogFinder::current() const
{
    if (m_current.isNull() || !m_current.hasSelection())
        return -1;
    const auto it
        = std::lower_bound(m_matches.cbegin(), m_matches.cend(), m_current.selectionStart());
    return it != m_matches.cend() && *it == m_current.selectionStart()
        ? int(it - m_matches.cbegin())
        : -1;
}

void KvcLogFinder::next()
{
    if (m_matches.isEmpty())
        return;
    const int from = m_current.hasSelection() ? m_current.selectionStart() + 1
                                              : m_edit->cursorForPosition(QPoint(0, 0)).position();
    const auto it = std::lower_bound(m_matches.cbegin(), m_matches.cend(), from);
    select(it == m_matches.cend() ? 0 : int(it - m_matches.cbegin()));
}

void KvcLogFinder::previous()
{
    if (m_matches.isEmpty())
        return;
    const int from = m_current.hasSelection() ? m_current.selectionStart()
                                              : m_edit->cursorForPosition(QPoint(0, 0)).position();
    const auto it = std::lower_bound(m_matches.cbegin(), m_matches.cend(), from);
    select(it == m_matches.cbegin() ? m_matches.size() - 1 : int(it - m_matches.cbegin()) - 1);
}

void KvcLogFinder::select(int index)
{
    m_current = QTextCursor(m_doc);
    m_current.setPosition(m_matches.at(index));
    m_current.setPosition(m_matches.at(index) + m_pattern.size(), QTextCursor::KeepAnchor);
    // Selecting scrolls the match into view (the user moved: a log that
    // followed its end stops where the match is).
    m_edit->setTextCursor(m_current);
    highlight();
    emit matchesChanged();
}

void KvcLogFinder::highlight()
{
    QList<QTextEdit::ExtraSelection> selections;
    if (m_active && !m_matches.isEmpty()) {
        const QRect view = m_edit->viewport()->rect();
        const int from = m_edit->cursorForPosition(view.topLeft()).block().position();
        const QTextBlock last = m_edit->cursorForPosition(view.bottomRight()).block();
        const int to = last.position() + last.length();
        QTextCharFormat format;
        format.setBackground(QColor(255, 235, 120));
        QTextCharFormat currentFormat;
        currentFormat.setBackground(QColor(255, 150, 50));
        const int currentPos = current() >= 0 ? m_current.selectionStart() : -1;
        for (auto it
             = std::lower_bound(m_matches.cbegin(), m_matches.cend(), from - m_pattern.size());
             it != m_matches.cend() && *it < to; ++it) {
            QTextEdit::ExtraSelection selection;
            selection.cursor = QTextCursor(m_doc);
            selection.cursor.setPosition(*it);
            selection.cursor.setPosition(*it + m_pattern.size(), QTextCursor::KeepAnchor);
            selection.format = *it == currentPos ? currentFormat : format;
            selections.append(selection);
        }
    }
    m_edit->setExtraSelections(selections);
}
