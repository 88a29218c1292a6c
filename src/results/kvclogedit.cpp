#include "kvclogedit.h"

#include "kvclogbuffer.h"
#include "kvclogfinder.h"
#include "qtmessagebox.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QSaveFile>
#include <QToolButton>

#include <iterator>

namespace {

// The least severe level each entry of "Show:" shows.
constexpr int shownLevels[] = {7, 6, 5, 4, 3};

// The bars are part of the tool, not of the log: the application's font,
// not the log's fixed one.
void useApplicationFont(QWidget *bar)
{
    QFont font = QApplication::font();
    font.resolve(QFont::AllPropertiesResolved);
    bar->setFont(font);
    bar->setAutoFillBackground(true);
}

QToolButton *toolButton(QWidget *parent, const char *name)
{
    auto button = new QToolButton(parent);
    button->setObjectName(QLatin1String(name));
    button->setAutoRaise(true);
    return button;
}

} // namespace

KvcLogEdit::KvcLogEdit(QWidget *parent)
    : QTextEdit(parent)
    , m_buffer(std::make_unique<KvcLogBuffer>(this))
    , m_finder(new KvcLogFinder(this))
{
    buildBars();

    connect(m_buffer.get(), &KvcLogBuffer::followingChanged, m_followBtn,
        [this](bool following) { m_followBtn->setVisible(!following); });
    connect(
        m_buffer.get(), &KvcLogBuffer::documentReplaced, m_finder, &KvcLogFinder::documentReplaced);
    connect(m_followBtn, &QToolButton::clicked, this, [this] { m_buffer->setFollowing(true); });
    connect(m_levelCmb, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
        [this](int index) { m_buffer->setMaxLevel(shownLevels[qMax(0, index)]); });
    connect(m_findLed, &QLineEdit::textChanged, m_finder, &KvcLogFinder::setPattern);
    connect(m_findCaseBtn, &QToolButton::toggled, m_finder, &KvcLogFinder::setCaseSensitive);
    connect(m_findNextBtn, &QToolButton::clicked, m_finder, &KvcLogFinder::next);
    connect(m_findPrevBtn, &QToolButton::clicked, m_finder, &KvcLogFinder::previous);
    connect(m_findCloseBtn, &QToolButton::clicked, this, &KvcLogEdit::closeFindBar);
    connect(m_finder, &KvcLogFinder::matchesChanged, this, &KvcLogEdit::updateCount);

    m_findAction = new QAction(this);
    m_findAction->setShortcut(QKeySequence::Find);
    connect(m_findAction, &QAction::triggered, this, &KvcLogEdit::openFindBar);
    m_saveAction = new QAction(this);
    connect(m_saveAction, &QAction::triggered, this, &KvcLogEdit::saveLogRequested);
    auto next = new QAction(this);
    next->setShortcut(QKeySequence::FindNext);
    connect(next, &QAction::triggered, this, [this] {
        openFindBar();
        m_finder->next();
    });
    auto previous = new QAction(this);
    previous->setShortcut(QKeySequence::FindPrevious);
    connect(previous, &QAction::triggered, this, [this] {
        openFindBar();
        m_finder->previous();
    });
    // Escape is the find bar's only while it is open.
    m_closeAction = new QAction(this);
    m_closeAction->setShortcut(Qt::Key_Escape);
    m_closeAction->setEnabled(false);
    connect(m_closeAction, &QAction::triggered, this, &KvcLogEdit::closeFindBar);
    for (QAction *action : {m_findAction, next, previous, m_closeAction}) {
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        addAction(action);
    }
    retranslate();
}

KvcLogEdit::~KvcLogEdit() = default;

