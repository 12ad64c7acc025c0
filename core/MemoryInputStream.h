#pragma once

#include "core/InputStream.h"

namespace base::core {

/// Reads from borrowed memory, which outlives the stream.
class MemoryInputStream : public InputStream {
public:
    MemoryInputStream(const void* data, size_t size);

    size_t read(void* buffer, size_t size) override;
    size_t available() override;

private:
    const uint8_t* data;
    size_t dataSize;
    size_t position = 0;
};

} // namespace base::core
