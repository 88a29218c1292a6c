#include "kvcrunprogress.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QTimer>

namespace {

constexpr int barSteps = 1000;

} // namespace

KvcRunProgress::KvcRunProgress(QWidget *parent)
    : QWidget(parent)
    // Its own until a layout beside it takes it: never a window of its own.
    , m_caption(new QLabel(tr("Progress: "), this))
    , m_bar(new QProgressBar(this))
    , m_timeLeft(new QLabel(this))
    , m_ticker(new QTimer(this))
{
    setObjectName(QStringLiteral("simProgress"));
    m_caption->setObjectName(QStringLiteral("progressLbl"));
    m_bar->setObjectName(QStringLiteral("simProgressBar"));
    m_timeLeft->setObjectName(QStringLiteral("simTimeLeftLbl"));
    QFont font = m_caption->font();
    font.setPointSize(10);
    for (QWidget *w : {static_cast<QWidget *>(m_caption), static_cast<QWidget *>(m_bar),
             static_cast<QWidget *>(m_timeLeft)})
        w->setFont(font);
    m_bar->setRange(0, barSteps);
    m_bar->setMinimumWidth(120);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_bar, 1);
    layout->addWidget(m_timeLeft);
    m_ticker->setInterval(1000);
    connect(m_ticker, &QTimer::timeout, this, &KvcRunProgress::refresh);
    setPlannedEnd(qQNaN());
}

KvcRunProgress::~KvcRunProgress() = default;

void KvcRunProgress::setPlannedEnd(double plannedEnd)
{
    m_estimate.setPlannedEnd(plannedEnd);
    const bool known = m_estimate.endKnown();
    setVisible(known);
    m_caption->setVisible(known);
    if (known && !m_finished && !m_ticker->isActive())
        m_ticker->start();
    if (!known)
        m_ticker->stop();
    refresh();
}

void KvcRunProgress::addSample(double executionSeconds, double simTime)
{
    const bool first = m_estimate.sampleCount() == 0;
    m_estimate.addSample(executionSeconds, simTime);
    m_sinceSample.start();
    if (first)
        refresh();
    else
        refreshBar();
}

void KvcRunProgress::finish(bool showDuration)
{
    // A later final status (the process's end after the connection's) keeps
    // the first end's duration.
    if (!m_finished) {
        m_finished = true;
        m_ticker->stop();
        refresh();
        m_duration = now();
    }
    m_timeLeft->setText(showDuration && !qIsNaN(m_duration)
            ? tr("ran for %1").arg(KvcProgressEstimate::durationText(m_duration))
            : QString());
}

void KvcRunProgress::refreshBar()
{
    const double fraction = m_estimate.fraction();
    const int value = qIsNaN(fraction) ? 0 : int(fraction * barSteps);
    // Samples come by the thousand: the text is made only when it changes.
    if (value == m_bar->value())
        return;
    m_bar->setValue(value);
    m_bar->setFormat(tr("%1 %").arg(QLocale().toString(value * 100.0 / barSteps, 'f', 1)));
}

double KvcRunProgress::now() const
{
    const double last = m_estimate.lastWall();
    return m_sinceSample.isValid() ? last + m_sinceSample.elapsed() / 1000.0 : last;
}

void KvcRunProgress::refresh()
{
    if (!m_estimate.endKnown())
        return;
    refreshBar();
    if (m_finished)
        return;
    const double left = m_estimate.secondsLeft(now());
    if (qIsNaN(left))
        m_timeLeft->setText(tr("estimating…"));
    else if (qIsInf(left))
        m_timeLeft->setText(tr("no progress"));
    else
        m_timeLeft->setText(tr("about %1 left").arg(KvcProgressEstimate::durationText(left)));
}
