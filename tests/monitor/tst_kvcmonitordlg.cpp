#include "formhelpers.h"
#include "kvcmonitordlg.h"
#include "kvcommclient.h"
#include "kvcommserver.h"
#include "modalanswerer.h"
#include "qtoptionalmessagebox.h"
#include "scopedlocale.h"
#include "scriptfile.h"

#include <QCheckBox>
#include <QComboBox>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QToolButton>
#include <QUuid>
#include <QtTest>

#include <memory>

using ServerAddress = QPair<QString, unsigned int>;

namespace {

const QString group = QStringLiteral("server_list");

QStringList itemTexts(const QComboBox *box)
{
    QStringList texts;
    for (int i = 0; i < box->count(); ++i)
        texts << box->itemText(i);
    return texts;
}

// What the saved-server list holds, one "name=host:port" per entry after entry 0.
QStringList savedServers(const QComboBox *box)
{
    QStringList servers;
    for (int i = 1; i < box->count(); ++i) {
        const ServerAddress a = box->itemData(i).value<ServerAddress>();
        servers << QStringLiteral("%1=%2:%3").arg(box->itemText(i), a.first).arg(a.second);
    }
    return servers;
}

} // namespace

class KvcMonitorDlgTest : public QObject
{
    Q_OBJECT

private:
    ScriptFiles dir;

    static void store(const QVariant &names, const QVariant &addresses)
    {
        QSettings settings;
        if (names.isValid())
            settings.setValue(group + "/server_names", names);
        if (addresses.isValid())
            settings.setValue(group + "/server_addresses", addresses);
    }

    static QComboBox *servers(QDialog &dlg) { return dlg.findChild<QComboBox *>("serversCmb"); }
    static QComboBox *address(QDialog &dlg) { return dlg.findChild<QComboBox *>("addressCmb"); }
    static QLineEdit *port(QDialog &dlg) { return dlg.findChild<QLineEdit *>("portLed"); }
    static QLineEdit *timeout(QDialog &dlg) { return dlg.findChild<QLineEdit *>("timeoutLed"); }
    static void click(QDialog &dlg, const char *name)
    {
        dlg.findChild<QAbstractButton *>(name)->click();
    }

    // Answers the next QInputDialog with `text` (or cancels it when null).
    static void answerName(const QString &text, QString *title = nullptr, QString *label = nullptr)
    {
        handleNextModal(
            [=](QWidget *w) {
                auto *input = qobject_cast<QInputDialog *>(w);
                if (title)
                    *title = input->windowTitle();
                if (label)
                    *label = input->labelText();
                if (text.isNull()) {
                    input->reject();
                    return;
                }
                input->setTextValue(text);
                input->accept();
            },
            "QInputDialog");
    }

    // Fills in an address and a port and starts connecting.
    static void startAttempt(QDialog &dlg, const QString &host, quint16 portNumber)
    {
        address(dlg)->setEditText(host);
        port(dlg)->setText(QString::number(portNumber));
        click(dlg, "connectBtn");
    }

    // Back in (or still in) the editing state: both buttons usable, no progress shown.
    static void checkEditing(QDialog &dlg)
    {
        QVERIFY(dlg.findChild<QPushButton *>("connectBtn")->isEnabled());
        QVERIFY(dlg.findChild<QPushButton *>("cancelBtn")->isEnabled());
        QVERIFY(!dlg.findChild<QLabel *>("connectingLbl")->isVisible());
    }

    static void checkError(const ModalAnswerer &answerer)
    {
        QCOMPARE(answerer.last().icon, QMessageBox::Critical);
        QCOMPARE(answerer.last().title, QString("Error..."));
        QVERIFY(answerer.last().hasParent);
    }

private slots:
    void initTestCase()
    {
        qRegisterMetaType<KvCommClient *>();
        QStandardPaths::setTestModeEnabled(true);
        QCoreApplication::setOrganizationName(
            "kvc-test-" + QUuid::createUuid().toString(QUuid::WithoutBraces));
        QCoreApplication::setApplicationName("tst_kvcmonitordlg");
    }

    void init()
    {
        QSettings settings;
        settings.clear();
    }

