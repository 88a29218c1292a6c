#include "kvcommclient.h"
#include "kvcommserver.h"
#include "kvcserverinfodlg.h"
#include "modalanswerer.h"

#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QtTest>

#include <memory>

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
        QVERIFY(!dlg.findChild<QLabel *>("label_6")->pixmap(Qt::ReturnByValue).isNull());
        handleNextModal(
            [](QWidget *w) { w->findChild<QPushButton *>("okBtn")->click(); }, "KvcServerInfoDlg");
        QCOMPARE(dlg.exec(), int(QDialog::Accepted));
    }

    void showsWhatTheServerReported_data()
    {
        QTest::addColumn<quint32>("options");
        QTest::addColumn<bool>("withInfo");

        QTest::newRow("cancel and terminate, model info") << quint32(6) << true;
        QTest::newRow("log only, model info") << quint32(1) << true;
        QTest::newRow("everything, no model info yet") << quint32(7) << false;
    }

    void showsWhatTheServerReported()
    {
        QFETCH(quint32, options);
        QFETCH(bool, withInfo);

        KvCommServer server;
        server.setIdentity("2.1.0", "r4711");
        server.setControlOptions(options);
        const QStringList files {"models/heat/plate.lua", "lib/mesh.lua"};
        if (withInfo)
            server.publishSimulationInfo("plate", "A heated plate.\nTwo lines.", files,
                QDateTime::currentDateTime(), QDateTime());
        QVERIFY2(server.listen(QHostAddress::LocalHost, 0), qPrintable(server.errorString()));

        KvCommClient client;
        QSignalSpy connected(&client, &KvCommClient::serverConnected);
        client.connectToServer("127.0.0.1", server.serverPort(), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(connected.count(), 1, 10000);

        KvcServerInfoDlg dlg(&client);
        QCOMPARE(dlg.findChild<QLabel *>("versionLbl")->text(), QString("2.1.0"));
        QCOMPARE(dlg.findChild<QLabel *>("revisionLbl")->text(), QString("r4711"));
        QCOMPARE(dlg.findChild<QCheckBox *>("serverCancelChk")->isChecked(), bool(options & 2));
        QCOMPARE(dlg.findChild<QCheckBox *>("serverTerminateChk")->isChecked(), bool(options & 4));
        QCOMPARE(dlg.findChild<QCheckBox *>("serverLogChk")->isChecked(), bool(options & 1));

        auto *list = dlg.findChild<QListWidget *>("filesLst");
        if (withInfo) {
            QCOMPARE(dlg.findChild<QLineEdit *>("nameLed")->text(), QString("plate"));
            QCOMPARE(dlg.findChild<QPlainTextEdit *>("descriptionTed")->toPlainText(),
                QString("A heated plate.\nTwo lines."));
            QCOMPARE(list->count(), 2);
            QCOMPARE(list->item(0)->text(), QDir::toNativeSeparators(files.at(0)));
            QCOMPARE(list->item(1)->text(), QDir::toNativeSeparators(files.at(1)));
        } else {
            QVERIFY(dlg.findChild<QLineEdit *>("nameLed")->text().isEmpty());
            QVERIFY(dlg.findChild<QPlainTextEdit *>("descriptionTed")->toPlainText().isEmpty());
            QCOMPARE(list->count(), 0);
        }
        client.disconnectFromServer();
    }
};

QTEST_MAIN(KvcServerInfoDlgTest)
#include "tst_kvcserverinfodlg.moc"
