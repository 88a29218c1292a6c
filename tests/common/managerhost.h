#pragma once

#include "kvcactionmanager.h"
#include "modalanswerer.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QTcpServer>
#include <QtTest>

#include <atomic>
#include <functional>

// What the manager scenarios run.
const QString kivoPath = QStringLiteral(KVC_BIN_DIR "/kivo");
const QString fastModel = QStringLiteral(KVC_EXAMPLES_DIR "/heat1d-fast.lua");
const QString longModel = QStringLiteral(KVC_EXAMPLES_DIR "/heat1d-long.lua");

// The host's side of the manager scenarios: seven actions, the manager on
// them, everything it reported, and the host's ways of driving it
// (interrogation, the monitor and options dialogs).
struct ManagerHost {
    using Status = KvcActionManager::ExecutionStatus;
    struct Event {
        Status status;
        KvcResultsData *data;
    };

    QAction run {"run"}, cancel {"cancel"}, terminate {"terminate"}, config {"config"},
        monitor {"monitor"}, serverInfo {"serverInfo"}, disconnect {"disconnect"};
    KvcActionManager manager {
        &run, &cancel, &terminate, &config, &monitor, &serverInfo, &disconnect};
    int initFinished = 0;
    QVector<Event> statuses;
    QList<int> levels;
    std::atomic<qint64> lines {0}; // read by a publishing thread in the floods
    // The log as forwarded, or its last `keepLog` characters or so when a
    // flood would not fit.
    QString log;
    int keepLog = -1;

    ManagerHost()
    {
        QObject::connect(
            &manager, &KvcActionManager::localKivoInitFinished, [this] { ++initFinished; });
        QObject::connect(&manager, &KvcActionManager::executionStatusChanged,
            [this](Status status, QSharedPointer<KvcResultsData> &data) {
                statuses << Event {status, data.data()};
            });
        QObject::connect(
            &manager, &KvcActionManager::logDataReceived, [this](int level, const QString &text) {
                levels << level;
                lines += text.count(QLatin1Char('\n'));
                log += text;
                if (keepLog >= 0 && log.size() > keepLog)
                    log.remove(0, log.size() - keepLog / 2);
            });
    }

    // The statuses from index `from` on, by name; "(null)" marks one
    // reported without data.
    QStringList names(int from = 0, bool markNull = false) const
    {
        QStringList result;
        for (int i = from; i < statuses.size(); ++i)
            result << KvcActionManager::execStatusStr(statuses[i].status)
                    + (markNull && !statuses[i].data ? QStringLiteral(" (null)") : QString());
        return result;
    }

    // "rctcmsd": the enabled state of run, cancel, terminate, config,
    // monitor, server info, disconnect, as letters or dashes.
    QString enabled() const
    {
        const QAction *actions[]
            = {&run, &cancel, &terminate, &config, &monitor, &serverInfo, &disconnect};
        const char letters[] = "rctcmsd";
        QString result;
        for (int i = 0; i < 7; ++i)
            result += actions[i]->isEnabled() ? QLatin1Char(letters[i]) : QLatin1Char('-');
        return result;
    }

    bool interrogate(const QString &exe, const QString &model)
    {
        const int before = initFinished;
        manager.asyncLocalKivoInit(exe);
        if (!QTest::qWaitFor([this, before] { return initFinished > before; }, 15000))
            return false;
        manager.setLocalKivoModelFile(model);
        return manager.canExecLocalKivo();
    }

    // Connects to localhost:port through the monitor action's dialog.
    void connectThroughDialog(quint16 port)
    {
        handleNextModal(
            [port](QWidget *dialog) {
                dialog->findChild<QComboBox *>("addressCmb")->setEditText("localhost");
                dialog->findChild<QLineEdit *>("portLed")->setText(QString::number(port));
                dialog->findChild<QPushButton *>("connectBtn")->click();
            },
            "KvcMonitorDlg");
        monitor.trigger();
    }

    // Edits the run options through the configure action's dialog.
    void editOptions(std::function<void(QWidget *)> edit)
    {
        handleNextModal(
            [edit](QWidget *dialog) {
                edit(dialog);
                dialog->findChild<QPushButton *>("okBtn")->click();
            },
            "KvcOptionsDlg");
        config.trigger();
    }
};

inline void setChecked(QWidget *dialog, const char *name, bool checked)
{
    dialog->findChild<QCheckBox *>(name)->setChecked(checked);
}

inline void setText(QWidget *dialog, const char *name, const QString &text)
{
    dialog->findChild<QLineEdit *>(name)->setText(text);
}

// Options for a local run without automatic monitoring. With `server` the
// simulator's server listens on a port of the system's choosing (see
// listeningPort()) and the run waits for a first client; with `serverLog`
// the log then goes through the server instead of the process's output.
inline std::function<void(QWidget *)> localRun(bool server = false, bool serverLog = false)
{
    return [server, serverLog](QWidget *dialog) {
        setChecked(dialog, "autoMonitorChk", false);
        setChecked(dialog, "localChk", server);
        setText(dialog, "localPortLed", QString());
        setText(dialog, "waitLed", server ? QStringLiteral("0") : QString());
        setChecked(dialog, "noserverChk", !serverLog);
        setChecked(dialog, "serverChk", serverLog);
    };
}

// The port a simulator's server reported in its log; 0 until it has.
inline quint16 listeningPort(const QString &log)
{
    static const QRegularExpression listening(
        QStringLiteral("Monitoring server listening on localhost port (\\d+)"));
    return quint16(listening.match(log).captured(1).toUInt());
}

// A port for automatic monitoring, which must be told its port before the
// simulator binds it (so it cannot be 0): one that the system just handed
// out, which it does not hand out again at once.
inline quint16 portForAutomaticMonitoring()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

// The automatic monitoring preset on such a port, not the preset's fixed
// one, which anything else on the machine may hold.
inline std::function<void(QWidget *)> presetOnAFreePort()
{
    const quint16 port = portForAutomaticMonitoring();
    return [port](QWidget *dialog) {
        auto *preset = dialog->findChild<QCheckBox *>("autoMonitorChk");
        preset->setChecked(false);
        setText(dialog, "localPortLed", QString::number(port));
        // Ticking the box again would bring the preset's port back.
        QSignalBlocker blocker(preset);
        preset->setChecked(true);
    };
}
