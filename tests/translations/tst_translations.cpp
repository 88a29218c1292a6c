// The shipped translations: complete, faithful to their sources' markup,
// compiled by the build, and in step with the texts of the code.
#include "kvcactionmanager.h"
#include "kvcoptions.h"
#include "studiowindow.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QMenu>
#include <QMenuBar>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTranslator>
#include <QXmlStreamReader>
#include <QtTest>

namespace {

struct TsMessage {
    QString context;
    QString source;
    QString comment;
    QString translation; // empty for a numerus message
    QStringList numerusForms;
    QString type; // "unfinished", "obsolete", "vanished" or empty
};

TsMessage readMessage(QXmlStreamReader &xml, const QString &context)
{
    TsMessage message;
    message.context = context;
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("source")) {
            message.source = xml.readElementText();
        } else if (xml.name() == QLatin1String("comment")) {
            message.comment = xml.readElementText();
        } else if (xml.name() == QLatin1String("translation")) {
            message.type = xml.attributes().value(QLatin1String("type")).toString();
            while (!xml.atEnd()) {
                xml.readNext();
                if (xml.isEndElement())
                    break;
                if (xml.isCharacters())
                    message.translation += xml.text();
                else if (xml.isStartElement())
                    message.numerusForms << xml.readElementText();
            }
        } else {
            xml.skipCurrentElement();
        }
    }
    return message;
}

// Reads the messages of a .ts file; an unreadable or malformed file is an error.
QVector<TsMessage> readTs(const QString &path, QString *error)
{
    QVector<TsMessage> messages;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot open %1: %2").arg(path, file.errorString());
        return messages;
    }
    QXmlStreamReader xml(&file);
    QString context;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement())
            continue;
        if (xml.name() == QLatin1String("name"))
            context = xml.readElementText();
        else if (xml.name() == QLatin1String("message"))
            messages << readMessage(xml, context);
    }
    if (xml.hasError())
        *error = QStringLiteral("%1:%2: %3").arg(path).arg(xml.lineNumber()).arg(xml.errorString());
    return messages;
}

QString describe(const TsMessage &message)
{
    return message.context + QStringLiteral(" / \"") + message.source + QLatin1Char('"');
}

QString tsPath(const char *name)
{
    return QStringLiteral(KVC_SOURCE_DIR "/translations/") + QLatin1String(name);
}

// Every match of `pattern` in `text`: placeholders, rich-text tags, command-line
// switches ("-quiet", "-wait"), which a translation keeps as they are.
QStringList matches(const char *pattern, const QString &text)
{
    QStringList found;
    for (auto it = QRegularExpression(QLatin1String(pattern)).globalMatch(text); it.hasNext();)
        found << it.next().captured();
    return found;
}

QStringList placeholders(const QString &text)
{
    QStringList found = matches("%(\\d+|n)", text);
    found.sort();
    return found;
}

// The accelerator letter of a menu text ("Lauf&optionen..." gives 'o'), or a
// null character; "&&" is a literal ampersand.
QChar accelerator(const QString &text, int *count = nullptr)
{
    QChar key;
    int n = 0;
    for (int i = 0; i + 1 < text.size(); ++i) {
        if (text.at(i) != QLatin1Char('&'))
            continue;
        if (text.at(i + 1) == QLatin1Char('&')) {
            ++i;
            continue;
        }
        ++n;
        key = text.at(i + 1).toLower();
    }
    if (count)
        *count = n;
    return key;
}

QSet<QString> keysOf(const QVector<TsMessage> &messages)
{
    QSet<QString> keys;
    for (const TsMessage &message : messages)
        if (message.type != QLatin1String("obsolete") && message.type != QLatin1String("vanished"))
            keys << message.context + QLatin1Char('|') + message.source + QLatin1Char('|')
                    + message.comment;
    return keys;
}

const char *const switchPattern = "(?<![\\w-])-[A-Za-z]+\\b";

} // namespace

