#include "core/RIFFInputStream.h"

#include "core/Exception.h"

#include <algorithm>

namespace base::core {

RIFFInputStream::RIFFInputStream(const Ref<InputStream>& source)
    : InputStream(source->getTextEncoding()), source(source) {}

void RIFFInputStream::nextChunk() {
    try {
        char id[5] = {};
        source->readFully(id, 4);
        chunkId = id;
        const auto size = static_cast<uint32_t>(source->readNativeInt32());
        chunkPosition = 0;
        position += 8;
        chunkSize = size + (size & 1);
    } catch (const EOSException&) {
        ended = true;
        throw;
    }
}

size_t RIFFInputStream::read(void* buffer, size_t size) {
    if (ended)
        throw EOSException();
    if (chunkPosition == chunkSize)
        return 0;
    const size_t count = source->read(buffer, std::min<size_t>(size, chunkSize - chunkPosition));
    position += static_cast<uint32_t>(count);
    chunkPosition += static_cast<uint32_t>(count);
    return count;
}

void RIFFInputStream::skip(size_t count) {
    if (ended)
        throw EOSException();
    if (count > chunkSize - chunkPosition)
        throw IOException("Skipping beyond end of current chunk");
    source->skip(count);
    position += static_cast<uint32_t>(count);
    chunkPosition += static_cast<uint32_t>(count);
}

void RIFFInputStream::close() {
    source->close();
}

} // namespace base::core
