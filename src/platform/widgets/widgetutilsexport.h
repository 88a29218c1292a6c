#pragma once

#include <QtCore/qglobal.h>

#if defined(WIDGETUTILS_BUILD)
#define WIDGETUTILS_EXPORT Q_DECL_EXPORT
#else
#define WIDGETUTILS_EXPORT Q_DECL_IMPORT
#endif