class tst_Translations : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void everyMessageIsTranslatedFaithfullyAndCompiled_data();
    void everyMessageIsTranslatedFaithfullyAndCompiled();
    void libraryTextsGoThroughTheTranslator();
    void studioMenuAcceleratorsStayUnique();
    void tsFilesHoldEveryTextOfTheSources_data();
    void tsFilesHoldEveryTextOfTheSources();

private:
    QTranslator library;
    QTranslator studio;
};

void tst_Translations::initTestCase()
{
    const QString dir = QStringLiteral(KVC_BIN_DIR "/translations");
    QVERIFY2(library.load(QStringLiteral("kivoclientlib_de"), dir),
        qPrintable(QStringLiteral("no kivoclientlib_de.qm in ") + dir));
    QVERIFY2(studio.load(QStringLiteral("kivostudio_de"), dir),
        qPrintable(QStringLiteral("no kivostudio_de.qm in ") + dir));
    QVERIFY(QCoreApplication::installTranslator(&library));
    QVERIFY(QCoreApplication::installTranslator(&studio));
}

// Per message: translated, faithful to its source's placeholders, line
// feeds, markup, accelerators and switches, and compiled as it stands (a .qm
// older than its .ts, or compiled from another file, shows here).
void tst_Translations::everyMessageIsTranslatedFaithfullyAndCompiled_data()
{
    QTest::addColumn<QString>("ts");
    QTest::newRow("library") << tsPath("kivoclientlib_de.ts");
    QTest::newRow("kivo-studio") << tsPath("kivostudio_de.ts");
}

void tst_Translations::everyMessageIsTranslatedFaithfullyAndCompiled()
{
    QFETCH(QString, ts);
    QString error;
    const QVector<TsMessage> messages = readTs(ts, &error);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QVERIFY(!messages.isEmpty());
    QStringList faults;
    for (const TsMessage &message : messages) {
        const QString what = describe(message);
        if (!message.type.isEmpty())
            faults << message.type + QStringLiteral(": ") + what;
        else if (message.numerusForms.isEmpty() && message.translation.isEmpty())
            faults << QStringLiteral("empty: ") + what;
        else if (message.numerusForms.contains(QString()))
            faults << QStringLiteral("empty numerus form: ") + what;
        const QStringList forms = message.numerusForms.isEmpty() ? QStringList {message.translation}
                                                                 : message.numerusForms;
        for (const QString &translation : forms) {
            if (placeholders(translation) != placeholders(message.source))
                faults << QStringLiteral("placeholders differ: ") + what;
            if (translation.count(QLatin1Char('\n')) != message.source.count(QLatin1Char('\n')))
                faults << QStringLiteral("line feeds differ: ") + what;
            if (matches("<[^<>]+>", translation) != matches("<[^<>]+>", message.source))
                faults << QStringLiteral("rich-text markup differs: ") + what;
            int sourceKeys = 0;
            int translationKeys = 0;
            accelerator(message.source, &sourceKeys);
            accelerator(translation, &translationKeys);
            if (sourceKeys != translationKeys)
                faults << QStringLiteral("accelerators differ: ") + what;
            for (const QString &option : matches(switchPattern, message.source))
                if (!matches(switchPattern, translation).contains(option))
                    faults << QStringLiteral("switch %1 lost: ").arg(option) + what;
        }
        const QByteArray source = message.source.toUtf8();
        const QByteArray comment = message.comment.toUtf8();
        // A plural has German's two forms: one, and any other count.
        for (int n : message.numerusForms.isEmpty() ? QVector<int> {-1} : QVector<int> {1, 2}) {
            const QString shown = QCoreApplication::translate(qPrintable(message.context),
                source.constData(), comment.isEmpty() ? nullptr : comment.constData(), n);
            const QString wanted = n < 0 ? message.translation
                                         : QString(message.numerusForms.value(n == 1 ? 0 : 1))
                                               .replace(QLatin1String("%n"), QString::number(n));
            if (shown != wanted)
                faults << what + QStringLiteral(" gives \"") + shown + QLatin1Char('"');
        }
    }
    QVERIFY2(faults.isEmpty(), qPrintable(faults.join(QLatin1Char('\n'))));
}

