#include "kvcversion.h"

#include <QtTest>

class KvcVersionTest : public QObject
{
    Q_OBJECT

private slots:
    void recordsHoldTheReleaseValues()
    {
        const QStringList expectedInfo {
            "2.1.0", "Jun-10-2024", "3736", "Jun-10-2024 19:18:11", "4121", "kivoClientLib"};
        QCOMPARE(KvcClientLibVersionInfo(), expectedInfo);
        const QStringList expectedDeps {
            "utils/script_utils", "3871", "utils/widget_utils", "3700", "kivoCommLib", "3736"};
        QCOMPARE(KvcClientLibRevisionDependencies(), expectedDeps);
    }

    void everyCallReturnsTheSameObject()
    {
        QCOMPARE(&KvcClientLibVersionInfo(), &KvcClientLibVersionInfo());
        QCOMPARE(&KvcClientLibRevisionDependencies(), &KvcClientLibRevisionDependencies());
    }
};

QTEST_GUILESS_MAIN(KvcVersionTest)
#include "tst_kvcversion.moc"
