#include "kvclogbuffer.h"
#include "kvclogedit.h"
#include "kvclogfinder.h"
#include "modalanswerer.h"

#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

namespace {

// Every match of `pattern` in the edit, searched from scratch.
QVector<int> searchedAnew(const QTextEdit &edit, const QString &pattern, Qt::CaseSensitivity cs)
{
    QVector<int> found;
    const QString text = edit.toPlainText();
    for (int i = text.indexOf(pattern, 0, cs); i >= 0; i = text.indexOf(pattern, i + 1, cs))
        found.append(i);
    return found;
}

QString countText(const KvcLogEdit &edit)
{
    return edit.findChild<QLabel *>("findCountLbl")->text();
}

// Text in two and three bytes of UTF-8.
QString stepLine(int i)
{
    return QStringLiteral("step %1: Wärme fließt, ΔT = %2 °C\n").arg(i).arg(i % 7);
}

// Every level, -1 included, in turn.
void fill(KvcLogBuffer *log, int lines)
{
    for (int i = 0; i < lines; ++i)
        log->append(i % 9 - 1, stepLine(i));
    QTRY_VERIFY((log->flush(), log->isEmpty()));
}

} // namespace

class TestKvcLogEdit : public QObject
{
    Q_OBJECT

private slots:
    void findKeepsItsMatchesWhileTheLogChanges_data();
    void findKeepsItsMatchesWhileTheLogChanges();
    void findBarCountsStepsAndCloses();
    void levelAndFollowControlsDriveTheLog();
    void saveWritesTheKeptLogByteForByte();
    void failedSaveSaysWhyAndLeavesNothing_data();
    void failedSaveSaysWhyAndLeavesNothing();
};

void TestKvcLogEdit::findKeepsItsMatchesWhileTheLogChanges_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<bool>("caseSensitive");
    QTest::addColumn<int>("maxLevel");

    QTest::newRow("any case, across the pieces of a line") << "ÄRME F" << false << 7;
    QTest::newRow("matching case finds none of another case") << "ÄRME F" << true << 7;
    QTest::newRow("digits that straddle the pieces") << "1: w" << false << 7;
    QTest::newRow("under a filter") << "= 3" << false << 4;
    QTest::newRow("the notice itself") << "lines of the log" << false << 7;
}

void TestKvcLogEdit::findKeepsItsMatchesWhileTheLogChanges()
{
    QFETCH(QString, pattern);
    QFETCH(bool, caseSensitive);
    QFETCH(int, maxLevel);

    QTextEdit edit;
    KvcLogBuffer log(&edit, 300, 100000, 40, 100000);
    KvcLogFinder finder(&edit);
    QObject::connect(
        &log, &KvcLogBuffer::documentReplaced, &finder, &KvcLogFinder::documentReplaced);
    finder.setPattern(pattern);
    finder.setCaseSensitive(caseSensitive);
    const Qt::CaseSensitivity cs = caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    // Lines in pieces, flushed now and then: writes, drops and a new notice
    // each change the document somewhere else.
    for (int i = 0; i < 2000; ++i) {
        const QString line = stepLine(i);
        log.append(i % 9 - 1, line.left(i % 11));
        log.append(-1, line.mid(i % 11));
        if (i == 1000)
            log.setMaxLevel(maxLevel);
        if (i % 37 == 0) {
            log.flush();
            QCOMPARE(finder.matches(), searchedAnew(edit, pattern, cs));
        }
    }
    QTRY_VERIFY((log.flush(), log.isEmpty()));
    QCOMPARE(finder.matches(), searchedAnew(edit, pattern, cs));
    QCOMPARE(finder.matches().isEmpty(), caseSensitive);
}

void TestKvcLogEdit::findBarCountsStepsAndCloses()
{
    KvcLogEdit edit;
    edit.resize(500, 300);
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    for (int i = 0; i < 300; ++i)
        edit.logBuffer()->append(
            6, QStringLiteral("line %1%2\n").arg(i).arg(i % 100 ? "" : " mark"));
    edit.logBuffer()->flush();
    auto find = edit.findChild<QLineEdit *>("findLed");
    QVERIFY(!find->isVisible());

    edit.setFocus();
    QTest::keyClick(&edit, Qt::Key_F, Qt::ControlModifier);
    QVERIFY(find->isVisible());
    QVERIFY(find->hasFocus());
    QTest::keyClicks(find, "MARK");
    QCOMPARE(countText(edit), QStringLiteral("Matches: 3"));
    QTest::keyClick(find, Qt::Key_Return);
    QCOMPARE(countText(edit), QStringLiteral("1 of 3"));
    QCOMPARE(edit.textCursor().selectedText(), QStringLiteral("mark"));
    QTest::keyClick(find, Qt::Key_F3);
    QCOMPARE(countText(edit), QStringLiteral("2 of 3"));
    QTest::keyClick(find, Qt::Key_Return, Qt::ShiftModifier);
    QTest::keyClick(find, Qt::Key_Return, Qt::ShiftModifier);
    QCOMPARE(countText(edit), QStringLiteral("3 of 3"));
    QVERIFY(!edit.extraSelections().isEmpty());
    QTest::keyClicks(find, "x");
    QCOMPARE(countText(edit), QStringLiteral("No matches"));

    QTest::keyClick(find, Qt::Key_Escape);
    QVERIFY(!find->isVisible());
    QVERIFY(edit.extraSelections().isEmpty());
}

