#include "vst3/Vst3ParameterChanges.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>

static_assert(sizeof(Vst3ParamValueQueue) == (sizeof(void*) == 4 ? 1552 : 1560));

namespace {

/// The memory of free queues: one lock-free stack for the process, linked through the first word of each
/// piece. Its head is a single word, without a tag against ABA, so a pop takes the whole chain and pushes the
/// rest back.
class QueuePool : public NonCopyable, public NonMovable {
public:
    constexpr QueuePool() = default;

    ~QueuePool() {
        for (Piece* piece = head.exchange(nullptr); piece != nullptr;) {
            Piece* next = piece->next;
            std::free(piece);
            piece = next;
        }
    }

    /// Null if there is nothing free.
    void* pop() {
        Piece* piece = head.exchange(nullptr, std::memory_order_acq_rel);
        if (piece != nullptr && piece->next != nullptr)
            pushBack(piece->next);
        return piece;
    }

    void push(void* memory) {
        auto* piece = new (memory) Piece{head.load(std::memory_order_relaxed)};
        while (!head.compare_exchange_weak(piece->next, piece, std::memory_order_release,
                                           std::memory_order_relaxed)) {
        }
    }

private:
    struct Piece {
        Piece* next;
    };

    // Pieces that others have pushed meanwhile, which are few, are taken off and put before the chain.
    void pushBack(Piece* chain) {
        for (Piece* expected = nullptr; !head.compare_exchange_weak(
                 expected, chain, std::memory_order_release, std::memory_order_relaxed);
             expected = nullptr) {
            Piece* others = head.exchange(nullptr, std::memory_order_acquire);
            if (others == nullptr)
                continue;
            Piece* last = others;
            while (last->next != nullptr)
                last = last->next;
            last->next = chain;
            chain = others;
        }
    }

    std::atomic<Piece*> head = nullptr;
};

constinit QueuePool freeQueues;

} // namespace

Vst3ParamValueQueue* Vst3ParamValueQueue::take(Vst::ParamID parameterId) {
    void* memory = freeQueues.pop();
    if (memory == nullptr)
        memory = std::malloc(sizeof(Vst3ParamValueQueue));
    return memory != nullptr ? new (memory) Vst3ParamValueQueue(parameterId) : nullptr;
}

void Vst3ParamValueQueue::giveBack(Vst3ParamValueQueue* queue) {
    queue->~Vst3ParamValueQueue();
    freeQueues.push(queue);
}

void Vst3ParamValueQueue::remake(Vst3ParamValueQueue* queue, Vst::ParamID parameterId) {
    queue->~Vst3ParamValueQueue();
    new (queue) Vst3ParamValueQueue(parameterId);
}

// The points are left as they are: only those that are set are read.
Vst3ParamValueQueue::Vst3ParamValueQueue(Vst::ParamID parameterId) : parameterId(parameterId) {}

Vst3ParamValueQueue::~Vst3ParamValueQueue() = default;

tresult Vst3ParamValueQueue::queryInterface(const TUID identifier, void** result) {
    if (isInterface(identifier, Vst::IParamValueQueue::iid) || isInterface(identifier, FUnknown::iid))
        return yieldInterface<Vst::IParamValueQueue>(this, result);
    *result = nullptr;
    return kNoInterface;
}

Steinberg::uint32 Vst3ParamValueQueue::addRef() {
    return ++refCount;
}

Steinberg::uint32 Vst3ParamValueQueue::release() {
    return --refCount;
}

Vst::ParamID Vst3ParamValueQueue::getParameterId() {
    return parameterId;
}

Steinberg::int32 Vst3ParamValueQueue::getPointCount() {
    return pointCount;
}

tresult Vst3ParamValueQueue::getPoint(Steinberg::int32 index, Steinberg::int32& sampleOffset,
                                      Vst::ParamValue& value) {
    if (index < 0 || index >= pointCount)
        return kInvalidArgument;
    sampleOffset = points[index].sampleOffset;
    value = points[index].value;
    return kResultOk;
}