void KvcLogEdit::buildBars()
{
    m_findBar = new QWidget(this);
    m_findBar->setObjectName(QStringLiteral("findBar"));
    useApplicationFont(m_findBar);
    auto find = new QHBoxLayout(m_findBar);
    find->setContentsMargins(4, 2, 4, 2);
    m_findLbl = new QLabel(m_findBar);
    m_findLed = new QLineEdit(m_findBar);
    m_findLed->setObjectName(QStringLiteral("findLed"));
    m_findLed->setClearButtonEnabled(true);
    m_findLed->installEventFilter(this);
    m_findLbl->setBuddy(m_findLed);
    m_findLed->setMinimumWidth(m_findLed->fontMetrics().averageCharWidth() * 12);
    // Arrows and "Aa", their words in the tooltips: the bar fits a narrow log.
    m_findPrevBtn = toolButton(m_findBar, "findPrevBtn");
    m_findPrevBtn->setArrowType(Qt::UpArrow);
    m_findNextBtn = toolButton(m_findBar, "findNextBtn");
    m_findNextBtn->setArrowType(Qt::DownArrow);
    m_findCaseBtn = toolButton(m_findBar, "findCaseBtn");
    m_findCaseBtn->setCheckable(true);
    m_findCaseBtn->setText(QStringLiteral("Aa"));
    m_findCountLbl = new QLabel(m_findBar);
    m_findCountLbl->setObjectName(QStringLiteral("findCountLbl"));
    m_findCloseBtn = toolButton(m_findBar, "findCloseBtn");
    m_findCloseBtn->setText(QStringLiteral("\u2715"));
    find->addWidget(m_findLbl);
    find->addWidget(m_findLed, 1);
    find->addWidget(m_findPrevBtn);
    find->addWidget(m_findNextBtn);
    find->addWidget(m_findCaseBtn);
    find->addWidget(m_findCountLbl);
    find->addStretch(1);
    find->addWidget(m_findCloseBtn);
    m_findBar->hide();

    m_levelBar = new QWidget(this);
    m_levelBar->setObjectName(QStringLiteral("levelBar"));
    useApplicationFont(m_levelBar);
    auto level = new QHBoxLayout(m_levelBar);
    level->setContentsMargins(4, 1, 4, 1);
    m_levelLbl = new QLabel(m_levelBar);
    m_levelCmb = new QComboBox(m_levelBar);
    m_levelCmb->setObjectName(QStringLiteral("levelCmb"));
    m_levelCmb->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    for (int i = 0; i < int(std::size(shownLevels)); ++i)
        m_levelCmb->addItem(QString());
    m_levelLbl->setBuddy(m_levelCmb);
    m_followBtn = toolButton(m_levelBar, "followBtn");
    m_followBtn->setToolButtonStyle(Qt::ToolButtonTextOnly);
    m_followBtn->hide();
    level->addWidget(m_levelLbl);
    level->addWidget(m_levelCmb);
    level->addStretch(1);
    level->addWidget(m_followBtn);
}

void KvcLogEdit::retranslate()
{
    m_findLbl->setText(tr("&Find:"));
    m_findPrevBtn->setToolTip(tr("Previous match (Shift+Enter, Shift+F3)"));
    m_findNextBtn->setToolTip(tr("Next match (Enter, F3)"));
    m_findCaseBtn->setToolTip(tr("Match case"));
    m_findCloseBtn->setToolTip(tr("Close the find bar (Esc)"));
    m_levelLbl->setText(tr("&Show:"));
    const QString levels[] = {tr("All messages"), tr("Info and above"), tr("Notices and above"),
        tr("Warnings and above"), tr("Errors only")};
    for (int i = 0; i < int(std::size(levels)); ++i)
        m_levelCmb->setItemText(i, levels[i]);
    m_levelCmb->setToolTip(tr("Text without a level, such as the simulator's own output before "
                              "a monitoring server sends the log, is always shown."));
    m_followBtn->setText(tr("↓ Follow new messages"));
    m_followBtn->setToolTip(
        tr("The log stays where you scrolled to. Click to follow its end again."));
    m_findAction->setText(tr("Find…"));
    m_saveAction->setText(tr("Save log…"));
    updateCount();
}

