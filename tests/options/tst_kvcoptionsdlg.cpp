#include "kvcoptions.h"
#include "kvcoptionsdlg.h"
#include "modalanswerer.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <QtTest>

class KvcOptionsDlgTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QCOMPARE(visibleTopLevelWidgets(), 0); }

    void formSitsBetweenTheInfoAndTheButtons()
    {
        KvcOptions options;
        KvcOptionsDlg dlg(&options, QString());
        QCOMPARE(dlg.windowTitle(), QString("Run options"));
        QVERIFY(!dlg.parentWidget());
        auto *layout = dlg.findChild<QVBoxLayout *>("verticalLayout");
        QVERIFY(layout);
        QCOMPARE(layout->itemAt(0)->layout()->objectName(), QString("infoLayout"));
        QCOMPARE(layout->itemAt(1)->widget()->objectName(), QString("KvcOptionsWidget"));
        QVERIFY(layout->itemAt(2)->spacerItem());
        QCOMPARE(layout->itemAt(3)->layout()->objectName(), QString("buttonLayout"));
        // The logo, shrunk to fit beside the title.
        const QLabel *logo = dlg.findChild<QLabel *>("label_6");
        QVERIFY(!logo->pixmap(Qt::ReturnByValue).isNull());
        QVERIFY(logo->hasScaledContents());
        QCOMPARE(logo->maximumSize(), QSize(100, 100));
    }

    // Whatever the form refuses, the dialog says in a box and stays open
    // with the entries as they were.
    void refusedEntriesKeepTheDialogOpen()
    {
        KvcOptions options;
        KvcOptionsDlg dlg(&options, QString());
        dlg.show();
        dlg.findChild<QLineEdit *>("configFileLed")->setText("c.lua");
        for (const char *name : {"monitorChk", "localChk"})
            dlg.findChild<QCheckBox *>(name)->setChecked(true);

        ModalAnswerer answerer;
        answerer.queueAnswer(QMessageBox::Ok);
        dlg.findChild<QPushButton *>("okBtn")->click();
        QCOMPARE(answerer.count(), 1);
        const SeenBox box = answerer.last();
        QCOMPARE(box.icon, QMessageBox::Critical);
        QCOMPARE(box.title, QString("Error..."));
        QCOMPARE(box.text,
            QString("-monitor, -nomonitor and -local options can not be used together.\n\n"));
        QCOMPARE(box.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
        QVERIFY(!box.hasParent);

        QVERIFY(dlg.isVisible());
        QCOMPARE(dlg.findChild<QLineEdit *>("configFileLed")->text(), QString("c.lua"));
        QVERIFY(options.toParamList(true).isEmpty());
        dlg.reject();
    }

    void okStoresValidEntriesCancelKeepsTheRecord_data()
    {
        QTest::addColumn<bool>("ok");
        QTest::newRow("ok") << true;
        QTest::newRow("cancel") << false;
    }

    void okStoresValidEntriesCancelKeepsTheRecord()
    {
        QFETCH(bool, ok);
        KvcOptions options;
        options.enableAutoMonitorOptions();
        const QStringList before = options.toParamList(true);
        KvcOptionsDlg dlg(&options, QString());
        dlg.show();
        dlg.findChild<QCheckBox *>("autoMonitorChk")->setChecked(false);
        dlg.findChild<QCheckBox *>("localChk")->setChecked(false);
        dlg.findChild<QCheckBox *>("monitorChk")->setChecked(true);
        dlg.findChild<QLineEdit *>("userParamsLed")->setText(" n=4 ");
        ModalAnswerer answerer;
        dlg.findChild<QPushButton *>(ok ? "okBtn" : "cancelBtn")->click();
        QCOMPARE(answerer.count(), 0);
        QCOMPARE(dlg.result(), int(ok ? QDialog::Accepted : QDialog::Rejected));
        QVERIFY(!dlg.isVisible());
        const QStringList stored {"-u", "n=4", "-monitor", "-wait", "2000", "-noserver"};
        QCOMPARE(options.toParamList(true), ok ? stored : before);
        QCOMPARE(options.autoMonitor, !ok);
    }

    void escapeRejectsARunningDialog()
    {
        KvcOptions options;
        KvcOptionsDlg dlg(&options, QString());
        handleNextModal([](QWidget *w) { QTest::keyClick(w, Qt::Key_Escape); }, "KvcOptionsDlg");
        QCOMPARE(dlg.exec(), int(QDialog::Rejected));
    }
};

QTEST_MAIN(KvcOptionsDlgTest)
#include "tst_kvcoptionsdlg.moc"
