#include "kvcoptionsdlg.h"

#include "kvcoptionswidget.h"
#include "qtmessagebox.h"

KvcOptionsDlg::KvcOptionsDlg(KvcOptions *options, QString baseDir)
    : QDialog(nullptr)
{
    setupUi(this);
    optionsWidget = new KvcOptionsWidget(options, baseDir, this);
    verticalLayout->insertWidget(1, optionsWidget);

    connect(okBtn, &QPushButton::clicked, this, &KvcOptionsDlg::okRequested);
    connect(cancelBtn, &QPushButton::clicked, this, &KvcOptionsDlg::reject);
}

void KvcOptionsDlg::okRequested()
{
    QString msg;
    if (optionsWidget->checkAndLoad(msg)) {
        accept();
        return;
    }
    QtMessageBox::critical(nullptr, tr("Error..."), msg, QMessageBox::Ok);
}
