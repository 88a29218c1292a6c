#include "kvcversion.h"

const QStringList &KvcClientLibVersionInfo()
{
    // Function-local static: built once, thread-safely, on first use.
    static const QStringList info = [] {
        QStringList list;
        list << QStringLiteral("2.1.0") << QStringLiteral("Jun-10-2024") << QStringLiteral("3736")
             << QStringLiteral("Jun-10-2024 19:18:11") << QStringLiteral("4121")
             << QStringLiteral("kivoClientLib");
        return list;
    }();
    return info;
}

const QStringList &KvcClientLibRevisionDependencies()
{
    static const QStringList dependencies = [] {
        QStringList list;
        list << QStringLiteral("utils/script_utils") << QStringLiteral("3871")
             << QStringLiteral("utils/widget_utils") << QStringLiteral("3700")
             << QStringLiteral("kivoCommLib") << QStringLiteral("3736");
        return list;
    }();
    return dependencies;
}
