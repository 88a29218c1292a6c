#include "kvcversion.h"

#include <QRegularExpression>
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

    void valuesKeepTheirForms()
    {
        const QStringList &info = KvcClientLibVersionInfo();
        QVERIFY(QRegularExpression("^\\d+\\.\\d+\\.\\d+$").match(info[0]).hasMatch());
        const QString date = "(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec)-\\d\\d-\\d{4}";
        QVERIFY(QRegularExpression("^" + date + "$").match(info[1]).hasMatch());
        QVERIFY(
            QRegularExpression("^" + date + " \\d\\d:\\d\\d:\\d\\d$").match(info[3]).hasMatch());
        for (int i : {2, 4})
            QVERIFY(QRegularExpression("^\\d+$").match(info[i]).hasMatch());
    }

    void everyCallReturnsTheSameObject()
    {
        QCOMPARE(&KvcClientLibVersionInfo(), &KvcClientLibVersionInfo());
        QCOMPARE(&KvcClientLibRevisionDependencies(), &KvcClientLibRevisionDependencies());
    }
};

QTEST_GUILESS_MAIN(KvcVersionTest)
#include "tst_kvcversion.moc"