    void cleanup() { QCOMPARE(visibleTopLevelWidgets(), 0); }

    void cleanupTestCase()
    {
        QSettings settings;
        settings.clear();
        settings.sync();
        QFile::remove(settings.fileName());
    }

    void startsInTheEditingStateWithItsFormInOrder()
    {
        ModalAnswerer answerer;
        KvcMonitorDlg dlg(group, dir.path(), 5);
        QCOMPARE(answerer.count(), 0);
        QCOMPARE(dlg.windowTitle(), QString("Monitor simulation"));
        QVERIFY(!dlg.parentWidget());
        QCOMPARE(itemTexts(servers(dlg)), QStringList {QString()});
        QCOMPARE(timeout(dlg)->text(), QString("5"));
        QVERIFY(port(dlg)->text().isEmpty());
        QVERIFY(!dlg.showServerInfo());
        dlg.findChild<QCheckBox *>("showInfoChk")->setChecked(true);
        QVERIFY(dlg.showServerInfo());
        dlg.show();
        QVERIFY(!dlg.findChild<QLabel *>("connectingLbl")->isVisible());
        QVERIFY(!dlg.findChild<QProgressBar *>("connectingBar")->isVisible());
        QVERIFY(!dlg.findChild<QToolButton *>("addServerBtn")->icon().isNull());
        auto *connectBtn = dlg.findChild<QPushButton *>("connectBtn");
        QVERIFY(connectBtn->isDefault());
        QVERIFY(!connectBtn->autoDefault());
        dlg.reject();
        QCOMPARE(dlg.result(), int(QDialog::Rejected));

        // The address list offers this machine once, by name, without IPv6 addresses.
        const QStringList items = itemTexts(address(dlg));
        QCOMPARE(items.value(0), QString("localhost"));
        QCOMPARE(address(dlg)->currentText(), QString("localhost"));
        QVERIFY(!items.contains("127.0.0.1"));
        for (const QString &item : items)
            QVERIFY2(!item.contains(':'), qPrintable(item)); // no IPv6 addresses
        QVERIFY(address(dlg)->isEditable());
        QCOMPARE(items.count("localhost"), 1);
        const QStringList expected {"serversCmb", "addServerBtn", "removeServerBtn", "addressCmb",
            "portLed", "openLed", "timeoutLed", "showInfoChk", "connectBtn", "cancelBtn"};
        QCOMPARE(focusChain(dlg, expected), expected);
    }

    void loadingSavedServers_data()
    {
        QTest::addColumn<QVariant>("names");
        QTest::addColumn<QVariant>("addresses");
        QTest::addColumn<QStringList>("loaded");
        QTest::addColumn<bool>("warned");

        QTest::newRow("no keys: empty entry only, no message")
            << QVariant() << QVariant() << QStringList() << false;
        QTest::newRow("two servers in order")
            << QVariant(QStringList {"lab", "home"})
            << QVariant(QStringList {"10.0.0.5", "6174", "kivo.example", "7000"})
            << QStringList {"lab=10.0.0.5:6174", "home=kivo.example:7000"} << false;
        QTest::newRow("a single server read back as a plain string")
            << QVariant(QString("lab")) << QVariant(QStringList {"10.0.0.5", "6174"})
            << QStringList {"lab=10.0.0.5:6174"} << false;
        QTest::newRow("port 70000 loads as it is")
            << QVariant(QStringList {"far"}) << QVariant(QStringList {"h", "70000"})
            << QStringList {"far=h:70000"} << false;
        QTest::newRow("two names with three addresses: nothing loaded")
            << QVariant(QStringList {"a", "b"}) << QVariant(QStringList {"h1", "1", "h2"})
            << QStringList() << true;
        QTest::newRow("one name with four addresses: nothing loaded")
            << QVariant(QStringList {"a"}) << QVariant(QStringList {"h1", "1", "h2", "2"})
            << QStringList() << true;
        QTest::newRow("names without addresses: nothing loaded")
            << QVariant(QStringList {"a"}) << QVariant() << QStringList() << true;
        QTest::newRow("second port not a number: first server kept")
            << QVariant(QStringList {"a", "b", "c"})
            << QVariant(QStringList {"h1", "1", "h2", "x2", "h3", "3"}) << QStringList {"a=h1:1"}
            << true;
        QTest::newRow("negative port")
            << QVariant(QStringList {"a"}) << QVariant(QStringList {"h1", "-1"}) << QStringList()
            << true;
        QTest::newRow("names stored as a number")
            << QVariant(42) << QVariant() << QStringList() << true;
        QTest::newRow("addresses stored as a map")
            << QVariant(QStringList {"a"}) << QVariant(QVariantMap {{"h", 1}}) << QStringList()
            << true;
        QTest::newRow("list holding a non-text value")
            << QVariant(QStringList {"a"}) << QVariant(QVariantList {"h", QVariant(QSize(1, 2))})
            << QStringList() << true;
        QTest::newRow("byte garbage") << QVariant(QByteArray("\x00\xff\x01", 3))
                                      << QVariant(QByteArray("\x7f", 1)) << QStringList() << true;
    }

