#include "core/MemoryInputStream.h"

#include <algorithm>
#include <cstring>

namespace base::core {

MemoryInputStream::MemoryInputStream(const void* data, size_t size)
    : data(static_cast<const uint8_t*>(data)), dataSize(size) {}

size_t MemoryInputStream::read(void* buffer, size_t size) {
    const size_t count = std::min(size, dataSize - position);
    if (count > 0)
        std::memcpy(buffer, data + position, count);
    position += count;
    return count;
}

size_t MemoryInputStream::available() {
    return dataSize - position;
}

} // namespace base::core
