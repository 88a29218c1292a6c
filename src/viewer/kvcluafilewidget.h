#pragma once

#include "kvcexport.h"

#include <QTextEdit>

/// A read-only view of one model file (a Lua script) with highlighting of the
/// language and of the model's constructor names. The file is read once, as
/// UTF-8 up to its first NUL byte; a file that can't be opened is reported in
/// an "Error..." box and leaves the view empty, with fileName() still set.
class KVC_EXPORT KvcLuaFileWidget : public QTextEdit
{
    Q_OBJECT

public:
    KvcLuaFileWidget(QString fileName, QWidget *parent = nullptr);
    ~KvcLuaFileWidget() override;

    QString fileName() const;

    /// Puts the cursor on line `line` (from 1), selects the first occurrence
    /// of `text` in it (case-sensitive) if there is one, focuses the view and
    /// scrolls the line to the middle. A line before the first puts the cursor
    /// at the start of the document, one after the last at its end.
    void selectInLine(int line, QString text);

private:
    QString m_fileName;
};
