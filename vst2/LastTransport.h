#pragma once

#include "plugin/AudioBlock.h"
#include "plugin/CoreNames.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>

/// The transport of the last block, for threads other than the worker's: between two blocks the client may
/// write to the audio block itself. One worker at a time writes, lock-free and wait-free; a reader that
/// overlaps a write retries.
class LastTransport : public NonCopyable, public NonMovable {
public:
    LastTransport();

    /// Audio worker; lock-free.
    void publish(const TransportBlock& transport);
    /// A consistent copy of the last block's transport; of `block` before the first. Any thread.
    TransportBlock read(TransportBlock& block) const;
    /// One attempt at the same: empty if it overlaps a write. Any thread.
    std::optional<TransportBlock> tryRead(TransportBlock& block) const;

private:
    static TransportBlock readFirst(TransportBlock& block);

    using Word = uint64_t;
    using Words = std::array<Word, sizeof(TransportBlock) / sizeof(Word)>;
    static_assert(sizeof(TransportBlock) % sizeof(Word) == 0);

    /// Odd while a block is being written, 0 before the first.
    std::atomic<uint32_t> version{0};
    std::array<std::atomic<Word>, std::tuple_size_v<Words>> words;
};
