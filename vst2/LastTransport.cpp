#include "vst2/LastTransport.h"

#include <bit>
#include <cstring>

LastTransport::LastTransport() {
    for (std::atomic<Word>& word : words)
        word.store(0, std::memory_order_relaxed);
}

void LastTransport::publish(const TransportBlock& transport) {
    const auto source = std::bit_cast<Words>(transport);
    const uint32_t before = version.load(std::memory_order_relaxed);
    version.store(before + 1, std::memory_order_relaxed);
    // Each word releases the odd version: a reader of a new word then reads that version or a later one.
    for (size_t i = 0; i < words.size(); ++i)
        words[i].store(source[i], std::memory_order_release);
    // Skips 0, which means that there was no block.
    version.store(before + 2 != 0 ? before + 2 : 2, std::memory_order_release);
}

TransportBlock LastTransport::read(TransportBlock& block) const {
    for (;;) {
        if (const std::optional<TransportBlock> found = tryRead(block))
            return *found;
    }
}

std::optional<TransportBlock> LastTransport::tryRead(TransportBlock& block) const {
    const uint32_t before = version.load(std::memory_order_acquire);
    if (before == 0)
        return readFirst(block);
    Words copy;
    for (size_t i = 0; i < words.size(); ++i)
        copy[i] = words[i].load(std::memory_order_acquire);
    if (before % 2 == 0 && version.load(std::memory_order_relaxed) == before)
        return std::bit_cast<TransportBlock>(copy);
    return std::nullopt;
}

TransportBlock LastTransport::readFirst(TransportBlock& block) {
    // The client may be writing it for its first block. Read in words of 32 bits: where 64 bits need only
    // four bytes of alignment, they aren't one access.
    std::array<uint32_t, sizeof(TransportBlock) / sizeof(uint32_t)> first;
    auto* source = reinterpret_cast<uint32_t*>(&block);
    for (size_t i = 0; i < first.size(); ++i)
        first[i] = std::atomic_ref(source[i]).load(std::memory_order_relaxed);
    return std::bit_cast<TransportBlock>(first);
}
