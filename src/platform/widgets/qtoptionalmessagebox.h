#pragma once

#include "widgetutilsexport.h"

#include <QMessageBox>
#include <QString>

/// Questions and warnings that the user may silence for good with a "Do not
/// show this again" check box.
///
/// The choice is kept in the application's default QSettings store, under
/// the group "QtOptionalMessageBox", one entry per `key`, holding the button
/// that answered the box when it was silenced. A silenced box is not shown;
/// the call returns that remembered answer at once. A remembered value that
/// is not one of the call's `buttons` (the settings were edited, or the
/// caller changed its buttons) is ignored and the box is shown again.
///
/// `neverRemembered` names an answer that never silences the box: ticking the
/// check box and answering with that button shows the box again next time.
/// Callers pass the answer that must stay reachable (No for a question whose
/// remembered No would make an action useless) or QMessageBox::NoButton when
/// every answer may be remembered. Closing the box without a button (Escape
/// on a box without an escape button, the window's close button) is never
/// remembered either.
///
/// An empty `key` gives a plain box without the check box.
/// The boxes go through QtMessageBox::exec(), so tests answer them as any other.
class WIDGETUTILS_EXPORT QtOptionalMessageBox
{
public:
    static QMessageBox::StandardButton question(QWidget *parent, const QString &key,
        const QString &title, const QString &text,
        QMessageBox::StandardButtons buttons = QMessageBox::Yes | QMessageBox::No,
        QMessageBox::StandardButton defaultButton = QMessageBox::NoButton,
        QMessageBox::StandardButton neverRemembered = QMessageBox::NoButton);
    static QMessageBox::StandardButton warning(QWidget *parent, const QString &key,
        const QString &title, const QString &text,
        QMessageBox::StandardButtons buttons = QMessageBox::Ok,
        QMessageBox::StandardButton defaultButton = QMessageBox::NoButton,
        QMessageBox::StandardButton neverRemembered = QMessageBox::NoButton);

    /// Whether the box named `key` is silenced (and would not be shown).
    static bool isSilenced(const QString &key);
    /// Shows the box named `key` again from now on.
    static void forget(const QString &key);
    /// Shows every silenced box again from now on.
    static void forgetAll();

    /// The settings group that holds the remembered answers.
    static QString settingsGroup();
};
