#pragma once

#include "widgetutilsexport.h"

#include <QIntValidator>

/// An integer validator whose accepted texts read back as the numbers they
/// show. QIntValidator follows its locale and accepts group separators
/// ("6,174", or "6.174" in German), which a plain decimal conversion then
/// reads as 0. This one refuses group separators, so a comma or a dot cannot
/// be typed, and value() reads an accepted text with the validator's own
/// locale (its digits, its sign). Changing the locale later with setLocale()
/// drops the refusal.
class WIDGETUTILS_EXPORT QtIntValidator : public QIntValidator
{
    Q_OBJECT

public:
    QtIntValidator(int bottom, int top, QObject *parent);

    /// The number that `text` (blanks at both ends ignored) stands for, read
    /// as this validator reads it; 0 with `ok` false when it is not a whole
    /// number. Range is not checked: validate() does that.
    qlonglong value(const QString &text, bool *ok = nullptr) const;
};