void KvcLogEdit::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange && m_findAction)
        retranslate();
    QTextEdit::changeEvent(event);
}

void KvcLogEdit::updateCount()
{
    const int count = m_finder->matches().size();
    if (m_findLed->text().isEmpty())
        m_findCountLbl->clear();
    else if (count == 0)
        m_findCountLbl->setText(tr("No matches"));
    else if (m_finder->current() < 0)
        m_findCountLbl->setText(tr("Matches: %1").arg(count));
    else
        m_findCountLbl->setText(tr("%1 of %2").arg(m_finder->current() + 1).arg(count));
}

void KvcLogEdit::placeBars()
{
    const QRect view = viewport()->geometry();
    const int top = m_findBar->isVisible() ? m_findBar->sizeHint().height() : 0;
    const int bottom = m_levelBar->sizeHint().height();
    m_findBar->setGeometry(view.x(), view.y() - top, view.width(), top);
    m_levelBar->setGeometry(view.x(), view.bottom() + 1, view.width(), bottom);
}

bool KvcLogEdit::viewportEvent(QEvent *event)
{
    if (event->type() == QEvent::Resize || event->type() == QEvent::Move) {
        const int top = m_findBar->isVisibleTo(this) ? m_findBar->sizeHint().height() : 0;
        const QMargins margins(0, top, 0, m_levelBar->sizeHint().height());
        if (viewportMargins() != margins)
            setViewportMargins(margins);
        placeBars();
    }
    return QTextEdit::viewportEvent(event);
}

void KvcLogEdit::openFindBar()
{
    if (!m_findBar->isVisibleTo(this)) {
        m_findBar->show();
        m_closeAction->setEnabled(true);
        setViewportMargins(0, m_findBar->sizeHint().height(), 0, m_levelBar->sizeHint().height());
        placeBars();
        m_finder->setPattern(m_findLed->text());
        m_finder->setActive(true);
    }
    m_findLed->setFocus();
    m_findLed->selectAll();
}

void KvcLogEdit::closeFindBar()
{
    if (!m_findBar->isVisibleTo(this))
        return;
    m_findBar->hide();
    m_closeAction->setEnabled(false);
    setViewportMargins(0, 0, 0, m_levelBar->sizeHint().height());
    placeBars();
    // A closed bar costs nothing while the log grows.
    m_finder->setActive(false);
    m_finder->setPattern(QString());
    setFocus();
}

bool KvcLogEdit::eventFilter(QObject *object, QEvent *event)
{
    if (object == m_findLed && event->type() == QEvent::KeyPress) {
        const auto key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            if (key->modifiers() & Qt::ShiftModifier)
                m_finder->previous();
            else
                m_finder->next();
            return true;
        }
    }
    return QTextEdit::eventFilter(object, event);
}

void KvcLogEdit::contextMenuEvent(QContextMenuEvent *event)
{
    std::unique_ptr<QMenu> menu(createStandardContextMenu(event->pos()));
    menu->addSeparator();
    menu->addAction(m_findAction);
    menu->addAction(m_saveAction);
    menu->exec(event->globalPos());
}

bool KvcLogEdit::saveLog(const QString &fileName, QString &err) const
{
    QSaveFile file(fileName);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(m_buffer->text().toUtf8());
        if (file.commit())
            return true;
    }
    err = tr("The log could not be saved to %1: %2")
              .arg(QDir::toNativeSeparators(fileName), file.errorString());
    return false;
}

void KvcLogEdit::saveLogRequested()
{
    const QString fileName = QFileDialog::getSaveFileName(
        this, tr("Save log"), QString(), tr("Text files (*.txt);;All files (*)"));
    if (fileName.isEmpty())
        return;
    QString err;
    if (!saveLog(fileName, err))
        QtMessageBox::critical(this, tr("Error..."), err);
}
