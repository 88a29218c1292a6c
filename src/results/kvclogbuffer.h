#pragma once

#include "kvcexport.h"

#include <QColor>
#include <QString>
#include <QVector>

class QTextEdit;

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
/// and without adding line ends, in one edit block (one layout of the
/// document), leaves the edit's cursor after them with the last colour, and
/// scrolls to the cursor. The buffer does not own the text edit.
class KVC_TESTING_EXPORT KvcLogBuffer
{
public:
    explicit KvcLogBuffer(QTextEdit *target);

    void append(int level, const QString &msg);
    bool isEmpty() const { return m_runs.isEmpty(); }
    /// Number of colour runs waiting.
    int pendingRuns() const { return m_runs.size(); }
    void flush();

    /// Colour of a log level 0..7; an invalid colour for any other level.
    static QColor levelColor(int level);

private:
    struct Run {
        QColor color;
        QString text;
    };

    QTextEdit *m_target = nullptr;
    QVector<Run> m_runs;
    QColor m_color;
};