    void loadingSavedServers()
    {
        QFETCH(QVariant, names);
        QFETCH(QVariant, addresses);
        QFETCH(QStringList, loaded);
        QFETCH(bool, warned);

        store(names, addresses);
        const QStringList keysBefore = QSettings().allKeys();
        ModalAnswerer answerer;
        KvcMonitorDlg dlg(group, dir.path(), 5);
        QCOMPARE(savedServers(servers(dlg)), loaded);
        QCOMPARE(servers(dlg)->itemText(0), QString());
        QVERIFY(!servers(dlg)->itemData(0).isValid());
        QCOMPARE(answerer.count(), warned ? 1 : 0);
        if (warned) {
            const SeenBox box = answerer.last();
            QCOMPARE(box.icon, QMessageBox::Warning);
            QCOMPARE(box.title, QString("Error..."));
            QCOMPARE(box.text, QString("Error loading saved server configurations."));
            QCOMPARE(box.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
            QCOMPARE(box.defaultButton, QMessageBox::NoButton);
            QVERIFY(box.hasParent);
            QVERIFY(box.hasCheckBox);
        }
        // Loading never writes.
        QCOMPARE(QSettings().allKeys(), keysBefore);
        QCOMPARE(QSettings().value(group + "/server_names"), names);
    }

    void silencedWarningIsNotShownAgain()
    {
        QtOptionalMessageBox::forgetAll();
        store(QStringList {"a", "b"}, QStringList {"h"});
        ModalAnswerer answerer;
        answerer.queueAnswer(QMessageBox::Ok, true);
        {
            KvcMonitorDlg dlg(group, dir.path(), 5);
        }
        {
            KvcMonitorDlg dlg(group, dir.path(), 5);
        }
        QCOMPARE(answerer.count(), 1);
        QtOptionalMessageBox::forgetAll();
    }

    void selectingAServerFillsTheFields()
    {
        store(
            QStringList {"lab", "home"}, QStringList {"10.0.0.5", "6174", "kivo.example", "7000"});
        KvcMonitorDlg dlg(group, dir.path(), 5);
        servers(dlg)->setCurrentIndex(2);
        QCOMPARE(address(dlg)->currentText(), QString("kivo.example"));
        QCOMPARE(port(dlg)->text(), QString("7000"));
        QCOMPARE(servers(dlg)->currentIndex(), 2);

        // Back to the empty entry: the fields keep their text.
        servers(dlg)->setCurrentIndex(0);
        QCOMPARE(address(dlg)->currentText(), QString("kivo.example"));
        QCOMPARE(port(dlg)->text(), QString("7000"));

        servers(dlg)->setCurrentIndex(1);
        QTest::keyClick(address(dlg)->lineEdit(), Qt::Key_X);
        QCOMPARE(address(dlg)->currentText(), QString("10.0.0.5x"));
        QCOMPARE(servers(dlg)->currentIndex(), 0);

        servers(dlg)->setCurrentIndex(1);
        port(dlg)->setText("6175");
        QCOMPARE(servers(dlg)->currentIndex(), 0);

        servers(dlg)->setCurrentIndex(1);
        address(dlg)->setCurrentIndex(0); // picked from the address list
        QCOMPARE(servers(dlg)->currentIndex(), 0);
    }

    void addingAServer_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("name"); // null: the name dialog is cancelled
        QTest::addColumn<QStringList>("saved");
        QTest::newRow("trimmed host, name kept as typed")
            << "  10.0.0.5 "
            << " lab " << QStringList {" lab =10.0.0.5:6174"};
        QTest::newRow("blank name adds nothing") << "h"
                                                 << "   " << QStringList();
        QTest::newRow("cancelled name adds nothing") << "h" << QString() << QStringList();
    }

