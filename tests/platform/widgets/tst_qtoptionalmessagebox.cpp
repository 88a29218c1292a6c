#include "modalanswerer.h"
#include "qtoptionalmessagebox.h"

#include <QSettings>
#include <QStandardPaths>
#include <QUuid>
#include <QtTest>

using Button = QMessageBox::StandardButton;
Q_DECLARE_METATYPE(QMessageBox::StandardButtons)
Q_DECLARE_METATYPE(QMessageBox::StandardButton)

class QtOptionalMessageBoxTest : public QObject
{
    Q_OBJECT

private:
    static Button ask(bool warning, const QString &key, QMessageBox::StandardButtons buttons,
        Button neverRemembered)
    {
        return warning ? QtOptionalMessageBox::warning(
                   nullptr, key, "Title", "Text", buttons, QMessageBox::NoButton, neverRemembered)
                       : QtOptionalMessageBox::question(nullptr, key, "Title", "Text", buttons,
                           QMessageBox::NoButton, neverRemembered);
    }

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QCoreApplication::setOrganizationName(
            "kvc-test-" + QUuid::createUuid().toString(QUuid::WithoutBraces));
        QCoreApplication::setApplicationName("tst_qtoptionalmessagebox");
    }

    void cleanupTestCase()
    {
        QSettings settings;
        settings.clear();
        settings.sync();
        QFile::remove(settings.fileName());
    }

    void init() { QtOptionalMessageBox::forgetAll(); }

    void showsTheBoxWithTheCheckBox()
    {
        ModalAnswerer answerer;
        answerer.queueAnswer(QMessageBox::Yes);
        QCOMPARE(QtOptionalMessageBox::question(nullptr, "KEY", "Disconnect", "Really?",
                     QMessageBox::Yes | QMessageBox::No, QMessageBox::No, QMessageBox::No),
            QMessageBox::Yes);
        QCOMPARE(answerer.count(), 1);
        QCOMPARE(answerer.last().icon, QMessageBox::Question);
        QCOMPARE(answerer.last().title, QString("Disconnect"));
        QCOMPARE(answerer.last().text, QString("Really?"));
        QCOMPARE(answerer.last().defaultButton, QMessageBox::No);
        QVERIFY(answerer.last().hasCheckBox);

        answerer.queueAnswer(QMessageBox::Ok);
        QtOptionalMessageBox::warning(nullptr, "KEY2", "Error...", "Bad", QMessageBox::Ok,
            QMessageBox::NoButton, QMessageBox::NoButton);
        QCOMPARE(answerer.last().icon, QMessageBox::Warning);
        QVERIFY(answerer.last().hasCheckBox);
    }

    void remembering_data()
    {
        QTest::addColumn<bool>("warning");
        QTest::addColumn<QMessageBox::StandardButtons>("buttons");
        QTest::addColumn<Button>("neverRemembered");
        QTest::addColumn<Button>("answer");
        QTest::addColumn<bool>("tick");
        QTest::addColumn<bool>("silenced");

        const QMessageBox::StandardButtons yesNo = QMessageBox::Yes | QMessageBox::No;
        QTest::newRow("ticked Yes silences the question")
            << false << yesNo << QMessageBox::No << QMessageBox::Yes << true << true;
        QTest::newRow("ticked No is the never-remembered answer")
            << false << yesNo << QMessageBox::No << QMessageBox::No << true << false;
        QTest::newRow("ticked No silences when every answer may be remembered")
            << false << yesNo << QMessageBox::NoButton << QMessageBox::No << true << true;
        QTest::newRow("unticked answer is not remembered")
            << false << yesNo << QMessageBox::NoButton << QMessageBox::Yes << false << false;
        QTest::newRow("ticked Ok silences the warning")
            << true << QMessageBox::StandardButtons(QMessageBox::Ok) << QMessageBox::NoButton
            << QMessageBox::Ok << true << true;
    }

    void remembering()
    {
        QFETCH(bool, warning);
        QFETCH(QMessageBox::StandardButtons, buttons);
        QFETCH(Button, neverRemembered);
        QFETCH(Button, answer);
        QFETCH(bool, tick);
        QFETCH(bool, silenced);

        ModalAnswerer answerer;
        answerer.queueAnswer(answer, tick);
        QCOMPARE(ask(warning, "KEY", buttons, neverRemembered), answer);
        QCOMPARE(answerer.count(), 1);
        QCOMPARE(QtOptionalMessageBox::isSilenced("KEY"), silenced);

        // The second call: silent with the remembered answer, or shown again.
        const Button other = answer == QMessageBox::Yes ? QMessageBox::No : QMessageBox::Yes;
        answerer.queueAnswer(buttons.testFlag(other) ? other : answer);
        const Button second = ask(warning, "KEY", buttons, neverRemembered);
        if (silenced) {
            QCOMPARE(answerer.count(), 1);
            QCOMPARE(second, answer);
        } else {
            QCOMPARE(answerer.count(), 2);
        }
    }

    void keysAreRememberedAndForgottenApart()
    {
        ModalAnswerer answerer;
        answerer.queueAnswer(QMessageBox::Ok, true);
        ask(true, "A", QMessageBox::Ok, QMessageBox::NoButton);
        answerer.queueAnswer(QMessageBox::Ok);
        ask(true, "B", QMessageBox::Ok, QMessageBox::NoButton);
        QVERIFY(QtOptionalMessageBox::isSilenced("A"));
        QVERIFY(!QtOptionalMessageBox::isSilenced("B"));
        answerer.queueAnswer(QMessageBox::Ok, true);
        ask(true, "B", QMessageBox::Ok, QMessageBox::NoButton);
        QtOptionalMessageBox::forget("A");
        QVERIFY(!QtOptionalMessageBox::isSilenced("A"));
        QVERIFY(QtOptionalMessageBox::isSilenced("B"));
        QtOptionalMessageBox::forgetAll();
        QVERIFY(!QtOptionalMessageBox::isSilenced("B"));
        answerer.queueAnswer(QMessageBox::Ok);
        ask(true, "B", QMessageBox::Ok, QMessageBox::NoButton);
        QCOMPARE(answerer.count(), 4);
    }

    void emptyKeyIsNeverSilenced()
    {
        ModalAnswerer answerer;
        answerer.queueAnswer(QMessageBox::Ok, true);
        ask(true, QString(), QMessageBox::Ok, QMessageBox::NoButton);
        QVERIFY(!answerer.last().hasCheckBox);
        answerer.queueAnswer(QMessageBox::Ok);
        ask(true, QString(), QMessageBox::Ok, QMessageBox::NoButton);
        QCOMPARE(answerer.count(), 2);
    }

    void storedValuesThatDoNotFitAreIgnored_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::newRow("text") << QVariant("garbage");
        QTest::newRow("a button the box does not offer") << QVariant(uint(QMessageBox::Yes));
        QTest::newRow("two buttons at once")
            << QVariant(uint(QMessageBox::Ok | QMessageBox::Cancel));
        QTest::newRow("zero") << QVariant(0);
        QTest::newRow("negative") << QVariant(-1);
        QTest::newRow("list") << QVariant(QStringList {"1024"});
    }

    void storedValuesThatDoNotFitAreIgnored()
    {
        QFETCH(QVariant, stored);
        QSettings().setValue(QtOptionalMessageBox::settingsGroup() + "/KEY", stored);
        ModalAnswerer answerer;
        answerer.queueAnswer(QMessageBox::Cancel);
        QCOMPARE(ask(true, "KEY", QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::NoButton),
            QMessageBox::Cancel);
        QCOMPARE(answerer.count(), 1);
    }
};

QTEST_MAIN(QtOptionalMessageBoxTest)
#include "tst_qtoptionalmessagebox.moc"
