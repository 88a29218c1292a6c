#include "kvclogbuffer.h"

#include <QTextCursor>
#include <QTextEdit>

KvcLogBuffer::KvcLogBuffer(QTextEdit *target)
    : m_target(target)
{ }

QColor KvcLogBuffer::levelColor(int level)
{
    static const QColor logColors[8] = {
        Qt::black, Qt::black, Qt::black, Qt::blue, Qt::red, Qt::red, Qt::darkGreen, Qt::darkGreen};
    if (level < 0 || level > 7)
        return QColor();
    return logColors[level];
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
}

void KvcLogBuffer::flush()
{
    if (m_runs.isEmpty())
        return;
    // One edit block: the document is laid out once for everything that came.
    QTextCursor cursor = m_target->textCursor();
    cursor.beginEditBlock();
    for (const Run &run : qAsConst(m_runs)) {
        QTextCharFormat format = cursor.charFormat();
        if (run.color.isValid())
            format.setForeground(run.color);
        cursor.insertText(run.text, format);
    }
    cursor.endEditBlock();
    m_runs.clear();
    m_target->setTextCursor(cursor);
    if (m_color.isValid())
        m_target->setTextColor(m_color);
    m_target->ensureCursorVisible();
}
