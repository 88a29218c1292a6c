#pragma once

#include "kvcommexport.h"

#include <QString>

/// Description of one monitor rule.
/// Layout (64-bit): name at 8, numTrackedData at 32.
struct KVCOMM_EXPORT KvCommClientTrackedRuleInfo {
    int id = -1; ///< number of the rule
    int firstTrackedData = 0; ///< id of the rule's first tracked value
    QString name;
    QString description;
    quint32 indexTypes = 0; ///< bit k set: the rule has index data of index type k
    quint32 reserved = 0;
    int numTrackedData = 0; ///< number of tracked values that the rule contributes
};
