#include "kvcmonitordlg.h"

#include "autoluaenv.h"
#include "kvcommclient.h"
#include "luatable.h"
#include "qtintvalidator.h"
#include "qtmessagebox.h"
#include "qtoptionalmessagebox.h"

#include <QFileDialog>
#include <QHostAddress>
#include <QHostInfo>
#include <QInputDialog>
#include <QNetworkInterface>
#include <QPair>
#include <QSettings>

namespace {

using ServerAddress = QPair<QString, unsigned int>;

const char namesKey[] = "/server_names";
const char addressesKey[] = "/server_addresses";

// A list of strings as QSettings hands it back: a one-element list comes back
// from an INI file as a plain string. Anything else (numbers, maps, lists of
// non-strings) is not a list we wrote; `ok` turns false.
QStringList readStringList(const QSettings &settings, const QString &key, bool &ok)
{
    const QVariant value = settings.value(key);
    switch (static_cast<int>(value.type())) {
    case QMetaType::UnknownType:
        return QStringList();
    case QMetaType::QStringList:
        return value.toStringList();
    case QMetaType::QString:
        return QStringList {value.toString()};
    case QMetaType::QVariantList: {
        QStringList list;
        for (const QVariant &item : value.toList()) {
            if (item.type() != QVariant::String) {
                ok = false;
                return QStringList();
            }
            list << item.toString();
        }
        return list;
    }
    default:
        ok = false;
        return QStringList();
    }
}

bool acceptable(const QLineEdit *edit)
{
    QString text = edit->text();
    int pos = 0;
    return edit->validator() && edit->validator()->validate(text, pos) == QValidator::Acceptable;
}

// The field's number as its validator reads it; acceptable() says whether it counts.
unsigned int fieldValue(const QLineEdit *edit)
{
    return static_cast<unsigned int>(
        static_cast<const QtIntValidator *>(edit->validator())->value(edit->text()));
}

} // namespace

KvcMonitorDlg::KvcMonitorDlg(QString settingsGroup, QString connectionFileDir, unsigned int timeout)
    : QDialog(nullptr)
    , connectionFileDir(connectionFileDir)
    , settingsGroup(settingsGroup)
{
    setupUi(this);
    connectingLbl->hide();
    connectingBar->hide();

    loadServers();
    fillAddressList();
    timeoutLed->setText(QString::number(timeout));

    portLed->setValidator(new QtIntValidator(1, 65535, this));
    timeoutLed->setValidator(new QtIntValidator(0, 1000, this));

    // Wired after the filling above, so that it triggers none of these.
    connect(connectBtn, &QPushButton::clicked, this, &KvcMonitorDlg::connectRequested);
    connect(cancelBtn, &QPushButton::clicked, this, &KvcMonitorDlg::reject);
    connect(openLed, &QToolButton::clicked, this, &KvcMonitorDlg::openConnectionFileRequested);
    connect(addServerBtn, &QToolButton::clicked, this, &KvcMonitorDlg::addServerRequested);
    connect(removeServerBtn, &QToolButton::clicked, this, &KvcMonitorDlg::removeServerRequested);
    connect(serversCmb, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
        &KvcMonitorDlg::serverChanged);
    connect(addressCmb, &QComboBox::currentTextChanged, this, &KvcMonitorDlg::resetServer);
    connect(portLed, &QLineEdit::textChanged, this, &KvcMonitorDlg::resetServer);
}

KvcMonitorDlg::~KvcMonitorDlg() { delete pendingClient; }

bool KvcMonitorDlg::showServerInfo() const { return showInfoChk->isChecked(); }

void KvcMonitorDlg::reject()
{
    // Cancel is disabled exactly while an attempt runs; the attempt can't be
    // abandoned, it ends within its own time limit.
    if (!cancelBtn->isEnabled())
        return;
    QDialog::reject();
}

void KvcMonitorDlg::fillAddressList()
{
    addressCmb->addItem(QStringLiteral("localhost"));
    const QString hostName = QHostInfo::localHostName();
    if (!hostName.isEmpty() && hostName != QLatin1String("localhost")) {
        addressCmb->addItem(hostName);
        const QString domain = QHostInfo::localDomainName();
        if (!domain.isEmpty())
            addressCmb->addItem(hostName + QLatin1Char('.') + domain);
    }
    const QHostAddress loopback(QHostAddress::LocalHost);
    for (const QHostAddress &address : QNetworkInterface::allAddresses()) {
        if (address == loopback || address.toIPv4Address() == 0)
            continue;
        addressCmb->addItem(address.toString());
    }
}

void KvcMonitorDlg::showInvalidServerListWarning()
{
    QtOptionalMessageBox::warning(this, QStringLiteral("MONITOR_DLG_INVALID_SERVER_LIST"),
        tr("Error..."), tr("Error loading saved server configurations."), QMessageBox::Ok,
        QMessageBox::NoButton, QMessageBox::NoButton);
}

void KvcMonitorDlg::loadServers()
{
    serversCmb->addItem(QString());

    const QSettings settings;
    bool ok = true;
    const QStringList names = readStringList(settings, settingsGroup + namesKey, ok);
    const QStringList addresses = readStringList(settings, settingsGroup + addressesKey, ok);
    if (!ok || addresses.size() != 2 * names.size()) {
        showInvalidServerListWarning();
        return;
    }
    for (int i = 0; i < names.size(); ++i) {
        bool portOk = false;
        const unsigned int port = addresses.at(2 * i + 1).toUInt(&portOk);
        if (!portOk) {
            showInvalidServerListWarning();
            return;
        }
        serversCmb->addItem(
            names.at(i), QVariant::fromValue(ServerAddress(addresses.at(2 * i), port)));
    }
}

