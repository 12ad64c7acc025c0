#pragma once

#include "process/Bytes.h"

#include <cstddef>
#include <cstdint>
#include <random>

/// Streams of bytes for a host, right ones, nearly right ones and others; the same seed gives the same
/// stream. None holds the byte of a path separator, so that no path in them leaves the host's directory.
/// Plug-ins are named without a directory and found by the library path.
class StreamGenerator {
public:
    explicit StreamGenerator(uint32_t seed);

    /// For the main pipe.
    Bytes randomRequests();
    Bytes nearlyRightRequests();
    /// For a worker's pipe.
    Bytes randomCommands();
    Bytes nearlyRightCommands();

private:
    uint32_t below(uint32_t limit);
    uint8_t anyByte();
    Bytes randomBytes();
    Bytes request();
    Bytes command();
    void damage(Bytes& stream);

    std::mt19937 source;
};

/// Whether a worker that reads `commands` is told of an instance other than 1.
bool namesUnknownInstance(const Bytes& commands);
