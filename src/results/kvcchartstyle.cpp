#include "kvcchartstyle.h"

#include <cmath>

namespace KvcChartStyle {

QColor seriesColor(int index)
{
    // Dark and saturated enough for a thin line on white, and apart in hue or
    // in lightness where the hues are near.
    static const QColor colors[DistinctColors]
        = {QColor(33, 102, 172), QColor(224, 130, 20), QColor(27, 120, 55), QColor(214, 48, 29),
            QColor(123, 50, 148), QColor(1, 166, 166), QColor(140, 81, 10), QColor(231, 41, 138),
            QColor(102, 166, 30), QColor(90, 90, 90), QColor(103, 169, 230), QColor(25, 25, 112)};
    return colors[qAbs(index) % DistinctColors];
}

Qt::PenStyle seriesStyle(int index)
{
    static const Qt::PenStyle styles[]
        = {Qt::SolidLine, Qt::DashLine, Qt::DotLine, Qt::DashDotLine};
    return styles[(qAbs(index) / DistinctColors) % 4];
}

Ticks ticks(double min, double max, int maxTicks, bool integers)
{
    Ticks result;
    const double span = max - min;
    if (!std::isfinite(span) || span <= 0.0) {
        result.interval = std::isfinite(span) && span == 0.0 ? 1.0 : 0.0;
        return result;
    }
    // The smallest round interval that puts no more than maxTicks ticks in.
    const double rough = span / qMax(1, maxTicks - 1);
    double power = std::pow(10.0, std::floor(std::log10(rough)));
    double interval = power * 10;
    for (const double factor : {1.0, 2.0, 5.0, 10.0}) {
        if (power * factor >= rough * (1 - 1e-9)) {
            interval = power * factor;
            break;
        }
    }
    if (integers && interval < 1.0) {
        interval = 1.0;
        power = 1.0;
    }
    // At least two ticks inside the range, so that it can be read: a smaller
    // round step when the one chosen leaves a single tick.
    const auto inside
        = [min, max](double step) { return std::floor(max / step) - std::ceil(min / step) + 1; };
    while (inside(interval) < 2) {
        const double mantissa = interval / power;
        const double smaller = mantissa > 5.5 ? 5 : mantissa > 2.5 ? 2 : mantissa > 1.5 ? 1 : 0.5;
        if (smaller < 1) {
            power /= 10;
            interval = power * 5;
        } else {
            interval = power * smaller;
        }
        if (integers && interval < 1.0) {
            interval = 1.0;
            break;
        }
    }
    if (interval >= 10 * power)
        power *= 10;
    result.interval = interval;

    const double largest = qMax(std::abs(min), std::abs(max));
    const int step = int(std::floor(std::log10(interval) + 1e-9));
    if (largest >= 1e6 || largest < 1e-3) {
        // Scientific: enough mantissa digits to tell neighbouring ticks apart.
        const int magnitude = int(std::floor(std::log10(largest) + 1e-9));
        result.labelFormat = QStringLiteral("%.%1e").arg(qBound(0, magnitude - step, 15));
    } else {
        result.labelFormat = QStringLiteral("%.%1f").arg(qBound(0, -step, 15));
    }
    return result;
}

QString label(double value, const QString &format)
{
    // Qt Charts formats with the C library's printf; so does this.
    return QString::asprintf(qPrintable(format), value);
}

} // namespace KvcChartStyle
