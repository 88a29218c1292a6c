#include "kvcserverinfodlg.h"

#include "kvcommclient.h"

#include <QDir>

KvcServerInfoDlg::KvcServerInfoDlg(const KvCommClient *client)
    : QDialog(nullptr)
{
    setupUi(this);

    versionLbl->setText(client->version());
    revisionLbl->setText(client->revision());

    const quint32 options = client->controlOptions();
    serverCancelChk->setChecked(options & KvCommControlCancel);
    serverTerminateChk->setChecked(options & KvCommControlTerminate);
    serverLogChk->setChecked(options & KvCommControlLog);

    const QSharedPointer<KvCommClientData> data = client->clientData();
    if (data && !data->simLoadingTime().isNull()) {
        nameLed->setText(data->simName());
        descriptionTed->setPlainText(data->simDescription());
        for (const QString &file : data->simFiles())
            filesLst->addItem(QDir::toNativeSeparators(file));
    }

    connect(okBtn, &QPushButton::clicked, this, &KvcServerInfoDlg::accept);
}

KvcServerInfoDlg::~KvcServerInfoDlg() = default;
