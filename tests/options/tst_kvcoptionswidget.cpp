#include "formhelpers.h"
#include "kvcoptions.h"
#include "kvcoptionswidget.h"
#include "modalanswerer.h"
#include "scopedlocale.h"

#include <QCheckBox>
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

#include <functional>

using Setup = std::function<void(KvcOptions &)>;
using Edit = std::function<void(QWidget &)>;
Q_DECLARE_METATYPE(Setup)
Q_DECLARE_METATYPE(Edit)

namespace {

// Every field, so that two records compare as a whole and a failure shows the difference.
QString dump(const KvcOptions &o)
{
    return QStringList {o.configFile, o.userParams, o.logFile, o.logPath, o.inputPath, o.outputPath,
               o.connectFile, QString::number(o.localPort), QString::number(o.wait),
               QString::number(o.autoMonitor)}
               .join('|')
        + '|' + o.toParamList(true).join(' ');
}

const QStringList monitorFields {"monitorChk", "nomonitorChk", "localChk", "localPortLed",
    "connectFileLed", "connectFileBrowseBtn", "waitLed", "serverChk", "noserverChk",
    "noconsoleChk"};

QLineEdit *led(QWidget &w, const char *name) { return w.findChild<QLineEdit *>(name); }
QCheckBox *chk(QWidget &w, const char *name) { return w.findChild<QCheckBox *>(name); }

} // namespace

class KvcOptionsWidgetTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QCOMPARE(visibleTopLevelWidgets(), 0); }

    void defaultRecordShowsEmptyEditableForm()
    {
        KvcOptions options;
        KvcOptionsWidget form(&options, QString());
        for (QLineEdit *edit : form.findChildren<QLineEdit *>())
            QVERIFY2(edit->text().isEmpty(), qPrintable(edit->objectName()));
        for (QCheckBox *box : form.findChildren<QCheckBox *>())
            QVERIFY2(!box->isChecked(), qPrintable(box->objectName()));
        for (const QString &name : monitorFields)
            QVERIFY2(form.findChild<QWidget *>(name)->isEnabled(), qPrintable(name));

        QString msg = "untouched";
        options.userParams = "changed behind the form's back";
        QVERIFY(form.checkAndLoad(msg));
        QCOMPARE(msg, QString("untouched"));
        QCOMPARE(dump(options), dump(KvcOptions()));
    }

    void presetRecordShowsLockedMonitoringFields()
    {
        KvcOptions options;
        options.enableAutoMonitorOptions();
        options.quiet = true;
        KvcOptionsWidget form(&options, QString());
        QVERIFY(chk(form, "autoMonitorChk")->isChecked());
        for (const QString &name : monitorFields)
            QVERIFY2(!form.findChild<QWidget *>(name)->isEnabled(), qPrintable(name));
        for (const char *name : {"autoMonitorChk", "quietChk", "regressionChk", "configFileLed",
                 "logBrowseBtn", "label_7"})
            QVERIFY2(form.findChild<QWidget *>(name)->isEnabled(), name);

        // Shown as it is, the record comes back unchanged.
        const KvcOptions before = options;
        QString msg;
        QVERIFY(form.checkAndLoad(msg));
        QCOMPARE(dump(options), dump(before));
    }

    void recordsOwnMonitoringValuesUntilTheBoxIsTickedAgain()
    {
        KvcOptions options;
        options.autoMonitor = true;
        options.local = true;
        options.localPort = 7000;
        options.connectFile = "addr.txt";
        KvcOptionsWidget form(&options, QString());
        QCOMPARE(led(form, "localPortLed")->text(), QString("7000"));
        QVERIFY(!led(form, "localPortLed")->isEnabled());

        chk(form, "autoMonitorChk")->setChecked(false);
        for (const QString &name : monitorFields)
            QVERIFY2(form.findChild<QWidget *>(name)->isEnabled(), qPrintable(name));
        QCOMPARE(led(form, "localPortLed")->text(), QString("7000"));

        for (const char *name : {"monitorChk", "serverChk", "noconsoleChk", "verboseChk"})
            chk(form, name)->setChecked(true);
        chk(form, "autoMonitorChk")->setChecked(true);
        QCOMPARE(led(form, "localPortLed")->text(), QString("6174"));
        QCOMPARE(led(form, "waitLed")->text(), QString("2000"));
        QVERIFY(led(form, "connectFileLed")->text().isEmpty());
        for (const char *name : {"monitorChk", "serverChk", "noconsoleChk"})
            QVERIFY2(!chk(form, name)->isChecked(), name);
        QVERIFY(chk(form, "noserverChk")->isChecked());
        QVERIFY(chk(form, "verboseChk")->isChecked()); // not a monitoring field

        // Unticking keeps the preset, now editable.
        chk(form, "autoMonitorChk")->setChecked(false);
        QCOMPARE(led(form, "localPortLed")->text(), QString("6174"));
        QVERIFY(led(form, "localPortLed")->isEnabled());
    }

    // The form's own checks, before the record's rules, which it calls.
    void validation_data()
    {
        QTest::addColumn<Edit>("edit");
        QTest::addColumn<QString>("message"); // empty: passes
        QTest::addColumn<int>("localPort");
        QTest::addColumn<int>("wait");

        auto text = [](const char *name, const char *value) {
            return Edit([=](QWidget &w) { led(w, name)->setText(value); });
        };
        auto tick = [](const char *first, const char *second) {
            return Edit([=](QWidget &w) {
                chk(w, first)->setChecked(true);
                chk(w, second)->setChecked(true);
            });
        };
        auto both = [](Edit a, Edit b) {
            return Edit([=](QWidget &w) {
                a(w);
                b(w);
            });
        };
        auto row = [](const char *name, Edit edit, const char *message, int port, int wait) {
            QTest::newRow(name) << edit << QString(message) << port << wait;
        };
        const char *const badPort = "Invalid local port value";
        const char *const badWait = "Invalid wait value";

        row("port 0 is refused", text("localPortLed", "0"), badPort, -1, -1);
        row("port 65536 is refused", text("localPortLed", "65536"), badPort, -1, -1);
        row("port that is not a number is refused", text("localPortLed", "61x"), badPort, -1, -1);
        row("port 1 is stored", text("localPortLed", "1"), "", 1, -1);
        row("port 65535 is stored", text("localPortLed", "65535"), "", 65535, -1);
        row("blank port means not set", text("localPortLed", "   "), "", -1, -1);
        row("wait 0 is stored", text("waitLed", "0"), "", -1, 0);
        row("wait 1000000 is stored", text("waitLed", "1000000"), "", -1, 1000000);
        row("wait 1000001 is refused", text("waitLed", "1000001"), badWait, -1, -1);
        row("negative wait is refused", text("waitLed", "-1"), badWait, -1, -1);
        row("port is checked before wait", both(text("localPortLed", "0"), text("waitLed", "-5")),
            badPort, -1, -1);
        row("numbers are checked before the rules",
            both(text("waitLed", "2000000"), tick("quietChk", "verboseChk")), badWait, -1, -1);
        row("the record's rules are checked", tick("quietChk", "verboseChk"),
            "-quiet and -verbose options can not be used together.", -1, -1);
    }

    void validation()
    {
        QFETCH(Edit, edit);
        QFETCH(QString, message);
        KvcOptions options;
        options.userParams = "kept";
        const KvcOptions before = options;
        KvcOptionsWidget form(&options, QString());
        edit(form);
        QString msg = "previous";
        QCOMPARE(form.checkAndLoad(msg), message.isEmpty());
        if (message.isEmpty()) {
            QCOMPARE(msg, QString("previous"));
            QTEST(options.localPort, "localPort");
            QTEST(options.wait, "wait");
        } else {
            QCOMPARE(msg, message);
            QCOMPARE(dump(options), dump(before));
        }
    }

    // The number fields follow the user's locale, whose group separators
    // must neither pass as a number nor be read as 0 (port 0 would mean any
    // port, wait 0 forever).
    void numbersAreReadAsTheFieldAcceptsThem_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("typed"); // through the keyboard, else set whole
        QTest::addColumn<int>("stored"); // -1: refused
        for (const char *locale : {"C", "en_US", "de_DE"}) {
            const auto row = [locale](const char *field, const char *text, bool typed, int stored) {
                QTest::addRow("%s, %s %s \"%s\"", locale, field, typed ? "typed" : "set", text)
                    << locale << field << text << typed << stored;
            };
            row("localPortLed", "6,174", false, -1);
            row("localPortLed", "6.174", false, -1);
            row("localPortLed", "6,174", true, 6174);
            row("waitLed", "1,000", false, -1);
            row("waitLed", "1.000", false, -1);
            row("waitLed", "1.000", true, 1000);
        }
    }

    void numbersAreReadAsTheFieldAcceptsThem()
    {
        QFETCH(QString, locale);
        QFETCH(QString, field);
        QFETCH(QString, text);
        QFETCH(bool, typed);
        QFETCH(int, stored);
        ScopedDefaultLocale scoped(locale);
        KvcOptions options;
        KvcOptionsWidget form(&options, QString());
        QLineEdit *edit = led(form, qPrintable(field));
        if (typed)
            QTest::keyClicks(edit, text);
        else
            edit->setText(text);
        QString msg;
        QCOMPARE(form.checkAndLoad(msg), stored >= 0);
        const bool port = field == "localPortLed";
        if (stored < 0)
            QCOMPARE(msg, QString(port ? "Invalid local port value" : "Invalid wait value"));
        else
            QCOMPARE(port ? options.localPort : options.wait, stored);
    }

    // Filled in on the form, each field gives the record its own switch; a
    // form on that record shows the value again, trimmed.
    void eachFieldStandsForItsSwitch_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("param");
        const char *const fields[][2] = {{"configFileLed", "-c 7"}, {"userParamsLed", "-u 7"},
            {"logFileLed", "-r 7"}, {"logLed", "-l 7"}, {"inputLed", "-i 7"}, {"outputLed", "-o 7"},
            {"connectFileLed", "-s 7"}, {"waitLed", "-wait 7"}, {"monitorChk", "-monitor"},
            {"nomonitorChk", "-nomonitor"}, {"localChk", "-local"}, {"quietChk", "-quiet"},
            {"verboseChk", "-verbose"}, {"memoryChk", "-memory"}, {"nomemoryChk", "-nomemory"},
            {"timeChk", "-time"}, {"notimeChk", "-notime"}, {"serverChk", "-server"},
            {"noserverChk", "-noserver"}, {"noconsoleChk", "-noconsole"},
            {"regressionChk", "-regression"}};
        for (const auto &f : fields)
            QTest::addRow("%s gives %s", f[0], f[1]) << f[0] << f[1];
    }

    void eachFieldStandsForItsSwitch()
    {
        QFETCH(QString, field);
        QFETCH(QString, param);
        const QByteArray latin = field.toLatin1();
        const char *name = latin.constData();
        KvcOptions options;
        KvcOptionsWidget form(&options, QString());
        const bool isText = led(form, name) != nullptr;
        if (isText)
            led(form, name)->setText(field == "waitLed" ? "7" : " 7\t");
        else
            chk(form, name)->setChecked(true);
        QString msg;
        QVERIFY2(form.checkAndLoad(msg), qPrintable(msg));
        QCOMPARE(options.toParamList(false), QStringList {param});

        KvcOptionsWidget again(&options, QString());
        if (isText)
            QCOMPARE(led(again, name)->text(), QString("7"));
        else
            QVERIFY(chk(again, name)->isChecked());
    }

    void tabOrderAndTooltipsFollowTheForm()
    {
        KvcOptions options;
        KvcOptionsWidget form(&options, QString());
        const QStringList expected {"userParamsLed", "configFileLed", "configFileBrowseBtn",
            "logFileLed", "logFileBrowseBtn", "logLed", "logBrowseBtn", "inputLed",
            "inputBrowseBtn", "outputLed", "outputBrowseBtn", "autoMonitorChk", "monitorChk",
            "nomonitorChk", "localChk", "localPortLed", "connectFileLed", "connectFileBrowseBtn",
            "waitLed", "quietChk", "verboseChk", "memoryChk", "nomemoryChk", "timeChk", "notimeChk",
            "serverChk", "noserverChk", "noconsoleChk", "regressionChk"};
        QCOMPARE(focusChain(form, expected), expected);
        // Tooltips sit on the labels and the boxes.
        QCOMPARE(form.findChild<QWidget *>("label_9")->toolTip(),
            QString("<html><head/><body><p>Model loading waits at most timeout msec for a "
                    "client connection before starting (0 = forever).</p></body></html>"));
        QVERIFY(led(form, "waitLed")->toolTip().isEmpty());
        QCOMPARE(chk(form, "localChk")->toolTip(),
            QString("<html><head/><body><p>Starts the monitor server listening for "
                    "connections on localhost / given port (any port if port is missing or "
                    "0).</p></body></html>"));
        QCOMPARE(form.findChild<QWidget *>("groupBox_2")->property("title").toString(),
            QString(" Path macros: "));
    }

    void browsers_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("edit");
        QTest::addColumn<QString>("title");
        QTest::addColumn<int>("mode");
        auto row = [](const char *name, const char *button, const char *edit, const char *title,
                       QFileDialog::AcceptMode mode) {
            QTest::newRow(name) << button << edit << title << int(mode);
        };
        const auto open = QFileDialog::AcceptOpen;
        const auto save = QFileDialog::AcceptSave;
        row("config file: open chooser", "configFileBrowseBtn", "configFileLed",
            "Open a Kivo config file", open);
        row("log file: save chooser", "logFileBrowseBtn", "logFileLed", "Save Kivo log file", save);
        row("log path: directory", "logBrowseBtn", "logLed", "Select a directory", open);
        row("input path: directory", "inputBrowseBtn", "inputLed", "Select a directory", open);
        row("output path: directory", "outputBrowseBtn", "outputLed", "Select a directory", open);
        row("server address file: save chooser", "connectFileBrowseBtn", "connectFileLed",
            "Save Kivo server address file", save);
    }

    void browsers()
    {
        QFETCH(QString, button);
        QFETCH(QString, edit);
        QFETCH(QString, title);
        QFETCH(int, mode);

        QTemporaryDir base;
        KvcOptions options;
        KvcOptionsWidget form(&options, base.path());
        SeenChooser seen;
        cancelNextChooser(seen);
        form.findChild<QToolButton *>(button)->click();
        QCOMPARE(seen.title, title);
        QCOMPARE(seen.dir, QDir(base.path()).absolutePath());
        QCOMPARE(seen.mode, mode);
        QCOMPARE(seen.parent, &form);
        QVERIFY(form.findChild<QLineEdit *>(edit)->text().isEmpty());
    }

    void chosenPathIsShownWithNativeSeparators()
    {
        QTemporaryDir base;
        QVERIFY(QDir(base.path()).mkpath("sub/dir"));
        const QString chosen = base.path() + "/sub/dir";
        KvcOptions options;
        KvcOptionsWidget form(&options, base.path());
        chooseInNextChooser(chosen);
        form.findChild<QToolButton *>("outputBrowseBtn")->click();
        QCOMPARE(led(form, "outputLed")->text(), QDir::toNativeSeparators(chosen));

        // The next chooser starts where the field points.
        SeenChooser seen;
        cancelNextChooser(seen);
        form.findChild<QToolButton *>("outputBrowseBtn")->click();
        QCOMPARE(seen.dir, chosen);
        QCOMPARE(led(form, "outputLed")->text(), QDir::toNativeSeparators(chosen));
    }
};

QTEST_MAIN(KvcOptionsWidgetTest)
#include "tst_kvcoptionswidget.moc"
