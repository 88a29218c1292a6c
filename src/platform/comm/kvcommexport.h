#pragma once

#include <QtCore/qglobal.h>

#if defined(KIVOCOMMLIB_BUILD)
#define KVCOMM_EXPORT Q_DECL_EXPORT
#else
#define KVCOMM_EXPORT Q_DECL_IMPORT
#endif
