#pragma once

#include "kvcprogressestimate.h"

#include <QElapsedTimer>
#include <QWidget>

class QLabel;
class QProgressBar;
class QTimer;

/// The results view's progress row: a bar of the simulated time over the
/// planned end (`simProgressBar`) and, beside it, the estimated time left
/// (`simTimeLeftLbl`): "estimating…" until there is enough to go on, "about
/// 3 min 05 s left", "no progress" when the run stands still, and after the
/// end "ran for 8 min 12 s". Its caption (`progressLbl`, "Progress: ") goes
/// into the form layout beside it.
///
/// The row and its caption are hidden while the end is unknown, so a run of
/// a server that does not announce its end looks as before.
///
/// Time base: the execution time of the samples (seconds since the run
/// started, by the server's clock); between samples it goes on with the local
/// clock, so that a run that stands still shows it. The text is refreshed
/// once a second while the run goes on, the bar at every refresh and sample.
class KvcRunProgress : public QWidget
{
    Q_OBJECT

public:
    explicit KvcRunProgress(QWidget *parent = nullptr);
    ~KvcRunProgress() override;

    /// Put into the layout that holds the row (which then owns it).
    QLabel *caption() const { return m_caption; }

    /// Shows the row when `plannedEnd` is a positive simulated time, hides it
    /// otherwise.
    void setPlannedEnd(double plannedEnd);
    /// The run reached `simTime` after `executionSeconds`.
    void addSample(double executionSeconds, double simTime);
    /// The run ended: the bar stays where it stopped; with `showDuration`
    /// the text gives the run's duration (execution time at the first call),
    /// otherwise it is cleared.
    void finish(bool showDuration);

    const KvcProgressEstimate &estimate() const { return m_estimate; }

private:
    void refresh();
    void refreshBar();
    double now() const;

    KvcProgressEstimate m_estimate;
    QLabel *m_caption = nullptr;
    QProgressBar *m_bar = nullptr;
    QLabel *m_timeLeft = nullptr;
    QTimer *m_ticker = nullptr;
    QElapsedTimer m_sinceSample;
    bool m_finished = false;
    double m_duration = qQNaN();
};