tresult Vst3ParamValueQueue::addPoint(Steinberg::int32 sampleOffset, Vst::ParamValue value,
                                      Steinberg::int32&) {
    return append(sampleOffset, value);
}

Vst3ParameterChanges::Vst3ParameterChanges() = default;

Vst3ParameterChanges::~Vst3ParameterChanges() {
    // The last first: the pool returns them in their order again.
    for (size_t i = entries.size(); i > 0; --i)
        Vst3ParamValueQueue::giveBack(entries[i - 1].queue);
}

tresult Vst3ParameterChanges::queryInterface(const TUID identifier, void** result) {
    if (isInterface(identifier, Vst::IParameterChanges::iid) || isInterface(identifier, FUnknown::iid))
        return yieldInterface<Vst::IParameterChanges>(this, result);
    *result = nullptr;
    return kNoInterface;
}

Steinberg::uint32 Vst3ParameterChanges::addRef() {
    return ++refCount;
}

Steinberg::uint32 Vst3ParameterChanges::release() {
    return --refCount;
}

Steinberg::int32 Vst3ParameterChanges::getParameterCount() {
    return static_cast<Steinberg::int32>(used);
}

Vst::IParamValueQueue* Vst3ParameterChanges::getParameterData(Steinberg::int32 index) {
    return entries[static_cast<size_t>(index)].queue;
}

Vst::IParamValueQueue* Vst3ParameterChanges::addParameterData(const Vst::ParamID& id,
                                                              Steinberg::int32& index) {
    Vst3ParamValueQueue* const queue = queueOf(id);
    if (queue != nullptr)
        index = static_cast<Steinberg::int32>(last);
    return queue;
}

void Vst3ParameterChanges::reserve(size_t parameters) {
    entries.reserve(parameters);
    while (entries.size() < parameters && addQueue()) {
    }
}

void Vst3ParameterChanges::clear() {
    if (used == 0)
        return;
    used = 0;
    last = 0;
    // Which frees all slots, until a number comes again.
    if (++block == 0) {
        std::fill(slots.begin(), slots.end(), Slot());
        block = 1;
    }
}

Vst3ParamValueQueue* Vst3ParameterChanges::findOrAdd(Vst::ParamID id) {
    if (!slots.empty()) {
        if (const Slot& found = slotOf(id); found.block == block) {
            last = found.index;
            return entries[last].queue;
        }
    }
    if (used == entries.size() && !addQueue())
        return nullptr;
    entries[used].id = id;
    Vst3ParamValueQueue::remake(entries[used].queue, id);
    slotOf(id) = {block, static_cast<uint32_t>(used)};
    last = used++;
    return entries[last].queue;
}

bool Vst3ParameterChanges::addQueue() {
    if (slots.size() < 2 * (entries.size() + 1))
        growSlots();
    Vst3ParamValueQueue* const made = Vst3ParamValueQueue::take(0);
    if (made != nullptr)
        entries.push_back({0, made});
    return made != nullptr;
}

// Linear probing; there is always a free slot.
Vst3ParameterChanges::Slot& Vst3ParameterChanges::slotOf(Vst::ParamID id) {
    constexpr uint32_t spread = 2654435769U; // 2 to the 32nd by the golden ratio
    const size_t mask = slots.size() - 1;
    const uint32_t hash = id * spread;
    size_t place = (hash ^ hash >> 16) & mask;
    while (slots[place].block == block && entries[slots[place].index].id != id)
        place = (place + 1) & mask;
    return slots[place];
}

void Vst3ParameterChanges::growSlots() {
    constexpr size_t fewest = 16;
    slots.assign(std::max(fewest, 2 * slots.size()), Slot());
    for (size_t i = 0; i < used; ++i)
        slotOf(entries[i].id) = {block, static_cast<uint32_t>(i)};
}
