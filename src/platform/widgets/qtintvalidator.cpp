#include "qtintvalidator.h"

QtIntValidator::QtIntValidator(int bottom, int top, QObject *parent)
    : QIntValidator(bottom, top, parent)
{
    QLocale numbers = locale();
    numbers.setNumberOptions(numbers.numberOptions() | QLocale::RejectGroupSeparator);
    setLocale(numbers);
}

qlonglong QtIntValidator::value(const QString &text, bool *ok) const
{
    return locale().toLongLong(text.trimmed(), ok);
}
