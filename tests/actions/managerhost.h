#pragma once

#include "kvcactionmanager.h"
#include "modalanswerer.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QtTest>

#include <functional>

// The host's side of the manager scenarios: seven actions, the manager on
// them, and the host's ways of driving it (interrogation, the monitor and
// options dialogs). Each suite adds what it records of the manager's signals.
struct ManagerHost {
    QAction run {"run"}, cancel {"cancel"}, terminate {"terminate"}, config {"config"},
        monitor {"monitor"}, serverInfo {"serverInfo"}, disconnect {"disconnect"};
    KvcActionManager manager {
        &run, &cancel, &terminate, &config, &monitor, &serverInfo, &disconnect};
    int initFinished = 0;

    ManagerHost()
    {
        QObject::connect(
            &manager, &KvcActionManager::localKivoInitFinished, [this] { ++initFinished; });
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

// The automatic monitoring preset, but on `port`: the preset's own port is
// fixed and may be taken by anything else running on the machine.
inline std::function<void(QWidget *)> presetOnPort(quint16 port)
{
    return [port](QWidget *dialog) {
        auto *preset = dialog->findChild<QCheckBox *>("autoMonitorChk");
        preset->setChecked(false);
        setText(dialog, "localPortLed", QString::number(port));
        // Ticking the box again would bring the preset's port back.
        QSignalBlocker blocker(preset);
        preset->setChecked(true);
    };
}