    void addingAServer()
    {
        QFETCH(QString, host);
        QFETCH(QString, name);
        QFETCH(QStringList, saved);
        ModalAnswerer answerer;
        KvcMonitorDlg dlg(group, dir.path(), 5);
        address(dlg)->setEditText(host);
        port(dlg)->setText("6174");
        QString title, label;
        answerName(name, &title, &label);
        click(dlg, "addServerBtn");

        QCOMPARE(answerer.count(), 0);
        QCOMPARE(title, QString("Server name"));
        QCOMPARE(label, QString("Server name:"));
        QCOMPARE(savedServers(servers(dlg)), saved);
        if (saved.isEmpty()) {
            QVERIFY(!QSettings().contains(group + "/server_names"));
        } else {
            QCOMPARE(servers(dlg)->currentIndex(), servers(dlg)->count() - 1);
            QCOMPARE(address(dlg)->currentText(), host.trimmed());
            QCOMPARE(QSettings().value(group + "/server_names").toStringList(), QStringList {name});
        }
    }

    void sameNameTwiceAndRemoval()
    {
        store(QStringList {"old"}, QStringList {"h0", "1"});
        QSettings().setValue(group + "/unrelated", 1);
        KvcMonitorDlg dlg(group, dir.path(), 5);

        // Remove while the empty entry is current: nothing happens, nothing is written.
        click(dlg, "removeServerBtn");
        QCOMPARE(savedServers(servers(dlg)), QStringList {"old=h0:1"});
        QVERIFY(QSettings().contains(group + "/unrelated"));

        for (int i = 0; i < 2; ++i) {
            address(dlg)->setEditText("h");
            port(dlg)->setText(QString::number(10 + i));
            answerName("twin");
            click(dlg, "addServerBtn");
        }
        QCOMPARE(savedServers(servers(dlg)), (QStringList {"old=h0:1", "twin=h:10", "twin=h:11"}));
        QCOMPARE(QSettings().value(group + "/server_addresses").toStringList(),
            (QStringList {"h0", "1", "h", "10", "h", "11"}));
        QVERIFY(!QSettings().contains(group + "/unrelated")); // the group is rewritten whole

        servers(dlg)->setCurrentIndex(2);
        click(dlg, "removeServerBtn");
        QCOMPARE(servers(dlg)->currentIndex(), 0);
        QCOMPARE(savedServers(servers(dlg)), (QStringList {"old=h0:1", "twin=h:11"}));
        QCOMPARE(address(dlg)->currentText(), QString("h"));
        QCOMPARE(port(dlg)->text(), QString("10"));
        QCOMPARE(QSettings().value(group + "/server_names").toStringList(),
            (QStringList {"old", "twin"}));

        // A new dialog finds what was saved.
        {
            KvcMonitorDlg again(group, dir.path(), 5);
            QCOMPARE(savedServers(servers(again)), (QStringList {"old=h0:1", "twin=h:11"}));
        }

        // Down to one server, then none: both read back without a warning.
        ModalAnswerer answerer;
        for (int left = 1; left >= 0; --left) {
            servers(dlg)->setCurrentIndex(1);
            click(dlg, "removeServerBtn");
            KvcMonitorDlg again(group, dir.path(), 5);
            QCOMPARE(servers(again)->count(), left + 1);
        }
        QCOMPARE(answerer.count(), 0);
    }

    void connectionFiles_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QStringList>("addresses");
        QTest::addColumn<QString>("portText");
        QTest::addColumn<QString>("error");

