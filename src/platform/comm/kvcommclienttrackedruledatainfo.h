#pragma once

#include "kvcommexport.h"

#include <QString>

/// Description of one tracked value.
/// Layout (64-bit): id 0, ruleId 4, name 8, indexedBy 24, unit 32,
/// numRows 40, numCols 44.
struct KVCOMM_EXPORT KvCommClientTrackedRuleDataInfo {
    int id = -1; ///< identifier of the tracked value (its number)
    int ruleId = -1; ///< rule that produces it
    QString name; ///< "time", "fem.iteration" and "fem.error" have special roles
    QString description;
    int indexedBy = 0; ///< 0: not indexed; k >= 1: indexed by the rule's index data of type k - 1
    int position = 0; ///< position of the value within its rule, from 0
    QString unit;
    int numRows = 1;
    int numCols = 1;

    int numComponents() const { return numRows * numCols; }
};
