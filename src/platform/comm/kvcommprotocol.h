#pragma once

#include "kvcommexport.h"

#include <QtGlobal>

/// Constants of the monitoring wire protocol (docs/protocol.md describes it
/// in full). A frame is a 4-byte big-endian body length followed by a CBOR
/// body: a map with integer keys whose first entry, key 0, is the message type.
namespace KvCommProtocol {

constexpr char Magic[] = "KIVO-MONITOR";
constexpr quint32 Version = 1;
/// Frames above this size are refused: they would only come from a broken or
/// hostile peer, and refusing them bounds what a peer can make us allocate.
constexpr quint32 MaxFrameSize = 16u * 1024u * 1024u;
/// Item counts per message: generous for any simulation, and they keep what
/// a small frame of empty items can make a receiver allocate small too.
constexpr int MaxRules = 65536;
constexpr int MaxTrackedValues = 65536;
constexpr int MaxSamplesPerBatch = 65536;
constexpr int MaxIndexLines = 1 << 21;
constexpr int MaxFiles = 65536;
/// CBOR tag of a byte string of little-endian float64 values (RFC 8746).
constexpr quint64 TagFloat64LE = 86;

constexpr int DefaultHeartbeatInterval = 5000; ///< ms between heartbeats
constexpr int DefaultDeadAfter = 20000; ///< ms of silence before a peer is dead

enum MessageType : quint32 {
    Unknown = 0, ///< a type this side does not know; skipped
    Hello = 1,
    Error = 2,
    Identity = 3,
    ControlOptions = 4,
    Status = 5,
    SimulationInfo = 6,
    Ready = 7,
    RuleData = 8,
    TrackedDataInfo = 9,
    IndexData = 10,
    Samples = 11,
    HistoryBegin = 12,
    HistoryEnd = 13,
    Log = 14,
    ControlRequest = 15,
    Heartbeat = 16
};

/// Key of the message type in every body.
constexpr quint64 KeyType = 0;

} // namespace KvCommProtocol
