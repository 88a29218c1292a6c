#pragma once

#include "kvcexport.h"

#include <QObject>
#include <QPointer>
#include <QTextCursor>
#include <QVector>

class QTextDocument;
class QTextEdit;

/// Finds a text in a log edit while the log grows and shrinks.
///
/// Every match of the pattern in the edit's document is known at once
/// (matches(), as positions) and kept up to date through each change of the
/// document: only the changed range is searched again, so a log that grows
/// by a frame at a time costs a frame's worth of search. The matches in view
/// are highlighted through the edit's extra selections, the current one
/// stronger; matches out of view are not, so a pattern found 100 000 times
/// costs no more to paint than one. Matches do not span lines.
///
/// next() and previous() select the match after or before the current one
/// (the first after the top of the view when there is none), wrapping
/// around, and scroll it into view. Case-insensitive unless
/// setCaseSensitive(true). The edit is not owned; call documentReplaced()
/// after the edit was given another document.
class KVC_TESTING_EXPORT KvcLogFinder : public QObject
{
    Q_OBJECT

public:
    explicit KvcLogFinder(QTextEdit *edit);

    void setPattern(const QString &pattern);
    QString pattern() const { return m_pattern; }
    void setCaseSensitive(bool sensitive);
    /// Shows the highlights (true) or removes them.
    void setActive(bool active);

    const QVector<int> &matches() const { return m_matches; }
    /// Index of the current match in matches(), -1 if there is none.
    int current() const;
    void next();
    void previous();

    void documentReplaced();

signals:
    /// The matches or the current one changed.
    void matchesChanged();

private:
    void attach();
    void searchAll();
    void contentsChanged(int position, int removed, int added);
    QVector<int> search(int from, int to) const;
    void select(int index);
    void highlight();

    QTextEdit *m_edit = nullptr;
    QPointer<QTextDocument> m_doc;
    QString m_pattern;
    Qt::CaseSensitivity m_case = Qt::CaseInsensitive;
    bool m_active = false;
    QVector<int> m_matches;
    // Selects the current match; moves with the text around it.
    QTextCursor m_current;
};
