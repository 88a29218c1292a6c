// The headless main job of kivo-studio, run as a user would run it: one
// monitored run of a model, a screenshot, a summary and the exit code.
#include <QImage>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString studioPath = QStringLiteral(KVC_BIN_DIR "/kivo-studio");
const QString fastModel = QStringLiteral(KVC_EXAMPLES_DIR "/heat1d-fast.lua");

struct Outcome {
    int exitCode = -1;
    QString summary;
    QString output;
};

// Runs the headless job in `dir` (its working directory, its settings) and
// reads the summary it wrote there.
Outcome runHeadless(
    const QTemporaryDir &dir, const QString &model, const QStringList &extra = QStringList())
{
    QProcess studio;
    studio.setWorkingDirectory(dir.path());
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    // Saved servers and silenced questions of the user stay out of the run.
    env.insert("XDG_CONFIG_HOME", dir.filePath("config"));
    env.insert("QT_QPA_PLATFORM", "offscreen");
    studio.setProcessEnvironment(env);
    studio.setProcessChannelMode(QProcess::MergedChannels);
    const QStringList arguments {"--headless", "--screenshot", dir.filePath("shot.png"),
        "--summary", dir.filePath("summary.txt"), "--timeout", "60", model};
    studio.start(studioPath, arguments + extra);
    Outcome outcome;
    if (!studio.waitForFinished(90000)) {
        studio.kill();
        studio.waitForFinished();
        return outcome;
    }
    outcome.output = QString::fromLocal8Bit(studio.readAll());
    outcome.exitCode = studio.exitStatus() == QProcess::NormalExit ? studio.exitCode() : -1;
    QFile file(dir.filePath("summary.txt"));
    if (file.open(QIODevice::ReadOnly | QIODevice::Text))
        outcome.summary = QString::fromUtf8(file.readAll());
    return outcome;
}

// The value of the summary's line "<key>: value".
QString summaryValue(const QString &summary, const QString &key)
{
    for (const QString &line : summary.split('\n')) {
        if (line.startsWith(key + ": "))
            return line.mid(key.size() + 2);
    }
    return QString();
}

int distinctColours(const QImage &image)
{
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 2) {
        for (int x = 0; x < image.width(); x += 2)
            colours.insert(image.pixel(x, y));
    }
    return colours.size();
}

} // namespace

class KivoStudioHeadlessTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(studioPath), qPrintable(studioPath));
        QVERIFY2(QFile::exists(fastModel), qPrintable(fastModel));
    }

    void finishedRunSavesScreenshotAndSummary()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const Outcome outcome = runHeadless(dir, fastModel);
        QVERIFY2(outcome.exitCode == 0, qPrintable(outcome.output));

        QCOMPARE(summaryValue(outcome.summary, "status"), QString("Finished"));
        QCOMPARE(summaryValue(outcome.summary, "model"), fastModel);
        QVERIFY(summaryValue(outcome.summary, "simulator").startsWith("Kivo "));
        const QString samples = summaryValue(outcome.summary, "samples received");
        QVERIFY2(samples.section(' ', 0, 0).toLongLong() > 0, qPrintable(outcome.summary));
        QVERIFY(summaryValue(outcome.summary, "graphics").toInt() > 3);
        QVERIFY2(summaryValue(outcome.summary, "simulated time reached") == "200 s",
            qPrintable(outcome.summary));
        QCOMPARE(summaryValue(outcome.summary, "screenshot"), dir.filePath("shot.png"));
        // The summary is printed too.
        QVERIFY(outcome.output.contains(outcome.summary));

        QImage shot(dir.filePath("shot.png"));
        QVERIFY(!shot.isNull());
        QVERIFY2(qAbs(shot.width() - 1400) <= 200 && qAbs(shot.height() - 900) <= 200,
            qPrintable(QString("%1x%2").arg(shot.width()).arg(shot.height())));
        // Charts, text and frames: far more than a blank or flat picture has.
        QVERIFY2(distinctColours(shot) > 32, qPrintable(QString::number(distinctColours(shot))));
        // Nothing lands in the working directory but what was asked for.
        QCOMPARE(QDir(dir.path()).entryList({"kivo-studio*"}, QDir::Files), QStringList());
    }

    // Nobody can answer a box without a display: the error is printed and the
    // program ends at once, without a crash.
    void simulatorThatCannotStartIsPrintedAndEndsTheRun_data()
    {
        QTest::addColumn<bool>("directory");
        QTest::newRow("a file without the execute bit") << false;
        QTest::newRow("a directory") << true;
    }

    void simulatorThatCannotStartIsPrintedAndEndsTheRun()
    {
        QFETCH(bool, directory);
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString kivo = dir.filePath("kivo");
        if (directory) {
            QVERIFY(QDir().mkdir(kivo));
        } else {
            QFile file(kivo);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("not a program");
        }
        const Outcome outcome = runHeadless(dir, fastModel, {"--kivo", kivo});
        QVERIFY2(outcome.exitCode == 2, qPrintable(outcome.output));
        QVERIFY2(outcome.output.contains(
                     QString("The Kivo executable [%1] failed to start: ").arg(kivo)),
            qPrintable(outcome.output));
        QCOMPARE(summaryValue(outcome.summary, "status"), QString("no simulator or no model"));
    }

    void modelWithAnErrorAbortsWithAFailure()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString model = dir.filePath("broken.lua");
        QFile file(model);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("Simulation{ name = \"Broken\", endTime = 10, timeStep = 1 }\n"
                   "error(\"the rod is missing\")\n");
        file.close();

        const Outcome outcome = runHeadless(dir, model);
        QVERIFY2(outcome.exitCode > 0, qPrintable(outcome.output));
        QCOMPARE(summaryValue(outcome.summary, "status"), QString("Aborted"));
        QCOMPARE(
            summaryValue(outcome.summary, "samples received").section(' ', 0, 0), QString("0"));
        // The picture of the failure is saved all the same.
        QVERIFY(!QImage(dir.filePath("shot.png")).isNull());
    }
};

QTEST_MAIN(KivoStudioHeadlessTest)
#include "tst_kivostudioheadless.moc"
