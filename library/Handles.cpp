#include "library/Handles.h"

#include "core/Guarded.h"
#include "library/Failure.h"

#include <array>
#include <deque>
#include <memory>
#include <new>
#include <pthread.h>
#include <vector>

using base::core::Guarded;

namespace client_library {
namespace {

// A handle: generation, index of the slot, kind. The kind is never 0, so no handle is null.
constexpr uint32_t kindBits = 3;
constexpr uint32_t indexBits = 13;
constexpr uint32_t slotsOfKind = 1U << indexBits;
constexpr uint32_t generationMask = 0xFFFF;
constexpr uint32_t slotsOfChunk = 64;

struct Chunk {
    std::array<HandleSlot, slotsOfChunk> slots;
};

struct Retired {
    HandleSlot* slot;
    uint32_t index;
    Ref<Object> object;
    /// The slot is another handle's from then on.
    bool freesSlot;
};

/// The handles of one kind. Slots are reused in the order in which they became free, so that a generation
/// returns as late as possible.
class HandleTable {
public:
    HandleSlot* find(uint32_t index) const {
        Chunk* chunk = chunks[index / slotsOfChunk].load(std::memory_order_acquire);
        return chunk != nullptr ? &chunk->slots[index % slotsOfChunk] : nullptr;
    }

    uint32_t add(Object& object) {
        const auto places = book.lock();
        const uint32_t index = takeIndex(*places);
        HandleSlot& slot = *find(index);
        retain(&object);
        slot.object.store(&object);
        return (slot.generation.load() & generationMask) << (indexBits + kindBits) | index << kindBits;
    }

    bool drop(uint32_t index, uint32_t generation) {
        const auto places = book.lock();
        HandleSlot* slot = find(index);
        if (slot == nullptr || slot->object.load() == nullptr ||
            (slot->generation.load() & generationMask) != generation)
            return false;
        slot->generation.fetch_add(1);
        retire(*places, *slot, index, nullptr);
        return true;
    }

    bool replace(uint32_t index, uint32_t generation, Object& object) {
        const auto places = book.lock();
        HandleSlot* slot = find(index);
        if (slot == nullptr || slot->object.load() == nullptr ||
            (slot->generation.load() & generationMask) != generation)
            return false;
        base::core::retain(&object);
        retire(*places, *slot, index, &object);
        return true;
    }

    /// The objects that are no longer in use.
    std::vector<Ref<Object>> collect() {
        std::vector<Ref<Object>> unused;
        if (!hasRetired)
            return unused;
        const auto places = book.lock();
        std::erase_if(places->retired, [&](Retired& entry) {
            if (entry.slot->users.load() != 0)
                return false;
            unused.push_back(entry.object);
            if (entry.freesSlot)
                places->free.push_back(entry.index);
            return true;
        });
        hasRetired = !places->retired.empty();
        return unused;
    }

    /// In a fork: the copies of all objects are without their threads. They are kept, so that they don't
    /// count as leaks.
    void invalidateAll() {
        new (&book) Guarded<Book>;
        for (std::atomic<Chunk*>& chunk : chunks) {
            if (chunk.load() == nullptr)
                continue;
            for (HandleSlot& slot : chunk.load()->slots) {
                slot.generation.fetch_add(1);
                slot.users.store(0);
            }
        }
        // Slots with a copy stay taken.
        hasRetired = false;
        const auto places = book.lock();
        places->used = former;
    }

private:
    struct Book {
        uint32_t used = 0;
        std::deque<uint32_t> free;
        std::vector<Retired> retired;
    };

    /// The slot gets the next object, of which the caller gives its reference.
    void retire(Book& places, HandleSlot& slot, uint32_t index, Object* next) {
        Object* former = slot.object.load();
        places.retired.push_back({&slot, index, former, next == nullptr});
        hasRetired = true;
        base::core::release(former);
        slot.object.store(next);
    }

    uint32_t takeIndex(Book& places) {
        if (!places.free.empty()) {
            const uint32_t index = places.free.front();
            places.free.pop_front();
            return index;
        }
        if (places.used == slotsOfKind)
            throw Failure(PLUGIN_HOST_NO_MEMORY, "There are too many handles of this kind");
        const uint32_t index = places.used;
        std::atomic<Chunk*>& chunk = chunks[index / slotsOfChunk];
        if (chunk.load() == nullptr)
            chunk.store(new Chunk, std::memory_order_release);
        former = ++places.used;
        return index;
    }

    std::array<std::atomic<Chunk*>, slotsOfKind / slotsOfChunk> chunks{};
    Guarded<Book> book;
    /// `Book::used`, for a fork.
    std::atomic<uint32_t> former{0};
    /// `Book::retired` isn't empty.
    std::atomic<bool> hasRetired{false};
};

using Tables = std::array<HandleTable, 5>;

Tables& tables() {
    // Never destroyed: handles may be used during `exit`.
    static Tables& all = *[] {
        pthread_atfork(nullptr, nullptr, [] {
            for (HandleTable& table : tables())
                table.invalidateAll();
        });
        return new Tables;
    }();
    return all;
}

HandleTable& tableOf(HandleKind kind) {
    return tables()[static_cast<size_t>(kind) - 1];
}

struct Parts {
    bool isValid;
    uint32_t index;
    uint32_t generation;
};

Parts split(HandleKind kind, const void* handle) {
    const auto number = reinterpret_cast<uintptr_t>(handle);
    const auto value = static_cast<uint32_t>(number);
    return {number == value && (value & ((1U << kindBits) - 1)) == static_cast<uint32_t>(kind),
            value >> kindBits & (slotsOfKind - 1), value >> (indexBits + kindBits)};
}

void releaseUnused() {
    for (HandleTable& table : tables())
        table.collect();
}

} // namespace

HandleUse::HandleUse(HandleKind kind, const void* handle) {
    const Parts parts = split(kind, handle);
    HandleSlot* candidate = parts.isValid ? tableOf(kind).find(parts.index) : nullptr;
    if (candidate == nullptr)
        return;
    // Counted first: whoever makes the handle invalid looks at the count afterwards.
    candidate->users.fetch_add(1);
    Object* found = candidate->object.load();
    if (found != nullptr && (candidate->generation.load() & generationMask) == parts.generation) {
        slot = candidate;
        object = found;
    } else {
        candidate->users.fetch_sub(1);
    }
}

HandleUse::~HandleUse() {
    if (slot != nullptr)
        slot->users.fetch_sub(1);
}

void* makeHandle(HandleKind kind, Object& object) {
    releaseUnused();
    const uint32_t value = tableOf(kind).add(object) | static_cast<uint32_t>(kind);
    return reinterpret_cast<void*>(static_cast<uintptr_t>(value));
}

bool dropHandle(HandleKind kind, const void* handle) {
    const Parts parts = split(kind, handle);
    const bool dropped = parts.isValid && tableOf(kind).drop(parts.index, parts.generation);
    releaseUnused();
    return dropped;
}

bool replaceHandle(HandleKind kind, const void* handle, Object& object) {
    const Parts parts = split(kind, handle);
    const bool replaced = parts.isValid && tableOf(kind).replace(parts.index, parts.generation, object);
    releaseUnused();
    return replaced;
}

void releaseUnusedHandles() noexcept {
    try {
        releaseUnused();
    } catch (...) {
        // No memory: a later call releases them.
    }
}

} // namespace client_library
