#pragma once

#include "kvcommexport.h"

#include <QMetaType>

/// Simulation status as reported by a monitoring server. Unscoped on purpose:
/// receivers take it as an int.
enum KvCommSimulationStatus : qint32 {
    KvCommStatusNone = 0, ///< nothing reported yet
    KvCommStatusLoading = 1, ///< the simulation is loading its model
    KvCommStatusRunning = 2, ///< the simulation is running
    KvCommStatusFinished = 3, ///< the simulation has finished
    KvCommStatusCanceled = 4, ///< the simulation was cancelled
    KvCommStatusAborted = 5 ///< the simulation was aborted
};

/// Single-bit flags: a control request, or (combined) what a server announced.
enum KvCommControlOptions : quint32 {
    KvCommControlLog = 1, ///< the server sends the simulation's log messages
    KvCommControlCancel = 2, ///< cancel requests are accepted
    KvCommControlTerminate = 4 ///< termination requests are accepted
};

Q_DECLARE_METATYPE(KvCommSimulationStatus)
Q_DECLARE_METATYPE(KvCommControlOptions)
