#pragma once

#include <cstddef>
#include <cstdint>

// The records of an instance's audio block and the commands on a worker's pipe. Both sides compile these; all
// of it is in fixed-width types, little-endian, with the offsets given here.

/// The kind of an `EventRecord`.
enum class EventKind : int16_t { midi = 0, systemExclusive = 1, noteExpression = 2 };

#pragma pack(push, 1)

/// An event of a block, 29 bytes, packed and unaligned: its fields are read and written by value, never by
/// address.
struct EventRecord {
    struct NoteExpression {
        uint16_t channel; // 12
        uint16_t key;     // 14
        float value;      // 16
        uint8_t kind;     // 20
    };

    EventKind kind;        // 0
    uint16_t sampleOffset; // 2, frames from the start of the block
    double position;       // 4, quarter notes
    union {
        uint8_t midi[4];               // 12: status, data 1, data 2, zero
        uint8_t systemExclusive[16];   // 12: the bytes themselves
        NoteExpression noteExpression; // 12
    };
    uint8_t systemExclusiveSize; // 28, bytes
};

#pragma pack(pop)

static_assert(sizeof(EventRecord) == 29);
static_assert(offsetof(EventRecord, sampleOffset) == 2);
static_assert(offsetof(EventRecord, position) == 4);
static_assert(offsetof(EventRecord, midi) == 12);
static_assert(offsetof(EventRecord, systemExclusiveSize) == 28);

/// A value for a parameter, 8 bytes.
struct ParameterChange {
    float value;             // 0, normalised
    uint16_t parameterIndex; // 4
    uint16_t sampleOffset;   // 6, frames
};

static_assert(sizeof(ParameterChange) == 8);

/// Bits of `TransportBlock::flags`.
enum TransportFlag : uint32_t {
    transportPlaying = 1u << 0,
    transportChangedMask = 7u << 1,
    transportLoopOn = 1u << 4,
    transportRecording = 1u << 5,
    transportAutomationWriting = 1u << 6,
};

/// The transport, 96 bytes: written by the client before each block, only read by the host.
struct TransportBlock {
    double sampleRate;                 // 0, Hz
    double tempo;                      // 8, beats a minute
    double position;                   // 16, quarter notes
    double reservedTime;               // 24, seconds; no format reads it
    double systemTime;                 // 32, nanoseconds
    double barStart;                   // 40, quarter notes
    double loopStart;                  // 48, quarter notes
    double loopEnd;                    // 56, quarter notes
    int32_t inputLatency;              // 64, samples
    int32_t outputLatency;             // 68, samples
    uint64_t samplePosition;           // 72
    uint32_t flags;                    // 80, `TransportFlag`
    uint16_t timeSignatureNumerator;   // 84
    uint16_t timeSignatureDenominator; // 86
    uint8_t reserved[8];               // 88
};

static_assert(sizeof(TransportBlock) == 96);
static_assert(offsetof(TransportBlock, inputLatency) == 64);
static_assert(offsetof(TransportBlock, samplePosition) == 72);
static_assert(offsetof(TransportBlock, flags) == 80);
static_assert(offsetof(TransportBlock, reserved) == 88);

/// Bits of a parameter's flag byte. Client and host both write it, by a load and a store and without a lock.
enum ParameterFlag : uint8_t {
    /// Set by the client, which watches the parameter's display text.
    parameterWatched = 1u << 0,
    /// Set by the host: the text may have changed.
    parameterDisplayDirty = 1u << 1,
};
