#pragma once

#include <QtCore/qglobal.h>

#if defined(KIVOCLIENTLIB_BUILD)
#define KVC_EXPORT Q_DECL_EXPORT
#else
#define KVC_EXPORT Q_DECL_IMPORT
#endif

// Internal classes that the tests and benchmarks reach directly (the runner,
// the internal dialogs, the results view's chart drawing and log buffer) are
// exported only from a library built with its tests or benchmarks.
// Installing such a build installs that library too, internal symbols and
// all; what keeps them from being API is that their headers are not
// installed (kvcexecuter.h is, as the manager's signatures name the class)
// and that hosts compile without KVC_TESTING_EXPORTS. A build for packaging turns the tests and
// benchmarks off.
#if defined(KVC_TESTING_EXPORTS)
#define KVC_TESTING_EXPORT KVC_EXPORT
#else
#define KVC_TESTING_EXPORT
#endif
