#pragma once

#include "kvcexport.h"
#include "ui_kvcoptionsdlg.h"

#include <QDialog>
#include <QString>

class KvcOptionsWidget;
struct KvcOptions;

/// The modal "Run options" dialog: the run options form with OK and Cancel.
/// OK stores the edited options in the record only when the form is valid;
/// otherwise an "Error..." box names the broken rule and the dialog stays.
class KVC_TESTING_EXPORT KvcOptionsDlg
    : public QDialog
    , private Ui::KvcOptionsDlg
{
    Q_OBJECT

public:
    /// `options` is edited in place and must outlive the dialog; `baseDir`
    /// is where the form's file choosers start.
    KvcOptionsDlg(KvcOptions *options, QString baseDir);

private slots:
    void okRequested();

private:
    void compactLayout();
    KvcOptionsWidget *optionsWidget = nullptr;
};
