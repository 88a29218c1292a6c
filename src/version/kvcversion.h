#pragma once

#include "kvcexport.h"

#include <QStringList>

/// The library's release record, six plain strings: version number
/// ("2.1.0"), date ("Jun-10-2024"), revision, date and time
/// ("Jun-10-2024 19:18:11"), revision, library name ("kivoClientLib").
/// Built on the first call; safe to call from any thread; the reference stays
/// valid until the library is unloaded.
KVC_EXPORT const QStringList &KvcClientLibVersionInfo();

/// The libraries this build was made against, as three pairs of a library and
/// its revision: the script utility library, the GUI utility library and the
/// communication library. Same lifetime and thread-safety as above.
KVC_EXPORT const QStringList &KvcClientLibRevisionDependencies();
