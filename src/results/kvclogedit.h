#pragma once

#include "kvcexport.h"

#include <QTextEdit>

#include <memory>

class KvcLogBuffer;
class KvcLogFinder;
class QComboBox;
class QLabel;
class QLineEdit;
class QToolButton;

/// The results view's log: a read-only text edit with the tools to read a
/// long log.
///
/// - Its KvcLogBuffer keeps the log (its beginning and its newest lines) and
///   writes it; the edit follows the end while it is scrolled to the end and
///   stays where the user scrolled to otherwise, with a "Follow new messages"
///   button under the text that brings it back to the end (shown only while
///   it does not follow).
/// - "Show:" under the text chooses the least severe level shown (all
///   messages, info, notices, warnings or errors and worse).
/// - Ctrl+F or "Find…" in the context menu opens a find bar above the text:
///   matches counted and highlighted, Enter / F3 the next, Shift+Enter /
///   Shift+F3 the previous, case-insensitive unless "Aa" (match case) is on;
///   Escape or its close button closes it.
/// - "Save log…" in the context menu (besides Copy and Select All) writes the
///   kept log of every level as UTF-8 text through QSaveFile; a failure is
///   reported in a critical message box, and leaves no file behind.
class KVC_EXPORT KvcLogEdit : public QTextEdit
{
    Q_OBJECT

public:
    explicit KvcLogEdit(QWidget *parent = nullptr);
    ~KvcLogEdit() override;

    KvcLogBuffer *logBuffer() const { return m_buffer.get(); }
    KvcLogFinder *finder() const { return m_finder; }

    /// Writes the kept log to `fileName`; on failure `err` says why and the
    /// file is left as it was.
    bool saveLog(const QString &fileName, QString &err) const;

public slots:
    void openFindBar();
    void closeFindBar();
    /// Asks for a file name and saves the log there.
    void saveLogRequested();

protected:
    void contextMenuEvent(QContextMenuEvent *event) override;
    bool viewportEvent(QEvent *event) override;
    bool eventFilter(QObject *object, QEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void buildBars();
    void retranslate();
    void placeBars();
    void updateCount();

    std::unique_ptr<KvcLogBuffer> m_buffer;
    KvcLogFinder *m_finder = nullptr;
    QWidget *m_findBar = nullptr;
    QLabel *m_findLbl = nullptr;
    QLineEdit *m_findLed = nullptr;
    QToolButton *m_findPrevBtn = nullptr;
    QToolButton *m_findNextBtn = nullptr;
    QToolButton *m_findCaseBtn = nullptr;
    QLabel *m_findCountLbl = nullptr;
    QToolButton *m_findCloseBtn = nullptr;
    QWidget *m_levelBar = nullptr;
    QLabel *m_levelLbl = nullptr;
    QComboBox *m_levelCmb = nullptr;
    QToolButton *m_followBtn = nullptr;
    QAction *m_findAction = nullptr;
    QAction *m_saveAction = nullptr;
    QAction *m_closeAction = nullptr;
};
