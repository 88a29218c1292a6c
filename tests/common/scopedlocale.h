#pragma once

#include <QLocale>

/// The default locale, the one new widgets and validators take, set for
/// one scope: a test's rows can each run under a locale of their own.
class ScopedDefaultLocale
{
public:
    explicit ScopedDefaultLocale(const QString &name) { QLocale::setDefault(QLocale(name)); }
    ~ScopedDefaultLocale() { QLocale::setDefault(previous); }
    ScopedDefaultLocale(const ScopedDefaultLocale &) = delete;
    ScopedDefaultLocale &operator=(const ScopedDefaultLocale &) = delete;

private:
    const QLocale previous;
};
