#include "qtmessagebox.h"

#include <QPushButton>

namespace {

QtMessageBox::ExecHook &execHook()
{
    static QtMessageBox::ExecHook hook;
    return hook;
}

QMessageBox::StandardButton show(QMessageBox::Icon icon, QWidget *parent, const QString &title,
    const QString &text, QMessageBox::StandardButtons buttons,
    QMessageBox::StandardButton defaultButton)
{
    QMessageBox box(icon, title, text, buttons, parent);
    if (defaultButton != QMessageBox::NoButton)
        box.setDefaultButton(defaultButton);
    return QtMessageBox::exec(box);
}

} // namespace

QMessageBox::StandardButton QtMessageBox::critical(QWidget *parent, const QString &title,
    const QString &text, QMessageBox::StandardButtons buttons,
    QMessageBox::StandardButton defaultButton)
{
    return show(QMessageBox::Critical, parent, title, text, buttons, defaultButton);
}

QMessageBox::StandardButton QtMessageBox::warning(QWidget *parent, const QString &title,
    const QString &text, QMessageBox::StandardButtons buttons,
    QMessageBox::StandardButton defaultButton)
{
    return show(QMessageBox::Warning, parent, title, text, buttons, defaultButton);
}

QMessageBox::StandardButton QtMessageBox::question(QWidget *parent, const QString &title,
    const QString &text, QMessageBox::StandardButtons buttons,
    QMessageBox::StandardButton defaultButton)
{
    return show(QMessageBox::Question, parent, title, text, buttons, defaultButton);
}

QMessageBox::StandardButton QtMessageBox::information(QWidget *parent, const QString &title,
    const QString &text, QMessageBox::StandardButtons buttons,
    QMessageBox::StandardButton defaultButton)
{
    return show(QMessageBox::Information, parent, title, text, buttons, defaultButton);
}

QMessageBox::StandardButton QtMessageBox::exec(QMessageBox &box)
{
    if (execHook())
        execHook()(&box);
    box.exec();
    // QMessageBox::exec() answers with a button id only for standard buttons;
    // go through clickedButton() so that Escape or a closed window reads as
    // NoButton rather than an unrelated value.
    QAbstractButton *clicked = box.clickedButton();
    return clicked ? box.standardButton(clicked) : QMessageBox::NoButton;
}

QtMessageBox::ExecHook QtMessageBox::setExecHook(ExecHook hook)
{
    ExecHook old = std::move(execHook());
    execHook() = std::move(hook);
    return old;
}
