#pragma once

#include "plugin/AudioBlock.h"
#include "plugin/CoreNames.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>

/// The transport of the last block, for threads other than the worker's: the audio block itself is the
/// client's to write between two blocks. One worker at a time writes, without a lock and without waiting; a
/// reader that meets a write reads again.
class LastTransport : public NonCopyable, public NonMovable {
public:
    LastTransport();

    /// Audio worker; lock-free.
    void publish(const TransportBlock& transport);
    /// The transport of the last block, all of one; that in `block` before the first. Any thread.
    TransportBlock read(TransportBlock& block) const;
    /// One attempt at the same: nothing if it meets a write. Any thread.
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
