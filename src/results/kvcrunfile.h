#pragma once

#include "kvcactionmanager.h"
#include "kvcexport.h"
#include "kvcresultsdata.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDateTime>
#include <QSharedPointer>
#include <QString>
#include <QVector>

class QIODevice;

/// One message of a view's log; level -1 is text without a level.
struct KvcRunLogMessage {
    int level = -1;
    QString text;
};

/// What a results view adds to its results data: the status it shows, when
/// that status came, which graphic each of its four charts shows (-1: none)
/// and its log as it kept it (KvcResultsWidget::record()).
struct KvcRunView {
    KvcActionManager::ExecutionStatus status = KvcActionManager::Unknown;
    QDateTime statusTime;
    QVector<int> chartGraphics;
    QVector<KvcRunLogMessage> log;
};

/// A run kept as a file (docs/runfile.md): a small header, then the frames of
/// the monitoring protocol that a client would have received, so that opening
/// a file replays it through the decoder and the store of a live connection.
///
/// save() writes what a results data holds now (a live run too) through
/// QSaveFile: the simulation information, the rule data, the latest index
/// data of every rule, every stored sample in ColumnsFrames that give each
/// sample its stored time, and the view. Samples are regrouped, not kept as they
/// came: the model stores no batches, and a sample's place in its history and
/// its time are all that the results show. Not kept: sequence numbers, the
/// elapsed time of batches without a time sample, descriptions that the model
/// never shows, the "dropped lines" notice as a notice (it stays as a line of
/// text). A value whose index data changed its number of lines after its
/// first sample cannot be replayed (the store checks samples against the
/// latest index data); save() leaves its samples out and says so in
/// `warning`.
///
/// open() reads a file into a new results data. A file that does not start
/// with the header, or of a newer format, is refused. A file that is cut or
/// damaged further on gives what was read before the fault, with a message
/// that says where it stopped (Run::message, Run::complete false). Nothing in
/// a file makes the reader allocate more than the protocol's frame limit
/// beyond what it has read, and every check of the live decoder applies.
///
/// Files written by a recorder (kivo-monitor --record) hold the frames as the
/// server sent them and no view record: their status is taken from the last
/// Status frame.
class KVC_EXPORT KvcRunFile
{
    Q_DECLARE_TR_FUNCTIONS(KvcRunFile)

public:
    static constexpr char Magic[] = "KIVO-RUN";
    static constexpr int MagicSize = 8;
    /// Version 2 added ColumnsFrame; version 1 files are read as ever.
    static constexpr quint32 FormatVersion = 2;
    static constexpr int HeaderSize = MagicSize + 4;
    /// Types of the frames that only files carry (the protocol's receivers
    /// skip them as unknown types).
    enum FileFrameType : quint32 {
        ViewFrame = 1000, ///< {1: status, 2: status time (ms), 3: result name, 4: [chart graphics]}
        RawLogFrame = 1001, ///< {1: text}: log text without a level
        /// Samples of one tracked value, column by column (docs/runfile.md).
        ColumnsFrame = 1002
    };

    struct Run {
        QSharedPointer<KvcResultsData> data;
        KvcRunView view;
        QString simulatorVersion;
        QString simulatorRevision;
        /// False when the file was cut or damaged; `message` says where.
        bool complete = true;
        QString message;
    };

    /// Writes `data` with `view` to `fileName`; false with a translated
    /// reason in `error` (the file is then left as it was).
    static bool save(const QString &fileName, KvcResultsData &data, const KvcRunView &view,
        QString *error, QString *warning = nullptr);
    /// Reads `fileName` into `run`. False when the file cannot be read or is
    /// refused (`run.message` says why, `run.data` is null); true otherwise,
    /// with `run.complete` false when it stopped early.
    static bool open(const QString &fileName, Run &run);
    /// open() of bytes in memory; `name` only names them in messages.
    static bool read(const QByteArray &bytes, const QString &name, Run &run);

    /// The file header: the magic and the format version.
    static QByteArray header();
    /// A log message as a frame: the protocol's Log for levels 0..7, a
    /// RawLogFrame for any other.
    static QByteArray logFrame(int level, const QString &text);

    /// Writes one CSV file per tracked value into `folder` (created if
    /// needed), named "<id>-<rule>-<name>.csv", columns "time" and the
    /// value's series (KvcCsvWriter); the time track's columns are "time" and
    /// "execution time (s)". False with a translated reason at the first
    /// failure; `written` lists the files written.
    static bool exportCsv(
        KvcResultsData &data, const QString &folder, QStringList *written, QString *error);

private:
    static bool readDevice(QIODevice *device, const QString &name, Run &run);
};
