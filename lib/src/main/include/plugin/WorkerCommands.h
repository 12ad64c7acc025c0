#pragma once

#include "plugin/WireRecord.h"

#include <cstddef>
#include <cstdint>

// The commands on a worker's pipe: a byte for the command, then its fields. Writing and reading don't
// allocate; both throw `IOException`.

/// The first byte of a command.
enum class WorkerCommand : uint8_t {
    /// An `InstanceCommand`. No answer.
    startProcessing = 0,
    /// An `InstanceCommand`. No answer.
    stopProcessing = 1,
    /// A `ProcessCommand`. Answered by an `int32b`, a `ProcessResult`. Oddity big-endian-fields: the command
    /// is little-endian, the answer isn't.
    process = 2,
};

struct InstanceCommand {
    int32_t instanceId = 0;

    static constexpr auto fields() {
        return wire::fields(wire::int32n("instanceId", &InstanceCommand::instanceId));
    }
};

/// The command of each block, with its byte 11 bytes. See `PluginInstance::process` for the last three.
struct ProcessCommand {
    int32_t instanceId = 0;
    int32_t frames = 0;
    bool keepActive = false;
    bool realtime = false;

    static constexpr auto fields() {
        return wire::fields(wire::int32n("instanceId", &ProcessCommand::instanceId),
                            wire::int32n("frames", &ProcessCommand::frames),
                            wire::boolean("keepActive", &ProcessCommand::keepActive),
                            wire::boolean("realtime", &ProcessCommand::realtime));
    }
};

/// Bytes of a `ProcessCommand`, with that of the command.
constexpr size_t processCommandSize = 11;

/// Client side: writes a command, to be flushed.
template <class Fields>
void appendCommand(OutputStream& stream, WorkerCommand command, const Fields& fields) {
    stream.writeByte(static_cast<uint8_t>(command));
    wire::write(stream, fields);
}

/// Client side: writes the command of a block to memory, which has room for it; the result is its end.
inline uint8_t* appendProcess(uint8_t* bytes, const ProcessCommand& fields) {
    *bytes = static_cast<uint8_t>(WorkerCommand::process);
    wire::writeBytes(bytes + 1, fields);
    return bytes + processCommandSize;
}

/// Client side: writes a command and flushes.
template <class Fields>
void writeCommand(OutputStream& stream, WorkerCommand command, const Fields& fields) {
    appendCommand(stream, command, fields);
    stream.flush();
}
