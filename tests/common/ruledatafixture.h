#pragma once

#include <kvcommclientdata.h>

#include <QString>
#include <QVector>

// A simulation's rule data for the results tests, described rule by rule
// instead of built by hand: {{"R", {{"P"}, {"u", 0, 3}}}} is rule R with the
// scalar P and the 3 x 1 vector u. Rules and tracked values are numbered in
// order, as a simulator numbers them.
namespace RuleDataFixture {

struct ValueDesc {
    ValueDesc(
        const char *name, int indexedBy = 0, int rows = 1, int cols = 1, const char *unit = "")
        : name(QString::fromUtf8(name))
        , indexedBy(indexedBy)
        , rows(rows)
        , cols(cols)
        , unit(QString::fromUtf8(unit))
    { }

    QString name;
    // 0: not indexed; k: by the rule's index data of type k - 1.
    int indexedBy = 0;
    int rows = 1;
    int cols = 1;
    QString unit;
};

struct RuleDesc {
    QString name;
    QVector<ValueDesc> values;
};

using Rules = QVector<RuleDesc>;

// Hands `rules` to `store` as its rule data; false, with the store's reason in
// `error`, if it refuses them.
inline bool setRules(KvCommClientData &store, const Rules &rules, QString *error = nullptr)
{
    QVector<KvCommClientTrackedRuleInfo> ruleInfos;
    QVector<KvCommClientTrackedRuleDataInfo> infos;
    for (int r = 0; r < rules.size(); ++r) {
        KvCommClientTrackedRuleInfo rule;
        rule.id = r;
        rule.firstTrackedData = infos.size();
        rule.name = rules[r].name;
        rule.numTrackedData = rules[r].values.size();
        for (const ValueDesc &v : rules[r].values) {
            KvCommClientTrackedRuleDataInfo info;
            info.id = infos.size();
            info.ruleId = r;
            info.name = v.name;
            info.indexedBy = v.indexedBy;
            info.position = infos.size() - rule.firstTrackedData;
            info.unit = v.unit;
            info.numRows = v.rows;
            info.numCols = v.cols;
            infos.append(info);
            if (v.indexedBy > 0)
                rule.indexTypes |= 1u << (v.indexedBy - 1);
        }
        ruleInfos.append(rule);
    }
    return store.setRuleData(ruleInfos, infos, error);
}

} // namespace RuleDataFixture
