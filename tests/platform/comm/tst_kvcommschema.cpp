#include "kvcommschema.h"

#include "kvcommframewriter.h"

#include <QFile>
#include <QRegularExpression>
#include <QtTest>

namespace {

QStringList protocolDocument()
{
    QFile file(QStringLiteral(KVC_SOURCE_DIR "/docs/protocol.md"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
}

QString row(const KvCommSchema::Field &f)
{
    return QStringLiteral("%1%2 | %3 | %4")
        .arg(f.key)
        .arg(f.required ? QStringLiteral("*") : QString(), KvCommSchema::typeNotation(f),
            KvCommSchema::defaultNotation(f));
}

// Each message as "<type> <name>", its keys, then the maps inside it.
QStringList fromSchema()
{
    QStringList lines;
    for (const KvCommSchema::Schema *s : KvCommSchema::messages()) {
        lines << QStringLiteral("%1 %2").arg(s->type).arg(QLatin1String(s->name));
        QStringList maps;
        for (int i = 0; i < s->count; ++i) {
            const KvCommSchema::Field &f = s->fields[i];
            lines << row(f);
            if (!f.records)
                continue;
            maps << QStringLiteral("%1 map").arg(QLatin1String(f.records->name));
            for (int k = 0; k < f.records->count; ++k)
                maps << row(f.records->fields[k]);
        }
        lines << maps;
    }
    return lines;
}

// The same from the document: the headings of section 3, the "<name> map:"
// lines and the first three columns of their tables.
QStringList fromDocument(const QStringList &doc)
{
    static const QRegularExpression heading(QStringLiteral("^### (\\d+) (\\w+)"));
    static const QRegularExpression map(QStringLiteral("^(\\w+) map:$"));
    static const QRegularExpression key(
        QStringLiteral("^\\| (\\d+\\*?) \\| ([^|]+) \\| ([^|]*)\\|"));
    QStringList lines;
    bool keyTable = false;
    for (const QString &line : doc) {
        QRegularExpressionMatch m;
        if (line.startsWith(QLatin1String("| Key |")))
            keyTable = true;
        else if (!line.startsWith(QLatin1Char('|')))
            keyTable = false;
        if ((m = heading.match(line)).hasMatch())
            lines << m.captured(1) + QLatin1Char(' ') + m.captured(2);
        else if ((m = map.match(line)).hasMatch())
            lines << m.captured(1) + QStringLiteral(" map");
        else if (keyTable && (m = key.match(line)).hasMatch())
            lines << QStringLiteral("%1 | %2 | %3")
                         .arg(m.captured(1), m.captured(2).trimmed(), m.captured(3).trimmed());
    }
    return lines;
}

} // namespace

class tst_KvCommSchema : public QObject
{
    Q_OBJECT

private slots:
    void documentTablesMatchTheSchema();
    void documentedExampleIsWhatTheWriterSends();
};

void tst_KvCommSchema::documentTablesMatchTheSchema()
{
    const QStringList doc = protocolDocument();
    QVERIFY(!doc.isEmpty());
    QCOMPARE(fromDocument(doc), fromSchema());
}

void tst_KvCommSchema::documentedExampleIsWhatTheWriterSends()
{
    // The bytes of the example block after "Example:", comments left out.
    const QStringList doc = protocolDocument();
    const int start = doc.indexOf(QRegularExpression(QStringLiteral("Example:.*")));
    QVERIFY(start > 0);
    const int open = doc.indexOf(QStringLiteral("```"), start);
    const int close = doc.indexOf(QStringLiteral("```"), open + 1);
    QVERIFY(open > 0 && close > open);
    static const QRegularExpression bytes(QStringLiteral("^([0-9a-f]{2})+$"));
    QByteArray documented;
    for (int i = open + 1; i < close; ++i) {
        for (const QString &token : doc.at(i).split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
            if (!bytes.match(token).hasMatch())
                break;
            documented += QByteArray::fromHex(token.toLatin1());
        }
    }
    const QByteArray frame = KvCommFrameWriter::samples(
        {KvCommClientTrackedData(0, {0.5}), KvCommClientTrackedData(7, {1.0, 2.0})}, 40, 10);
    QCOMPARE(frame.toHex(' '), documented.toHex(' '));
}

QTEST_GUILESS_MAIN(tst_KvCommSchema)
#include "tst_kvcommschema.moc"
