#pragma once

#include "kvcexport.h"
#include "ui_kvcserverinfodlg.h"

#include <QDialog>

class KvCommClient;

/// The modal "Server info" dialog: a read-only snapshot of what a connected
/// monitoring server reported about itself and its model when the dialog
/// was built. It keeps no reference to the client.
class KVC_EXPORT KvcServerInfoDlg
    : public QDialog
    , private Ui::KvcServerInfoDlg
{
    Q_OBJECT

public:
    /// `client` must be connected; it is only read, inside the constructor.
    explicit KvcServerInfoDlg(const KvCommClient *client);
    ~KvcServerInfoDlg() override;
};
