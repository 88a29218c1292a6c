#include "kvccsvwriter.h"

#include <QIODevice>

#include <cmath>

QByteArray KvcCsvWriter::number(double value)
{
    if (std::isnan(value))
        return QByteArrayLiteral("nan");
    if (std::isinf(value))
        return value > 0 ? QByteArrayLiteral("inf") : QByteArrayLiteral("-inf");
    // Qt writes a negative zero without its sign.
    if (value == 0.0 && std::signbit(value))
        return QByteArrayLiteral("-0");
    // QByteArray::number ignores the locale, unlike printf after setlocale().
    return QByteArray::number(value, 'g', 17);
}

QByteArray KvcCsvWriter::field(const QString &text)
{
    QByteArray out = text.toUtf8();
    if (out.contains(',') || out.contains('"') || out.contains('\n') || out.contains('\r')) {
        out.replace('"', "\"\"");
        out = '"' + out + '"';
    }
    return out;
}

bool KvcCsvWriter::write(
    QIODevice *device, const QStringList &names, const QVector<const QVector<double> *> &columns)
{
    QByteArray line;
    for (int c = 0; c < names.size(); ++c) {
        if (c > 0)
            line += ',';
        line += field(names.at(c));
    }
    line += '\n';
    const int rows = columns.isEmpty() ? 0 : columns.first()->size();
    // Written in blocks: one write per line costs more than the formatting.
    constexpr int BlockBytes = 1 << 16;
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns.size(); ++c) {
            if (c > 0)
                line += ',';
            if (r < columns.at(c)->size())
                line += number(columns.at(c)->at(r));
        }
        line += '\n';
        if (line.size() >= BlockBytes) {
            if (device->write(line) != line.size())
                return false;
            line.clear();
        }
    }
    return device->write(line) == line.size();
}
