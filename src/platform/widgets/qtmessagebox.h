#pragma once

#include "widgetutilsexport.h"

#include <QMessageBox>

#include <functional>

/// The one place through which every message box of the libraries runs.
///
/// Boxes are modal and run their own event loop, as QMessageBox::exec() does.
/// A test installs an exec hook: it is called with the prepared box right
/// before its event loop starts, so the test can read the title, text and
/// buttons and close the box through the event loop (for instance with a
/// zero-time timer that clicks a button). Nothing blocks a headless test.
class WIDGETUTILS_EXPORT QtMessageBox
{
public:
    using ExecHook = std::function<void(QMessageBox *box)>;

    static QMessageBox::StandardButton critical(QWidget *parent, const QString &title,
        const QString &text, QMessageBox::StandardButtons buttons = QMessageBox::Ok,
        QMessageBox::StandardButton defaultButton = QMessageBox::NoButton);
    static QMessageBox::StandardButton warning(QWidget *parent, const QString &title,
        const QString &text, QMessageBox::StandardButtons buttons = QMessageBox::Ok,
        QMessageBox::StandardButton defaultButton = QMessageBox::NoButton);
    static QMessageBox::StandardButton question(QWidget *parent, const QString &title,
        const QString &text,
        QMessageBox::StandardButtons buttons = QMessageBox::Yes | QMessageBox::No,
        QMessageBox::StandardButton defaultButton = QMessageBox::NoButton);
    static QMessageBox::StandardButton information(QWidget *parent, const QString &title,
        const QString &text, QMessageBox::StandardButtons buttons = QMessageBox::Ok,
        QMessageBox::StandardButton defaultButton = QMessageBox::NoButton);

    /// Runs a box prepared by the caller; returns the button that closed it
    /// (NoButton when it was closed otherwise).
    static QMessageBox::StandardButton exec(QMessageBox &box);

    /// Installs the hook (an empty function removes it); returns the old one.
    static ExecHook setExecHook(ExecHook hook);
};