        QTest::newRow("addresses: all offered, first chosen")
            << QByteArray("port = 6174 addresses = {'10.0.0.5', 'kivo.example'} ip = 'x'")
            << QStringList {"10.0.0.5", "kivo.example"} << "6174" << QString();
        QTest::newRow("ip only") << QByteArray("port = 7000 ip = '192.168.1.9'")
                                 << QStringList {"192.168.1.9"} << "7000" << QString();
        QTest::newRow("empty addresses table falls back to ip")
            << QByteArray("port = 1 addresses = {} ip = 'h'") << QStringList {"h"} << "1"
            << QString();
        QTest::newRow("addresses as a string falls back to ip")
            << QByteArray("port = 1 addresses = 'a,b' ip = 'h'") << QStringList {"h"} << "1"
            << QString();
        QTest::newRow("neither: one empty entry, port 0")
            << QByteArray("x = 1") << QStringList {QString()} << "0" << QString();
        QTest::newRow("port given as text")
            << QByteArray("port = '6174' ip = 'h'") << QStringList {"h"} << "6174" << QString();
        QTest::newRow("the example file")
            << QByteArray() << QStringList {"localhost", "127.0.0.1"} << "6174" << QString();

        const QString prefix = "Error parsing connection file: ";
        QTest::newRow("syntax error")
            << QByteArray("port = = 1") << QStringList() << QString() << prefix + "syntax error";
    }

    void connectionFiles()
    {
        QFETCH(QByteArray, script);
        QFETCH(QStringList, addresses);
        QFETCH(QString, portText);
        QFETCH(QString, error);

        const QString file = script.isNull() ? QString(KVC_EXAMPLES_DIR "/connection-localhost.txt")
                                             : dir.write(script);
        store(QStringList {"lab"}, QStringList {"10.0.0.5", "6174"});
        ModalAnswerer answerer;
        KvcMonitorDlg dlg(group, dir.path(), 7);
        servers(dlg)->setCurrentIndex(1);
        const QStringList before = itemTexts(address(dlg));

        chooseInNextChooser(file);
        click(dlg, "openLed");

        QCOMPARE(timeout(dlg)->text(), QString("7"));
        if (error.isEmpty()) {
            QCOMPARE(answerer.count(), 0);
            QCOMPARE(itemTexts(address(dlg)), addresses);
            QCOMPARE(address(dlg)->currentText(), addresses.first());
            QCOMPARE(port(dlg)->text(), portText);
            QCOMPARE(servers(dlg)->currentIndex(), 0);
        } else {
            QCOMPARE(answerer.count(), 1);
            checkError(answerer);
            QVERIFY2(answerer.last().text.startsWith(error), qPrintable(answerer.last().text));
            QCOMPARE(itemTexts(address(dlg)), before);
            QCOMPARE(port(dlg)->text(), QString("6174"));
            QCOMPARE(servers(dlg)->currentIndex(), 1);
        }
    }

    void connectionFileChooser()
    {
        KvcMonitorDlg dlg(group, dir.path(), 5);
        SeenChooser seen;
        cancelNextChooser(seen);
        click(dlg, "openLed");
        QCOMPARE(seen.title, QString("Open connection file"));
        QCOMPARE(seen.dir, QDir(dir.path()).absolutePath());
        QCOMPARE(seen.filters, (QStringList {"Text files (*.txt)", "All files (*.*)"}));
        QCOMPARE(address(dlg)->currentText(), QString("localhost")); // cancel changes nothing
    }

    // Refused fields, whichever button finds them: the message, the dialog
    // still editing, nothing saved. The number fields follow the user's
    // locale, whose group separators must not pass as a number read as 0.
    void invalidFieldsAreRefused_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("portText");
        QTest::addColumn<QString>("timeoutText");
        const auto row = [](const char *locale, const char *button, const char *host,
                             const char *port, const char *timeout) {
            QTest::addRow("%s, %s: address \"%s\", port \"%s\", timeout \"%s\"", locale, button,
                host, port, timeout)
                << locale << button << host << port << timeout;
        };
        for (const char *button : {"addServerBtn", "connectBtn"}) {
            row("C", button, "  ", "6174", "5");
            row("C", button, "localhost", "0", "5");
            row("C", button, "localhost", "", "5");
            row("C", button, "localhost", "65536", "5");
            for (const char *locale : {"C", "en_US", "de_DE"}) {
                row(locale, button, "localhost", "6,174", "5");
                row(locale, button, "localhost", "6.174", "5");
            }
        }
        row("C", "connectBtn", "localhost", "6174", "1001");
        row("C", "connectBtn", "localhost", "6174", "");
        row("C", "connectBtn", "localhost", "6174", "-1");
        for (const char *locale : {"C", "en_US", "de_DE"}) {
            row(locale, "connectBtn", "localhost", "6174", "1,000");
            row(locale, "connectBtn", "localhost", "6174", "1.000");
        }
    }

    void invalidFieldsAreRefused()
    {
        QFETCH(QString, locale);
        QFETCH(QString, button);
        QFETCH(QString, host);
        QFETCH(QString, portText);
        QFETCH(QString, timeoutText);
        ScopedDefaultLocale scoped(locale);
        ModalAnswerer answerer;
        KvcMonitorDlg dlg(group, dir.path(), 5);
        dlg.show();
        address(dlg)->setEditText(host);
        port(dlg)->setText(portText);
        timeout(dlg)->setText(timeoutText);
        QSignalSpy connected(&dlg, &KvcMonitorDlg::connected);
        click(dlg, qPrintable(button));
        QCOMPARE(answerer.count(), 1);
        checkError(answerer);
        QCOMPARE(answerer.last().text,
            QString(button == "addServerBtn" ? "Invalid connection parameters!"
                                             : "Invalid connection or timeout parameters!"));
        QCOMPARE(answerer.last().buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
        checkEditing(dlg);
        QVERIFY(dlg.isVisible());
        QCOMPARE(connected.count(), 0);
        QCOMPARE(servers(dlg)->count(), 1);
        QVERIFY(!QSettings().contains(group + "/server_names"));
        dlg.reject();
    }

    // Without a group the servers are kept at the top of the store, which
    // is not wiped on saving: other settings of the application stay.
    void savingWithoutAGroupKeepsTheOtherSettings()
    {
        QSettings().setValue("other/key", 1);
        KvcMonitorDlg dlg(QString(), dir.path(), 5);
        address(dlg)->setEditText("h");
        port(dlg)->setText("10");
        answerName("lab");
        click(dlg, "addServerBtn");
        QCOMPARE(QSettings().value("/server_names").toStringList(), QStringList {"lab"});
        QCOMPARE(QSettings().value("/server_addresses").toStringList(), (QStringList {"h", "10"}));
        QCOMPARE(QSettings().value("other/key").toInt(), 1);
    }

    void connectingHandsTheClientOver()
    {
        KvCommServer server;
        server.setIdentity("2.1.0", "r4711");
        server.setControlOptions(KvCommControlCancel | KvCommControlTerminate);
        QVERIFY2(server.listen(QHostAddress::LocalHost, 0), qPrintable(server.errorString()));

        ModalAnswerer answerer;
        KvcMonitorDlg dlg(group, dir.path(), 5);
        std::unique_ptr<KvCommClient> adopted;
        connect(&dlg, &KvcMonitorDlg::connected, this,
            [&adopted](KvCommClient *client) { adopted.reset(client); });
        dlg.show();
        startAttempt(dlg, " 127.0.0.1 ", server.serverPort());

        // Connecting: nothing ends the dialog but the attempt's outcome.
        QVERIFY(!dlg.findChild<QPushButton *>("connectBtn")->isEnabled());
        QVERIFY(!dlg.findChild<QPushButton *>("cancelBtn")->isEnabled());
        QVERIFY(dlg.findChild<QLabel *>("connectingLbl")->isVisible());
        QVERIFY(dlg.findChild<QProgressBar *>("connectingBar")->isVisible());
        QTest::keyClick(&dlg, Qt::Key_Escape);
        QVERIFY(dlg.isVisible());

        QTRY_VERIFY_WITH_TIMEOUT(adopted != nullptr, 10000);
        QVERIFY(!dlg.isVisible());
        QCOMPARE(dlg.result(), int(QDialog::Accepted));
        QCOMPARE(adopted->state(), KvCommClient::Connected);
        QCOMPARE(adopted->version(), QString("2.1.0"));
        QCOMPARE(adopted->controlOptions(), quint32(KvCommControlCancel | KvCommControlTerminate));
        QCOMPARE(answerer.count(), 0);
    }

    void escapeAndCloseDoNotEndAnAttempt()
    {
        // Accepts and stays silent, so the attempt lasts until its time limit.
        QTcpServer silent;
        QVERIFY(silent.listen(QHostAddress::LocalHost, 0));

        ModalAnswerer answerer;
        answerer.queueAnswer(QMessageBox::Ok);
        KvcMonitorDlg dlg(group, dir.path(), 1);
        QSignalSpy connected(&dlg, &KvcMonitorDlg::connected);
        dlg.show();
        startAttempt(dlg, "127.0.0.1", silent.serverPort());

        QTest::keyClick(&dlg, Qt::Key_Escape);
        QVERIFY(dlg.isVisible());
        dlg.close();
        QVERIFY(dlg.isVisible());
        click(dlg, "cancelBtn"); // disabled: no effect
        QVERIFY(dlg.isVisible());

        QTRY_COMPARE_WITH_TIMEOUT(answerer.count(), 1, 10000);
        checkError(answerer);
        QVERIFY2(answerer.last().text.contains(QString::number(silent.serverPort())),
            qPrintable(answerer.last().text));
        checkEditing(dlg);
        QCOMPARE(connected.count(), 0);

        // Back in the editing state: Escape now rejects.
        QTest::keyClick(&dlg, Qt::Key_Escape);
        QVERIFY(!dlg.isVisible());
        QCOMPARE(dlg.result(), int(QDialog::Rejected));
    }

    void failedAttemptThenASecondOneWithANewClient()
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const quint16 closedPort = probe.serverPort();
        probe.close();

        KvCommServer server;
        server.setIdentity("2.1.0", "r4711");
        QVERIFY(server.listen(QHostAddress::LocalHost, 0));

        ModalAnswerer answerer;
        answerer.queueAnswer(QMessageBox::Ok);
        KvcMonitorDlg dlg(group, dir.path(), 0); // one single try
        std::unique_ptr<KvCommClient> adopted;
        connect(&dlg, &KvcMonitorDlg::connected, this,
            [&adopted](KvCommClient *client) { adopted.reset(client); });
        dlg.show();
        startAttempt(dlg, "127.0.0.1", closedPort);
        QTRY_COMPARE_WITH_TIMEOUT(answerer.count(), 1, 10000);
        QVERIFY2(answerer.last().text.contains(QString::number(closedPort)),
            qPrintable(answerer.last().text));
        QVERIFY(dlg.isVisible());
        checkEditing(dlg);

        startAttempt(dlg, "127.0.0.1", server.serverPort());
        QTRY_VERIFY_WITH_TIMEOUT(adopted != nullptr, 10000);
        QCOMPARE(adopted->port(), server.serverPort());
        QCOMPARE(dlg.result(), int(QDialog::Accepted));
        QCOMPARE(answerer.count(), 1);
    }

    void destroyingTheDialogDuringAnAttempt()
    {
        QTcpServer silent;
        QVERIFY(silent.listen(QHostAddress::LocalHost, 0));
        ModalAnswerer answerer;
        {
            KvcMonitorDlg dlg(group, dir.path(), 1);
            dlg.show();
            startAttempt(dlg, "127.0.0.1", silent.serverPort());
            QVERIFY(!dlg.findChild<QPushButton *>("cancelBtn")->isEnabled());
        }
        // The pending client went with the dialog: no box comes from it later.
        QCoreApplication::processEvents();
        QCOMPARE(answerer.count(), 0);
    }
};

QTEST_MAIN(KvcMonitorDlgTest)
#include "tst_kvcmonitordlg.moc"