void TestKvcLogEdit::levelAndFollowControlsDriveTheLog()
{
    KvcLogEdit edit;
    edit.resize(500, 200);
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    fill(edit.logBuffer(), 500);
    auto levels = edit.findChild<QComboBox *>("levelCmb");
    levels->setCurrentIndex(3);
    QCOMPARE(edit.logBuffer()->maxLevel(), 4);
    QVERIFY(edit.toPlainText().size() < edit.logBuffer()->text().size());

    auto follow = edit.findChild<QToolButton *>("followBtn");
    QScrollBar *bar = edit.verticalScrollBar();
    QVERIFY(!follow->isVisible());
    bar->setValue(0);
    QVERIFY(follow->isVisible());
    fill(edit.logBuffer(), 50);
    QCOMPARE(bar->value(), 0);
    follow->click();
    QVERIFY(!follow->isVisible());
    QCOMPARE(bar->value(), bar->maximum());
}

void TestKvcLogEdit::saveWritesTheKeptLogByteForByte()
{
    QTemporaryDir dir;
    KvcLogEdit edit;
    // The default beginning and bound, past the bound.
    fill(edit.logBuffer(), KvcLogBuffer::DefaultMaxLines + 3000);
    QVERIFY(edit.logBuffer()->droppedLines() > 0);
    edit.findChild<QComboBox *>("levelCmb")->setCurrentIndex(4);

    const QString name = dir.filePath("run.log");
    QString err;
    QVERIFY2(edit.saveLog(name, err), qPrintable(err));
    QFile file(name);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray saved = file.readAll();
    // Every level, whatever the view shows; the notice where lines went.
    QCOMPARE(saved, edit.logBuffer()->text().toUtf8());
    QVERIFY(saved.startsWith("step 0: Wärme fließt, ΔT = 0 °C\nstep 1:"));
    QVERIFY(saved.contains("step 1999: Wärme fließt, ΔT = 4 °C\n["
        + QByteArray::number(edit.logBuffer()->droppedLines())
        + " earlier lines of the log were dropped]\nstep "));
}

void TestKvcLogEdit::failedSaveSaysWhyAndLeavesNothing_data()
{
    QTest::addColumn<QString>("name"); // in a temporary directory
    QTest::addColumn<bool>("throughTheMenu");

    QTest::newRow("a folder that does not exist") << "missing/run.log" << false;
    QTest::newRow("a name taken by a folder") << "taken" << false;
    QTest::newRow("chosen in the dialog, reported in a box") << "missing/run.log" << true;
}

void TestKvcLogEdit::failedSaveSaysWhyAndLeavesNothing()
{
    QFETCH(QString, name);
    QFETCH(bool, throughTheMenu);

    QTemporaryDir dir;
    QVERIFY(QDir(dir.path()).mkdir("taken"));
    KvcLogEdit edit;
    fill(edit.logBuffer(), 10);
    const QString path = dir.filePath(name);
    QString err;
    if (throughTheMenu) {
        ModalAnswerer boxes;
        handleNextModal(
            [&](QWidget *w) {
                auto chooser = qobject_cast<QFileDialog *>(w);
                chooser->findChild<QLineEdit *>("fileNameEdit")->setText(path);
                static_cast<QDialog *>(chooser)->accept();
            },
            "QFileDialog");
        edit.saveLogRequested();
        QCOMPARE(boxes.count(), 1);
        QCOMPARE(boxes.last().icon, QMessageBox::Critical);
        QCOMPARE(boxes.last().title, QStringLiteral("Error..."));
        err = boxes.last().text;
    } else {
        QVERIFY(!edit.saveLog(path, err));
    }
    QVERIFY2(
        err.startsWith("The log could not be saved to " + QDir::toNativeSeparators(path) + ": "),
        qPrintable(err));
    QVERIFY(err.size() > err.indexOf(": ") + 2);
    QCOMPARE(QDir(dir.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden),
        QStringList {"taken"});
    QVERIFY(QDir(dir.filePath("taken")).isEmpty());
}

QTEST_MAIN(TestKvcLogEdit)
#include "tst_kvclogedit.moc"
