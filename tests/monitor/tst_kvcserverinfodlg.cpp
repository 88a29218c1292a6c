#include "kvcommclient.h"
#include "kvcserverinfodlg.h"
#include "modalanswerer.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QtTest>

class KvcServerInfoDlgTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QCOMPARE(visibleTopLevelWidgets(), 0); }

    void clientWithoutSimulationDataLeavesTheModelEmpty()
    {
        KvCommClient client;
        KvcServerInfoDlg dlg(&client);
        QCOMPARE(dlg.windowTitle(), QString("Server info"));
        QVERIFY(!dlg.parentWidget());
        // The placeholders are replaced even by empty texts.
        QCOMPARE(dlg.findChild<QLabel *>("versionLbl")->text(), client.version());
        QCOMPARE(dlg.findChild<QLabel *>("revisionLbl")->text(), client.revision());
        for (const char *name : {"serverCancelChk", "serverTerminateChk", "serverLogChk"})
            QVERIFY2(!dlg.findChild<QCheckBox *>(name)->isChecked(), name);
        QVERIFY(dlg.findChild<QLineEdit *>("nameLed")->text().isEmpty());
        QVERIFY(dlg.findChild<QPlainTextEdit *>("descriptionTed")->toPlainText().isEmpty());
        QCOMPARE(dlg.findChild<QListWidget *>("filesLst")->count(), 0);
    }

    void nothingCanBeEdited()
    {
        KvCommClient client;
        KvcServerInfoDlg dlg(&client);
        for (const char *name : {"serverCancelChk", "serverTerminateChk", "serverLogChk"})
            QVERIFY2(!dlg.findChild<QCheckBox *>(name)->isEnabled(), name);
        auto *nameLed = dlg.findChild<QLineEdit *>("nameLed");
        QVERIFY(nameLed->isEnabled() && nameLed->isReadOnly());
        auto *description = dlg.findChild<QPlainTextEdit *>("descriptionTed");
        QVERIFY(description->isEnabled() && description->isReadOnly());
        QCOMPARE(dlg.findChild<QListWidget *>("filesLst")->editTriggers(),
            QAbstractItemView::NoEditTriggers);
    }

    void okAccepts()
    {
        KvCommClient client;
        KvcServerInfoDlg dlg(&client);
        const QPixmap logo = dlg.findChild<QLabel *>("label_6")->pixmap(Qt::ReturnByValue);
        QCOMPARE(logo.size(), QSize(128, 128));
        handleNextModal(
            [](QWidget *w) { w->findChild<QPushButton *>("okBtn")->click(); }, "KvcServerInfoDlg");
        QCOMPARE(dlg.exec(), int(QDialog::Accepted));
    }
};

QTEST_MAIN(KvcServerInfoDlgTest)
#include "tst_kvcserverinfodlg.moc"
