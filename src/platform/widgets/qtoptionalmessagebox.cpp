#include "qtoptionalmessagebox.h"

#include "qtmessagebox.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QSettings>

namespace {

QString settingsKey(const QString &key)
{
    return QtOptionalMessageBox::settingsGroup() + QLatin1Char('/') + key;
}

// The remembered answer, or NoButton when there is none that fits `buttons`.
QMessageBox::StandardButton rememberedAnswer(
    const QString &key, QMessageBox::StandardButtons buttons)
{
    if (key.isEmpty())
        return QMessageBox::NoButton;
    const QVariant stored = QSettings().value(settingsKey(key));
    bool ok = false;
    const uint value = stored.toUInt(&ok);
    if (!ok || value == QMessageBox::NoButton)
        return QMessageBox::NoButton;
    const auto button = static_cast<QMessageBox::StandardButton>(value);
    // Exactly one known button, and one that the caller offers.
    if ((value & (value - 1)) != 0 || !buttons.testFlag(button))
        return QMessageBox::NoButton;
    return button;
}

QMessageBox::StandardButton show(QMessageBox::Icon icon, QWidget *parent, const QString &key,
    const QString &title, const QString &text, QMessageBox::StandardButtons buttons,
    QMessageBox::StandardButton defaultButton, QMessageBox::StandardButton neverRemembered)
{
    const QMessageBox::StandardButton remembered = rememberedAnswer(key, buttons);
    if (remembered != QMessageBox::NoButton && remembered != neverRemembered)
        return remembered;

    QMessageBox box(icon, title, text, buttons, parent);
    if (defaultButton != QMessageBox::NoButton)
        box.setDefaultButton(defaultButton);
    if (!key.isEmpty())
        box.setCheckBox(new QCheckBox(
            QCoreApplication::translate("QtOptionalMessageBox", "Do not show this again")));
    const QMessageBox::StandardButton answer = QtMessageBox::exec(box);

    if (box.checkBox() && box.checkBox()->isChecked() && answer != QMessageBox::NoButton
        && answer != neverRemembered) {
        QSettings settings;
        settings.setValue(settingsKey(key), static_cast<uint>(answer));
    }
    return answer;
}

} // namespace

QMessageBox::StandardButton QtOptionalMessageBox::question(QWidget *parent, const QString &key,
    const QString &title, const QString &text, QMessageBox::StandardButtons buttons,
    QMessageBox::StandardButton defaultButton, QMessageBox::StandardButton neverRemembered)
{
    return show(
        QMessageBox::Question, parent, key, title, text, buttons, defaultButton, neverRemembered);
}

QMessageBox::StandardButton QtOptionalMessageBox::warning(QWidget *parent, const QString &key,
    const QString &title, const QString &text, QMessageBox::StandardButtons buttons,
    QMessageBox::StandardButton defaultButton, QMessageBox::StandardButton neverRemembered)
{
    return show(
        QMessageBox::Warning, parent, key, title, text, buttons, defaultButton, neverRemembered);
}

bool QtOptionalMessageBox::isSilenced(const QString &key)
{
    // Every standard button, Ok (0x400) to RestoreDefaults (0x8000000).
    return rememberedAnswer(key, QMessageBox::StandardButtons(0x0ffffc00)) != QMessageBox::NoButton;
}

void QtOptionalMessageBox::forget(const QString &key)
{
    if (key.isEmpty())
        return;
    QSettings().remove(settingsKey(key));
}

void QtOptionalMessageBox::forgetAll() { QSettings().remove(settingsGroup()); }

QString QtOptionalMessageBox::settingsGroup() { return QStringLiteral("QtOptionalMessageBox"); }
