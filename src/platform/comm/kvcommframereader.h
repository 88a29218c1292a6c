#pragma once

#include "kvcommexport.h"
#include "kvcommmessage.h"

#include <QByteArray>
#include <QString>

class QIODevice;

/// Splits a byte stream of the monitoring protocol into frames and decodes
/// them, without any socket: bytes go in with addData() or readFrom(),
/// messages come out of readNext().
///
/// Defensive by design: a frame above KvCommProtocol::MaxFrameSize, a CBOR
/// body that is malformed, truncated, of a wrong type or with inconsistent
/// sizes is an error, after which the reader decodes nothing more. Nothing a
/// peer sends makes it allocate more than the frame it has already buffered
/// (plus the decoded values). Unknown message types and unknown keys are
/// skipped whatever their value. KvCommSchema says what each message holds.
class KVCOMM_EXPORT KvCommFrameReader
{
public:
    KvCommFrameReader();
    ~KvCommFrameReader();

    void addData(const char *data, qsizetype size);
    void addData(const QByteArray &data) { addData(data.constData(), data.size()); }
    /// Reads at most `maxBytes` that `device` has available straight into the
    /// buffer; returns the number read (-1 on a device error).
    qint64 readFrom(QIODevice *device, qint64 maxBytes);

    /// Decodes the next complete frame into `message` (whose fields are
    /// reused). False when no complete frame is buffered, or on an error.
    bool readNext(KvCommMessage &message);

    bool hasError() const { return !m_error.isEmpty(); }
    QString errorString() const { return m_error; }
    /// Bytes received but not decoded yet (a partial frame, or frames waiting).
    qsizetype bufferedBytes() const { return m_buffer.size() - m_offset; }
    /// Bytes that the next frame still lacks (0 when a frame is complete).
    qsizetype bytesMissing() const;
    void clear();

    /// Decodes one frame body (without its length prefix).
    bool decodeBody(const char *data, qsizetype size, KvCommMessage &message, QString *error);

private:
    QByteArray m_buffer;
    qsizetype m_offset = 0;
    QString m_error;
};