void KvcMonitorDlg::saveServers()
{
    QStringList names;
    QStringList addresses;
    for (int i = 1; i < serversCmb->count(); ++i) {
        const ServerAddress server = serversCmb->itemData(i).value<ServerAddress>();
        names << serversCmb->itemText(i);
        addresses << server.first << QString::number(server.second);
    }
    QSettings settings;
    // With an empty group, removing "it" would wipe the whole store.
    if (settingsGroup.isEmpty()) {
        settings.remove(QLatin1String(namesKey));
        settings.remove(QLatin1String(addressesKey));
    } else {
        settings.remove(settingsGroup);
    }
    settings.setValue(settingsGroup + namesKey, names);
    settings.setValue(settingsGroup + addressesKey, addresses);
}

void KvcMonitorDlg::serverChanged(int index)
{
    if (index <= 0)
        return;
    const ServerAddress server = serversCmb->itemData(index).value<ServerAddress>();
    fillingFields = true;
    addressCmb->setEditText(server.first);
    portLed->setText(QString::number(server.second));
    fillingFields = false;
}

void KvcMonitorDlg::resetServer()
{
    if (!fillingFields)
        serversCmb->setCurrentIndex(0);
}

void KvcMonitorDlg::addServerRequested()
{
    const QString host = addressCmb->currentText().trimmed();
    const unsigned int port = fieldValue(portLed);
    if (host.isEmpty() || !acceptable(portLed)) {
        QtMessageBox::critical(
            this, tr("Error..."), tr("Invalid connection parameters!"), QMessageBox::Ok);
        return;
    }
    const QString name = QInputDialog::getText(
        this, tr("Server name"), tr("Server name:"), QLineEdit::Normal, QString());
    if (name.trimmed().isEmpty())
        return;
    serversCmb->addItem(name, QVariant::fromValue(ServerAddress(host, port)));
    serversCmb->setCurrentIndex(serversCmb->count() - 1);
    saveServers();
}

void KvcMonitorDlg::removeServerRequested()
{
    const int index = serversCmb->currentIndex();
    if (index <= 0)
        return;
    serversCmb->setCurrentIndex(0);
    serversCmb->removeItem(index);
    saveServers();
}

void KvcMonitorDlg::openConnectionFileRequested()
{
    const QString fileName = QFileDialog::getOpenFileName(this, tr("Open connection file"),
        connectionFileDir, tr("Text files (*.txt);;All files (*.*)"));
    if (fileName.isEmpty())
        return;

    // A fresh sandbox per file: nothing one file sets can leak into the next.
    AutoLuaEnv env(LuaEnv::AllLibraries);
    QString error;
    if (!env.runScript(fileName, QString(), error)) {
        QtMessageBox::critical(this, tr("Error..."),
            tr("Error parsing connection file: %1").arg(error), QMessageBox::Ok);
        return;
    }
    const auto option = LuaEnv::PopFromStack;
    const QString ip = env.getGlobal("ip", option).toString();
    const unsigned int port = env.getGlobal("port", option).toUInt();
    const QVariant addressesValue = env.getGlobal("addresses", option);
    LuaTable addresses;
    if (addressesValue.canConvert<LuaTable>())
        addresses = addressesValue.value<LuaTable>();
    const QStringList list = addresses.isNull() ? QStringList() : addresses.toStringList();

    addressCmb->clear();
    if (list.isEmpty())
        addressCmb->addItem(ip);
    else
        addressCmb->addItems(list);
    portLed->setText(QString::number(port));
}

void KvcMonitorDlg::connectRequested()
{
    const QString host = addressCmb->currentText().trimmed();
    const unsigned int port = fieldValue(portLed);
    const unsigned int timeout = fieldValue(timeoutLed);
    if (host.isEmpty() || !acceptable(portLed) || !acceptable(timeoutLed)) {
        QtMessageBox::critical(
            this, tr("Error..."), tr("Invalid connection or timeout parameters!"), QMessageBox::Ok);
        return;
    }

    connectBtn->setEnabled(false);
    cancelBtn->setEnabled(false);
    connectingLbl->show();
    connectingBar->show();

    pendingClient = new KvCommClient(nullptr);
    connect(pendingClient, SIGNAL(serverConnected()), this, SLOT(serverConnected()));
    connect(
        pendingClient, SIGNAL(serverError(QString)), this, SLOT(serverConnectionError(QString)));
    pendingClient->connectToServer(host, static_cast<quint16>(port), timeout * 1000);
}

void KvcMonitorDlg::serverConnected()
{
    KvCommClient *client = pendingClient;
    if (!client)
        return;
    client->disconnect(this);
    pendingClient = nullptr;
    emit connected(client);
    accept();
}

void KvcMonitorDlg::serverConnectionError(QString msg)
{
    if (!pendingClient)
        return;
    pendingClient->disconnect(this);
    // We are inside the client's own signal.
    pendingClient->deleteLater();
    pendingClient = nullptr;
    connectingLbl->hide();
    connectingBar->hide();
    QtMessageBox::critical(this, tr("Error..."), msg, QMessageBox::Ok);
    connectBtn->setEnabled(true);
    cancelBtn->setEnabled(true);
}
