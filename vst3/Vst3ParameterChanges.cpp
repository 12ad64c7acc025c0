#include "vst3/Vst3ParameterChanges.h"

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

tresult Vst3ParamValueQueue::append(int32_t sampleOffset, double value) {
    if (pointCount >= capacity)
        return kOutOfMemory;
    points[pointCount++] = {sampleOffset, value};
    return kResultOk;
}

Vst3ParameterChanges::Vst3ParameterChanges() = default;

Vst3ParameterChanges::~Vst3ParameterChanges() {
    // The last first: the pool returns them in their order again.
    for (size_t i = queues.size(); i > 0; --i)
        Vst3ParamValueQueue::giveBack(queues[i - 1]);
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
    return queues[static_cast<size_t>(index)];
}

Vst::IParamValueQueue* Vst3ParameterChanges::addParameterData(const Vst::ParamID& id,
                                                              Steinberg::int32& index) {
    return findOrAdd(id, index);
}

Vst3ParamValueQueue* Vst3ParameterChanges::queueOf(Vst::ParamID id) {
    int32_t ignored = 0;
    return findOrAdd(id, ignored);
}

// From the newest back: changes of one parameter come in runs.
Vst3ParamValueQueue* Vst3ParameterChanges::findOrAdd(Vst::ParamID id, int32_t& index) {
    for (size_t i = used; i > 0; --i) {
        if (queues[i - 1]->getParameterId() == id) {
            index = static_cast<int32_t>(i - 1);
            return queues[i - 1];
        }
    }
    if (used < queues.size()) {
        Vst3ParamValueQueue::remake(queues[used], id);
    } else if (Vst3ParamValueQueue* made = Vst3ParamValueQueue::take(id)) {
        queues.push_back(made);
    } else {
        return nullptr;
    }
    index = static_cast<int32_t>(used);
    return queues[used++];
}
