#include "kvcoptionsdlg.h"

#include "kvcoptionswidget.h"
#include "qtmessagebox.h"

#include <QScreen>

KvcOptionsDlg::KvcOptionsDlg(KvcOptions *options, QString baseDir)
    : QDialog(nullptr)
{
    setupUi(this);
    optionsWidget = new KvcOptionsWidget(options, baseDir, this);
    verticalLayout->insertWidget(1, optionsWidget);
    compactLayout();

    connect(okBtn, &QPushButton::clicked, this, &KvcOptionsDlg::okRequested);
    connect(cancelBtn, &QPushButton::clicked, this, &KvcOptionsDlg::reject);
}

// Sixteen rows of options and the logo asked for more height than a
// 1366x768 screen has, the buttons off-screen: tighter spacing and, where
// that is still too tall, the explanation as the logo's tooltip, then neither
// logo nor explanation but the explanation as the form's tooltip.
void KvcOptionsDlg::compactLayout()
{
    for (QLayout *layout : findChildren<QLayout *>()) {
        layout->setSpacing(qMin(layout->spacing(), 3));
        if (layout != verticalLayout && layout->parentWidget() != optionsWidget)
            layout->setContentsMargins(6, 4, 6, 4);
    }
    const QScreen *shown = screen();
    const int room = shown ? shown->availableGeometry().height() - 60 : 700;
    if (sizeHint().height() > room) {
        label_6->setToolTip(label_7->text());
        label_7->hide();
    }
    // Still too tall: the logo's row goes too; the explanation stays as the
    // form's tooltip.
    if (sizeHint().height() > room) {
        optionsWidget->setToolTip(label_7->text());
        label_6->hide();
    }
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
