#pragma once

#include <QtCore/qglobal.h>

#if defined(SCRIPTUTILS_BUILD)
#define SCRIPTUTILS_EXPORT Q_DECL_EXPORT
#else
#define SCRIPTUTILS_EXPORT Q_DECL_IMPORT
#endif
