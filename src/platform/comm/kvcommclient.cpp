#include "kvcommclient.h"

#include "kvcommclientprivate.h"
#include "kvcommframewriter.h"

#include <QTimer>

#include <cstddef>

KvCommClient::KvCommClient(QObject *parent)
    : QObject(parent)
    , d(new KvCommClientPrivate(this))
    , m_clientData(new KvCommClientData)
{
    qRegisterMetaType<KvCommSimulationStatus>("KvCommSimulationStatus");
}

KvCommClient::~KvCommClient()
{
    // Nothing is emitted from here: the private part drops its socket with
    // its signals disconnected.
    delete d;
}

void KvCommClient::checkLayout()
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
    static_assert(sizeof(KvCommClient) == 104, "callers allocate the client");
    static_assert(offsetof(KvCommClient, m_simulationStatus) == 72,
        "simulationStatus() is compiled into callers");
    static_assert(offsetof(KvCommClient, m_controlOptions) == 96,
        "controlOptions() is compiled into callers");
#pragma GCC diagnostic pop
}

void KvCommClient::connectToServer(QString host, quint16 port, unsigned int timeout)
{
    if (m_state != Unconnected)
        return; // one attempt per client
    m_host = host.trimmed();
    m_port = port;
    m_timeout = timeout;
    m_state = Connecting;
    // Started from the event loop, so that no outcome is emitted inside this call.
    QTimer::singleShot(0, this, [this] { d->start(); });
}

void KvCommClient::disconnectFromServer()
{
    if (m_state == Connecting)
        d->abandon();
    else if (m_state == Connected)
        d->disconnectNow();
}

void KvCommClient::sendControlRequest(KvCommControlOptions request)
{
    if (m_state == Connected)
        d->sendFrame(KvCommFrameWriter::controlRequest(quint32(request)));
}

void KvCommClient::setHeartbeat(int intervalMs, int deadAfterMs)
{
    d->heartbeatInterval = qMax(1, intervalMs);
    d->deadAfter = qMax(1, deadAfterMs);
}

QSharedPointer<KvCommClientData> KvCommClient::clientData() const { return m_clientData; }

QString KvCommClient::version() const { return m_version; }

QString KvCommClient::revision() const { return m_revision; }

KvCommClient::State KvCommClient::state() const { return State(m_state); }

QString KvCommClient::host() const { return m_host; }

quint16 KvCommClient::port() const { return m_port; }
