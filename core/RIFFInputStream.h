#pragma once

#include "core/InputStream.h"
#include "core/Ref.h"
#include "core/String.h"

#include <cstdint>

namespace base::core {

/// Walks the chunks of a RIFF file (Multimedia Programming Interface and Data Specifications 1.0) over
/// another stream. `read` and `skip` stay within the current chunk.
class RIFFInputStream : public InputStream {
public:
    explicit RIFFInputStream(const Ref<InputStream>& source);

    /// Reads the header of the next chunk. Throws `EOSException` at the end of the data, as `read` and `skip`
    /// do from then on.
    void nextChunk();

    /// 0 at the end of the chunk.
    size_t read(void* buffer, size_t size) override;
    /// Throws `IOException` for a place beyond the chunk.
    void skip(size_t count) override;
    void close() override;

    /// Four characters, less if one of them is 0.
    const String& getChunkId() const { return chunkId; }
    /// In bytes, with the pad byte of an odd chunk.
    uint32_t getChunkSize() const { return chunkSize; }

private:
    Ref<InputStream> source;
    String chunkId;
    uint32_t chunkSize = 0;
    uint32_t position = 0;
    uint32_t chunkPosition = 0;
    bool ended = false;
};

} // namespace base::core