void tst_Translations::libraryTextsGoThroughTheTranslator()
{
    // The library looks its texts up at run time in the contexts the .ts names.
    QCOMPARE(
        KvcActionManager::execStatusStr(KvcActionManager::Finished), QStringLiteral("Beendet"));
    QCOMPARE(
        KvcActionManager::execStatusStr(KvcActionManager::Canceled), QStringLiteral("Abgebrochen"));
    KvcOptions options;
    options.quiet = true;
    options.verbose = true;
    QString message;
    QVERIFY(!options.check(message));
    QCOMPARE(message,
        QStringLiteral("Die Optionen -quiet und -verbose können nicht zusammen verwendet werden."));
}

void tst_Translations::studioMenuAcceleratorsStayUnique()
{
    // The menus as the window builds them, in German: the menu bar's titles
    // and each menu's entries.
    StudioWindow window;
    QList<QWidget *> menus {window.menuBar()};
    for (QMenu *menu : window.menuBar()->findChildren<QMenu *>())
        menus << menu;
    QVERIFY2(menus.size() >= 3, "the menu bar and its menus were not found");
    QStringList faults;
    for (const QWidget *menu : qAsConst(menus)) {
        QHash<QChar, QString> taken;
        for (const QAction *action : menu->actions()) {
            const QChar key = accelerator(action->text());
            if (key.isNull())
                continue;
            if (taken.contains(key))
                faults << QStringLiteral("%1: \"%2\" and \"%3\" share &%4")
                              .arg(menu->objectName(), taken.value(key), action->text(), key);
            taken.insert(key, action->text());
        }
    }
    QVERIFY2(faults.isEmpty(), qPrintable(faults.join(QLatin1Char('\n'))));
}

void tst_Translations::tsFilesHoldEveryTextOfTheSources_data()
{
    QTest::addColumn<QString>("sources");
    QTest::addColumn<QString>("ts");
    QTest::newRow("library") << QStringLiteral(KVC_SOURCE_DIR "/src")
                             << tsPath("kivoclientlib_de.ts");
    QTest::newRow("kivo-studio") << QStringLiteral(KVC_SOURCE_DIR "/apps/kivo-studio")
                                 << tsPath("kivostudio_de.ts");
}

void tst_Translations::tsFilesHoldEveryTextOfTheSources()
{
    // Extract afresh with lupdate and compare the texts, not the files: the
    // fresh extraction has no translations, only what must be translated.
    QFETCH(QString, sources);
    QFETCH(QString, ts);
    if (!QFileInfo::exists(QStringLiteral(KVC_LUPDATE)))
        QSKIP("lupdate is not installed");
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString fresh = dir.filePath(QStringLiteral("fresh_de.ts"));
    QProcess lupdate;
    lupdate.setProcessChannelMode(QProcess::MergedChannels);
    lupdate.start(QStringLiteral(KVC_LUPDATE),
        {QStringLiteral("-silent"), QStringLiteral("-no-obsolete"), QStringLiteral("-locations"),
            QStringLiteral("none"), sources, QStringLiteral("-ts"), fresh});
    QVERIFY2(lupdate.waitForFinished(60000), "lupdate did not finish");
    QVERIFY2(lupdate.exitStatus() == QProcess::NormalExit && lupdate.exitCode() == 0,
        lupdate.readAll().constData());

    QString error;
    const QSet<QString> wanted = keysOf(readTs(fresh, &error));
    QVERIFY2(error.isEmpty(), qPrintable(error));
    const QSet<QString> shipped = keysOf(readTs(ts, &error));
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QVERIFY(!wanted.isEmpty());

    QStringList missing = (wanted - shipped).values();
    QStringList stale = (shipped - wanted).values();
    missing.sort();
    stale.sort();
    QVERIFY2(missing.isEmpty() && stale.isEmpty(),
        qPrintable(QStringLiteral("run the kvc_update_translations target.\nmissing: ")
            + missing.join(QStringLiteral("\n  ")) + QStringLiteral("\nstale: ")
            + stale.join(QStringLiteral("\n  "))));
}

QTEST_MAIN(tst_Translations)
#include "tst_translations.moc"
