#pragma once

#include "kvcexport.h"

#include <QColor>
#include <QString>

/// How the results view's charts look where Qt Charts' theme does not decide
/// well for many series or for arbitrary ranges.
namespace KvcChartStyle {

/// Twelve colours that stay apart from each other and from the white plot,
/// the same for every chart, so that a value keeps its colour.
constexpr int DistinctColors = 12;

/// Colour of series `index`: the twelve colours in turn.
KVC_TESTING_EXPORT QColor seriesColor(int index);
/// Line style of series `index`: solid for the first twelve, then dashed,
/// dotted and dash-dotted for the next twelve each, so that no two of the
/// first 48 series look alike.
KVC_TESTING_EXPORT Qt::PenStyle seriesStyle(int index);

/// Tick marks at round values (1, 2 or 5 times a power of ten) inside an
/// axis range, which stays as it is: the first tick is the first multiple of
/// `interval` at or above its start.
struct Ticks {
    double interval = 1.0;
    /// printf-style format of every label of the axis, one for all of them:
    /// fixed-point with as many decimals as the interval needs, or
    /// scientific with as many as tell the ticks apart when the values are
    /// very large or very small.
    QString labelFormat = QStringLiteral("%.0f");
};

/// Ticks for [min, max] with at most `maxTicks` of them (at least 2 are
/// allowed); with `integers` the interval is a whole number, as for counts.
/// An empty or invalid range gives one interval over it.
KVC_TESTING_EXPORT Ticks ticks(double min, double max, int maxTicks, bool integers = false);

/// The label of `value` as the axis prints it with `format`.
KVC_TESTING_EXPORT QString label(double value, const QString &format);

} // namespace KvcChartStyle
