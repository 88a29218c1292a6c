#pragma once

#include "kvcexport.h"
#include "ui_kvcmonitordlg.h"

#include <QDialog>
#include <QString>

class KvCommClient;

/// The modal "Monitor simulation" dialog: the user names a monitoring server
/// (typed, picked from the saved servers, or read from a connection file)
/// and connects to it.
///
/// Saved servers live in the application's default QSettings under the
/// group given to the constructor, as the string lists "/server_names" and
/// "/server_addresses" (host, port per server). A stored list that cannot be
/// read shows the optional warning "MONITOR_DLG_INVALID_SERVER_LIST" and
/// loads what it can; loading never writes to the settings.
///
/// Each Connect makes a new KvCommClient. While it connects, the dialog
/// cannot be closed or cancelled; the attempt ends within its time limit.
/// On success the client is handed over through connected() and the dialog
/// is accepted; on failure the client is deleted later and the error shown.
class KVC_TESTING_EXPORT KvcMonitorDlg
    : public QDialog
    , private Ui::KvcMonitorDlg
{
    Q_OBJECT

public:
    /// `timeout` is the initial time limit in seconds.
    KvcMonitorDlg(QString settingsGroup, QString connectionFileDir, unsigned int timeout);
    /// Deletes the client of an attempt still in progress.
    ~KvcMonitorDlg() override;

    /// Whether the user asked to see the server info after connecting.
    bool showServerInfo() const;

signals:
    /// Emitted once, when an attempt succeeds, right before the dialog is
    /// accepted. The receiver owns `client`.
    void connected(KvCommClient *client);

public slots:
    /// Closes the dialog as rejected, except while an attempt is in progress.
    void reject() override;

private slots:
    void serverChanged(int index);
    void addServerRequested();
    void removeServerRequested();
    void resetServer();
    void openConnectionFileRequested();
    void connectRequested();
    void serverConnected();
    void serverConnectionError(QString msg);

private:
    void fillAddressList();
    void loadServers();
    void saveServers();
    void showInvalidServerListWarning();

    QString connectionFileDir;
    KvCommClient *pendingClient = nullptr;
    QString settingsGroup;
    bool fillingFields = false;
};
