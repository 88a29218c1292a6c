#include "kvcluafilewidget.h"

#include "luasyntaxhighlighter.h"
#include "qtmessagebox.h"

#include <QDir>
#include <QFile>
#include <QScrollBar>
#include <QTextBlock>

KvcLuaFileWidget::KvcLuaFileWidget(QString fileName, QWidget *parent)
    : QTextEdit(parent)
{
    QTextCharFormat format;
    format.setFontFamily(QStringLiteral("Courier New"));
    format.setFontPointSize(10);
    setCurrentCharFormat(format);
    setReadOnly(true);
    setLineWrapMode(QTextEdit::NoWrap);

    const QStringList keywords {QStringLiteral("Simulation"), QStringLiteral("StateVar"),
        QStringLiteral("PropertySet"), QStringLiteral("Mesh"), QStringLiteral("NodeFunction"),
        QStringLiteral("CellFunction"), QStringLiteral("BoundaryCondition"),
        QStringLiteral("NumericalSolver"), QStringLiteral("PhysicalMethod"),
        QStringLiteral("ProcessScript"), QStringLiteral("SharedCodeBegin"),
        QStringLiteral("SharedCodeEnd"), QStringLiteral("SpatialIndex"),
        QStringLiteral("MonitorRule"), QStringLiteral("SaveRule")};
    // Owned by this view through the parent-child tree.
    new LuaSyntaxHighlighter(keywords, false, this);

    m_fileName = fileName;

    QFile file(fileName);
    if (file.open(QIODevice::ReadOnly)) {
        const QByteArray bytes = file.readAll();
        const int nul = bytes.indexOf('\0');
        setPlainText(QString::fromUtf8(bytes.constData(), nul >= 0 ? nul : bytes.size()));
        file.close();
    } else {
        QtMessageBox::critical(nullptr, tr("Error..."),
            tr("Error opening file [%1].").arg(QDir::toNativeSeparators(fileName)));
    }
}

KvcLuaFileWidget::~KvcLuaFileWidget() = default;

QString KvcLuaFileWidget::fileName() const { return m_fileName; }

void KvcLuaFileWidget::selectInLine(int line, QString text)
{
    const QTextBlock block = document()->findBlockByLineNumber(line - 1);
    QTextCursor cursor(document());
    if (block.isValid()) {
        const int column = block.text().indexOf(text, 0, Qt::CaseSensitive);
        // Positions rather than cursor moves: a move skips a whole surrogate
        // pair, while indexOf() counts its two halves.
        cursor.setPosition(block.position());
        if (column >= 0) {
            cursor.setPosition(block.position() + column);
            cursor.setPosition(block.position() + column + text.size(), QTextCursor::KeepAnchor);
        }
    } else if (line >= 1) {
        cursor.movePosition(QTextCursor::End);
    }
    setTextCursor(cursor);
    setFocus(Qt::OtherFocusReason);

    // Rectangles are in viewport coordinates, so their differences do not
    // depend on where the view is scrolled now.
    const int y = cursorRect().top();
    QTextCursor start(document());
    const int y0 = cursorRect(start).top();
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    const int y1 = cursorRect(end).top();
    const int h = viewport()->height();

    const int dividend = y - h / 2 - y0;
    const int divisor = y1 - h - y0;
    double fraction = divisor == 0 ? (dividend > 0 ? 1.0 : 0.0) : double(dividend) / divisor;
    fraction = qBound(0.0, fraction, 1.0);
    QScrollBar *bar = verticalScrollBar();
    bar->setValue(int((bar->maximum() - bar->minimum()) * fraction + bar->minimum()));
}
