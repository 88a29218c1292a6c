#include "kvcluafilewidget.h"
#include "modalanswerer.h"
#include "scriptfile.h"

#include <QScrollBar>
#include <QTextBlock>
#include <QtTest>

namespace {

// Shown at a size at which a long file scrolls.
bool showScrolling(KvcLuaFileWidget &view)
{
    view.resize(400, 300);
    view.show();
    return QTest::qWaitForWindowExposed(&view);
}

QByteArray longFile(int lines)
{
    QByteArray text;
    for (int i = 1; i <= lines; ++i)
        text += "value_" + QByteArray::number(i) + " = MonitorRule{ name = \"r"
            + QByteArray::number(i) + "\" } -- r" + QByteArray::number(i) + "\n";
    return text;
}

} // namespace

class KvcLuaFileWidgetTest : public QObject
{
    Q_OBJECT

private:
    ScriptFiles files;
    QString longModel = files.write(longFile(200));

private slots:
    void showsTheFileReadOnlyWithoutWrapping()
    {
        const QByteArray content
            = "Simulation{\n\tname = \"caf\xC3\xA9\", -- " + QByteArray(400, 'x') + "\n}\n";
        KvcLuaFileWidget view(files.write(content + QByteArray("\0ignored", 8)));
        QCOMPARE(view.toPlainText(), QString::fromUtf8(content));
        QVERIFY(view.isReadOnly());
        QCOMPARE(view.lineWrapMode(), QTextEdit::NoWrap);
        QCOMPARE(view.document()->blockCount(), 4);
        QTextCursor cursor(view.document()->findBlockByNumber(1));
        cursor.movePosition(QTextCursor::Right);
        QCOMPARE(cursor.charFormat().fontFamily(), QString("Courier New"));
        QCOMPARE(cursor.charFormat().fontPointSize(), 10.0);
    }

    void unreadableFileIsReportedAndKeepsItsName()
    {
        ModalAnswerer boxes;
        KvcLuaFileWidget view("/no/such/dir/model.lua");
        QCOMPARE(boxes.count(), 1);
        QCOMPARE(boxes.last().title, QString("Error..."));
        QCOMPARE(boxes.last().text, QString("Error opening file [/no/such/dir/model.lua]."));
        QCOMPARE(boxes.last().icon, QMessageBox::Critical);
        QVERIFY(!boxes.last().hasParent);
        QCOMPARE(view.fileName(), QString("/no/such/dir/model.lua"));
        QVERIFY(view.toPlainText().isEmpty());
        view.selectInLine(3, "x"); // an empty view must not fail either
    }

    void selectInLine_data()
    {
        QTest::addColumn<int>("line");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("cursorBlock");
        QTest::addColumn<QString>("selected");
        QTest::addColumn<int>("column"); // of the selection start or the cursor

        QTest::newRow("text at the start of line 1") << 1 << "value_1" << 0 << "value_1" << 0;
        QTest::newRow("first of two occurrences") << 7 << "r7" << 6 << "r7" << 31;
        QTest::newRow("case differs: not found") << 7 << "R7" << 6 << "" << 0;
        QTest::newRow("empty text: empty selection") << 5 << "" << 4 << "" << 0;
        QTest::newRow("line before the first: document start") << 0 << "value" << 0 << "" << 0;
        QTest::newRow("line after the last: document end") << 500 << "value" << 200 << "" << 0;
    }

    void selectInLine()
    {
        QFETCH(int, line);
        QFETCH(QString, text);
        KvcLuaFileWidget view(longModel);
        QVERIFY(showScrolling(view));

        view.selectInLine(line, text);
        const QTextCursor cursor = view.textCursor();
        QTEST(cursor.block().blockNumber(), "cursorBlock");
        QTEST(cursor.selectedText(), "selected");
        QTEST(cursor.selectionStart() - cursor.block().position(), "column");
    }

    void scrollsTheLineToTheMiddle()
    {
        KvcLuaFileWidget view(longModel);
        QVERIFY(showScrolling(view));
        QScrollBar *bar = view.verticalScrollBar();
        QVERIFY(bar->maximum() > 0);

        view.selectInLine(1, "value");
        QCOMPARE(bar->value(), bar->minimum());
        view.selectInLine(200, "value");
        QCOMPARE(bar->value(), bar->maximum());

        view.selectInLine(100, "value");
        const int lineTop = view.cursorRect().top();
        const int middle = view.viewport()->height() / 2;
        const int lineHeight = view.cursorRect().height();
        QVERIFY2(qAbs(lineTop - middle) <= 2 * lineHeight,
            qPrintable(QString("line at %1, middle at %2").arg(lineTop).arg(middle)));
    }
};

QTEST_MAIN(KvcLuaFileWidgetTest)
#include "tst_kvcluafilewidget.moc"
