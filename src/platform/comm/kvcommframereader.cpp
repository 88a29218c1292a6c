#include "kvcommframereader.h"

#include "kvcommschemadecoder.h"

#include <QIODevice>
#include <QtEndian>

#include <cstring>

KvCommFrameReader::KvCommFrameReader() = default;
KvCommFrameReader::~KvCommFrameReader() = default;

void KvCommFrameReader::addData(const char *data, qsizetype size)
{
    if (size <= 0)
        return;
    m_buffer.append(data, int(size));
}

qint64 KvCommFrameReader::readFrom(QIODevice *device, qint64 maxBytes)
{
    const qint64 n = qMin(device->bytesAvailable(), maxBytes);
    if (n <= 0)
        return 0;
    const int old = m_buffer.size();
    m_buffer.resize(old + int(n));
    const qint64 got = device->read(m_buffer.data() + old, n);
    m_buffer.resize(old + int(qMax<qint64>(got, 0)));
    return got;
}

qsizetype KvCommFrameReader::bytesMissing() const
{
    const qsizetype avail = bufferedBytes();
    if (avail < 4)
        return 4 - avail;
    const quint32 len = qFromBigEndian<quint32>(m_buffer.constData() + m_offset);
    const qsizetype need = 4 + qsizetype(qMin(len, KvCommProtocol::MaxFrameSize));
    return avail >= need ? 0 : need - avail;
}

void KvCommFrameReader::clear()
{
    m_buffer.clear();
    m_offset = 0;
    m_error.clear();
}

bool KvCommFrameReader::readNext(KvCommMessage &message)
{
    if (hasError())
        return false;
    const qsizetype avail = bufferedBytes();
    if (avail < 4)
        return false;
    const quint32 len = qFromBigEndian<quint32>(m_buffer.constData() + m_offset);
    if (len > KvCommProtocol::MaxFrameSize) {
        m_error = QStringLiteral("a frame of %1 bytes exceeds the limit of %2 bytes")
                      .arg(len)
                      .arg(KvCommProtocol::MaxFrameSize);
        return false;
    }
    if (len == 0) {
        m_error = QStringLiteral("empty frame");
        return false;
    }
    if (avail < 4 + qsizetype(len))
        return false;
    QString error;
    const bool ok = decodeBody(m_buffer.constData() + m_offset + 4, len, message, &error);
    m_offset += 4 + qsizetype(len);
    if (m_offset == m_buffer.size()) {
        m_buffer.resize(0); // keeps the capacity
        m_offset = 0;
    } else if (m_offset > 65536 && m_offset * 2 > m_buffer.size()) {
        const qsizetype rest = m_buffer.size() - m_offset;
        std::memmove(m_buffer.data(), m_buffer.constData() + m_offset, size_t(rest));
        m_buffer.resize(int(rest));
        m_offset = 0;
    }
    if (!ok) {
        m_error = error;
        return false;
    }
    return true;
}

bool KvCommFrameReader::decodeBody(
    const char *data, qsizetype size, KvCommMessage &m, QString *error)
{
    KvCommSchema::Decoder d(data, size);
    auto failed = [&](const QString &fallback) {
        if (error)
            *error = d.error.isEmpty() ? fallback : d.error;
        return false;
    };
    if (!d.r.isMap())
        return failed(QStringLiteral("the frame body is not a CBOR map"));
    if (!d.r.enterContainer() || !d.cborOk())
        return failed(QStringLiteral("the frame body is not a valid map"));
    if (!d.r.hasNext() || !d.r.isUnsignedInteger()
        || d.r.toUnsignedInteger() != KvCommProtocol::KeyType)
        return failed(QStringLiteral("the frame body does not start with the message type"));
    d.r.next();
    if (!d.cborOk() || !d.r.hasNext())
        return failed(QStringLiteral("the message type is missing"));
    if (!d.r.isUnsignedInteger())
        return failed(QStringLiteral("the message type is not an unsigned integer"));
    // Any unsigned type is valid: one this side does not know is skipped.
    m.rawType = d.r.toUnsignedInteger();
    d.r.next();
    const KvCommSchema::Schema *schema = KvCommSchema::message(m.rawType);
    m.type = schema ? KvCommProtocol::MessageType(m.rawType) : KvCommProtocol::Unknown;
    if (!d.decodeEntries(schema, &m))
        return failed(QString());
    if (!d.leave())
        return failed(QStringLiteral("the frame body is truncated"));
    if (d.remaining() != 0)
        return failed(QStringLiteral("%1 bytes after the end of the message").arg(d.remaining()));
    return true;
}
