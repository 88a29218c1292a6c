#pragma once

#include "kvcexport.h"
#include "kvcoptions.h"
#include "ui_kvcoptionswidget.h"

#include <QString>
#include <QWidget>

class QLineEdit;

/// The form that edits one KvcOptions record.
///
/// The form works on the values it shows: the edited record (not owned, it
/// must outlive the form) is written only by a successful checkAndLoad(),
/// with a complete new record. The form shows no message boxes itself.
///
/// Ticking "Enable automatic monitoring settings" fills in the automatic
/// monitoring preset and locks the ten monitoring fields; unticking unlocks
/// them and leaves the values in place.
class KVC_EXPORT KvcOptionsWidget
    : public QWidget
    , private Ui::KvcOptionsWidget
{
    Q_OBJECT

public:
    KvcOptionsWidget(KvcOptions *options, QString baseDir, QWidget *parent = nullptr);

    /// Validates the form; on success writes its values into the edited
    /// record and returns true. Otherwise returns false with the reason in
    /// `msg` and leaves the record untouched.
    bool checkAndLoad(QString &msg);

private slots:
    void autoMonitoringToggled(bool checked);

private:
    void setDialogData(const KvcOptions *options);
    KvcOptions loadDialogData() const;
    void enableMonitorFields(bool enable);
    void selectFileRequested(
        QLineEdit *edit, bool selectDirectory, bool openConfigFile, bool serverAddressFile);

    KvcOptions *options = nullptr;
    QString baseDir;
};
