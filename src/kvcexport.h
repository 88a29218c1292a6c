#pragma once

#include <QtCore/qglobal.h>

#if defined(KIVOCLIENTLIB_BUILD)
#define KVC_EXPORT Q_DECL_EXPORT
#else
#define KVC_EXPORT Q_DECL_IMPORT
#endif

// Classes that hosts never see (the runner, the internal dialogs) are
// exported only in builds with tests, which reach them directly.
#if defined(KVC_TESTING_EXPORTS)
#define KVC_TESTING_EXPORT KVC_EXPORT
#else
#define KVC_TESTING_EXPORT
#endif
