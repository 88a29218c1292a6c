#include "kvcoptionswidget.h"

#include "qtintvalidator.h"

#include <QDir>
#include <QFileDialog>

namespace {

QString numberText(int value) { return value == -1 ? QString() : QString::number(value); }

// An empty field means "not set"; the validators keep other texts in range
// and read them as they accepted them.
int numberValue(const QLineEdit *edit)
{
    const QString text = edit->text().trimmed();
    const auto *validator = static_cast<const QtIntValidator *>(edit->validator());
    return text.isEmpty() ? -1 : static_cast<int>(validator->value(text));
}

bool acceptable(const QLineEdit *edit)
{
    if (edit->text().trimmed().isEmpty())
        return true;
    QString text = edit->text();
    int pos = 0;
    return edit->validator()->validate(text, pos) == QValidator::Acceptable;
}

} // namespace

KvcOptionsWidget::KvcOptionsWidget(KvcOptions *options, QString baseDir, QWidget *parent)
    : QWidget(parent)
{
    setupUi(this);
    setDialogData(options);
    this->options = options;
    this->baseDir = baseDir;

    localPortLed->setValidator(new QtIntValidator(1, 65535, this));
    waitLed->setValidator(new QtIntValidator(0, 1000000, this));

    // Connected after setDialogData, so that a record that arrives with
    // autoMonitor set keeps its own monitoring values.
    connect(autoMonitorChk, &QCheckBox::toggled, this, &KvcOptionsWidget::autoMonitoringToggled);

    const struct {
        QToolButton *button;
        QLineEdit *edit;
        bool selectDirectory;
        bool openConfigFile;
        bool serverAddressFile;
    } browsers[] = {
        {configFileBrowseBtn, configFileLed, false, true, false},
        {logFileBrowseBtn, logFileLed, false, false, false},
        {logBrowseBtn, logLed, true, false, false},
        {inputBrowseBtn, inputLed, true, false, false},
        {outputBrowseBtn, outputLed, true, false, false},
        {connectFileBrowseBtn, connectFileLed, false, false, true},
    };
    for (const auto &b : browsers) {
        QLineEdit *edit = b.edit;
        const bool dir = b.selectDirectory, config = b.openConfigFile, server = b.serverAddressFile;
        connect(b.button, &QToolButton::clicked, this,
            [this, edit, dir, config, server] { selectFileRequested(edit, dir, config, server); });
    }
}

bool KvcOptionsWidget::checkAndLoad(QString &msg)
{
    if (!acceptable(localPortLed)) {
        msg = tr("Invalid local port value");
        return false;
    }
    if (!acceptable(waitLed)) {
        msg = tr("Invalid wait value");
        return false;
    }
    const KvcOptions edited = loadDialogData();
    if (!edited.check(msg))
        return false;
    *options = edited;
    return true;
}

void KvcOptionsWidget::setDialogData(const KvcOptions *options)
{
    configFileLed->setText(options->configFile);
    userParamsLed->setText(options->userParams);
    logFileLed->setText(options->logFile);
    logLed->setText(options->logPath);
    inputLed->setText(options->inputPath);
    outputLed->setText(options->outputPath);
    connectFileLed->setText(options->connectFile);

    autoMonitorChk->setChecked(options->autoMonitor);
    monitorChk->setChecked(options->monitor);
    nomonitorChk->setChecked(options->nomonitor);
    localChk->setChecked(options->local);
    quietChk->setChecked(options->quiet);
    verboseChk->setChecked(options->verbose);
    memoryChk->setChecked(options->memory);
    nomemoryChk->setChecked(options->nomemory);
    timeChk->setChecked(options->time);
    notimeChk->setChecked(options->notime);
    serverChk->setChecked(options->server);
    noserverChk->setChecked(options->noserver);
    noconsoleChk->setChecked(options->noconsole);
    regressionChk->setChecked(options->regression);

    localPortLed->setText(numberText(options->localPort));
    waitLed->setText(numberText(options->wait));

    enableMonitorFields(!options->autoMonitor);
}

KvcOptions KvcOptionsWidget::loadDialogData() const
{
    KvcOptions o;
    o.configFile = configFileLed->text().trimmed();
    o.userParams = userParamsLed->text().trimmed();
    o.logFile = logFileLed->text().trimmed();
    o.logPath = logLed->text().trimmed();
    o.inputPath = inputLed->text().trimmed();
    o.outputPath = outputLed->text().trimmed();
    o.connectFile = connectFileLed->text().trimmed();

    o.autoMonitor = autoMonitorChk->isChecked();
    o.monitor = monitorChk->isChecked();
    o.nomonitor = nomonitorChk->isChecked();
    o.local = localChk->isChecked();
    o.quiet = quietChk->isChecked();
    o.verbose = verboseChk->isChecked();
    o.memory = memoryChk->isChecked();
    o.nomemory = nomemoryChk->isChecked();
    o.time = timeChk->isChecked();
    o.notime = notimeChk->isChecked();
    o.server = serverChk->isChecked();
    o.noserver = noserverChk->isChecked();
    o.noconsole = noconsoleChk->isChecked();
    o.regression = regressionChk->isChecked();

    o.localPort = numberValue(localPortLed);
    o.wait = numberValue(waitLed);
    return o;
}

void KvcOptionsWidget::enableMonitorFields(bool enable)
{
    for (QWidget *w : {static_cast<QWidget *>(monitorChk), static_cast<QWidget *>(nomonitorChk),
             static_cast<QWidget *>(localChk), static_cast<QWidget *>(localPortLed),
             static_cast<QWidget *>(connectFileLed), static_cast<QWidget *>(connectFileBrowseBtn),
             static_cast<QWidget *>(waitLed), static_cast<QWidget *>(serverChk),
             static_cast<QWidget *>(noserverChk), static_cast<QWidget *>(noconsoleChk)})
        w->setEnabled(enable);
}

void KvcOptionsWidget::selectFileRequested(
    QLineEdit *edit, bool selectDirectory, bool openConfigFile, bool serverAddressFile)
{
    QString start = edit->text().trimmed();
    if (start.isEmpty())
        start = baseDir;

    QString chosen;
    if (selectDirectory) {
        chosen = QFileDialog::getExistingDirectory(
            this, tr("Select a directory"), start, QFileDialog::ShowDirsOnly);
    } else if (openConfigFile) {
        chosen = QFileDialog::getOpenFileName(this, tr("Open a Kivo config file"), start,
            tr("Lua config files (*.lua);;Text files (*.txt)"));
    } else {
        const QString title
            = serverAddressFile ? tr("Save Kivo server address file") : tr("Save Kivo log file");
        chosen = QFileDialog::getSaveFileName(this, title, start, tr("Text files (*.txt)"));
    }
    if (!chosen.isEmpty())
        edit->setText(QDir::toNativeSeparators(chosen));
}

void KvcOptionsWidget::autoMonitoringToggled(bool checked)
{
    if (checked) {
        KvcOptions preset;
        preset.enableAutoMonitorOptions();
        monitorChk->setChecked(preset.monitor);
        nomonitorChk->setChecked(preset.nomonitor);
        localChk->setChecked(preset.local);
        localPortLed->setText(numberText(preset.localPort));
        connectFileLed->setText(preset.connectFile);
        waitLed->setText(numberText(preset.wait));
        serverChk->setChecked(preset.server);
        noserverChk->setChecked(preset.noserver);
        noconsoleChk->setChecked(preset.noconsole);
    }
    enableMonitorFields(!checked);
}
