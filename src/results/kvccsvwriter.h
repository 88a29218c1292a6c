#pragma once

#include "kvcexport.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

class QIODevice;

/// Writes tables of numbers as CSV that other programs read back exactly:
/// a header line of column names, a comma between fields, '.' as decimal
/// point whatever the locale, 17 significant digits (a double reads back to
/// the same bits), "nan", "inf" and "-inf" for the values that are no
/// numbers, lines ended by "\n", UTF-8. A name with a comma, a quote or a
/// line end is quoted, its quotes doubled (RFC 4180).
class KVC_EXPORT KvcCsvWriter
{
public:
    static QByteArray number(double value);
    static QByteArray field(const QString &text);
    /// One line per row: column c of row r is columns[c][r]. Columns shorter
    /// than the first leave their field empty. False on a write error.
    static bool write(QIODevice *device, const QStringList &names,
        const QVector<const QVector<double> *> &columns);
};
