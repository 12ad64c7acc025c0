#pragma once

#include "plugin/CoreNames.h"
#include "vst3/Vst3Names.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <pluginterfaces/vst/ivstparameterchanges.h>
#include <vector>

/// One parameter's changes in a block, in the order of their arrival: unsorted, and two points at one offset
/// both stay. Made by `Vst3ParamValueQueue::take` and ended by `giveBack`; the reference count that plug-ins
/// see frees nothing. One thread at a time.
class Vst3ParamValueQueue final : public Vst::IParamValueQueue {
public:
    static constexpr int32_t capacity = 128; // points

    /// A queue without points, from the process's pool of free queues or else from `malloc`; null if there is
    /// no memory. Any thread, lock-free.
    static Vst3ParamValueQueue* take(Vst::ParamID parameterId);
    /// Ends a queue and returns its memory to the pool. Any thread, lock-free.
    static void giveBack(Vst3ParamValueQueue* queue);
    /// Resets a queue that is in use, for another parameter and without points.
    static void remake(Vst3ParamValueQueue* queue, Vst::ParamID parameterId);

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override;
    Steinberg::uint32 PLUGIN_API addRef() override;
    Steinberg::uint32 PLUGIN_API release() override;
    Vst::ParamID PLUGIN_API getParameterId() override;
    Steinberg::int32 PLUGIN_API getPointCount() override;
    tresult PLUGIN_API getPoint(Steinberg::int32 index, Steinberg::int32& sampleOffset,
                                Vst::ParamValue& value) override;
    /// Oddity point-index-unwritten: `index` is never written. A full queue returns `kOutOfMemory`.
    tresult PLUGIN_API addPoint(Steinberg::int32 sampleOffset, Vst::ParamValue value,
                                Steinberg::int32& index) override;

    /// Non-virtual `addPoint`. A full queue drops the point.
    tresult append(int32_t sampleOffset, double value) {
        if (pointCount >= capacity)
            return kOutOfMemory;
        points[pointCount++] = {sampleOffset, value};
        return kResultOk;
    }

private:
#pragma pack(push, 4)
    struct Point {
        int32_t sampleOffset; // frames
        double value;         // normalised
    };
#pragma pack(pop)
    static_assert(sizeof(Point) == 12);

    explicit Vst3ParamValueQueue(Vst::ParamID parameterId);
    virtual ~Vst3ParamValueQueue();

    std::atomic<uint32_t> refCount = 1;
    Vst::ParamID parameterId;
    int32_t pointCount = 0;
    Point points[capacity];
};

/// The parameter changes of a block, a queue for each parameter. Held by value: the reference count that
/// plug-ins see frees nothing. One thread at a time; what it allocates is kept from block to block, and its
/// destructor returns the queues to the pool.
///
/// A parameter is looked for where the last one was, then behind that, since clients send the changes of one
/// in runs or those of all in turns, and then by a hash table.
class Vst3ParameterChanges final : public Vst::IParameterChanges {
public:
    Vst3ParameterChanges();
    virtual ~Vst3ParameterChanges();
    Vst3ParameterChanges(const Vst3ParameterChanges&) = delete;
    Vst3ParameterChanges& operator=(const Vst3ParameterChanges&) = delete;

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override;
    Steinberg::uint32 PLUGIN_API addRef() override;
    Steinberg::uint32 PLUGIN_API release() override;
    Steinberg::int32 PLUGIN_API getParameterCount() override;
    /// `index` isn't checked.
    Vst::IParamValueQueue* PLUGIN_API getParameterData(Steinberg::int32 index) override;
    /// The queue of a parameter, added if it isn't there; `index` is set to its place. Null if there is no
    /// memory.
    Vst::IParamValueQueue* PLUGIN_API addParameterData(const Vst::ParamID& id,
                                                       Steinberg::int32& index) override;

    /// Makes room for changes of `parameters` parameters, which then allocate nothing; for fewer if there is
    /// no memory.
    void reserve(size_t parameters);
    /// `addParameterData` for the host's own use.
    Vst3ParamValueQueue* queueOf(Vst::ParamID id) {
        if (last < used && entries[last].id == id)
            return entries[last].queue;
        const size_t next = last + 1 < used ? last + 1 : 0;
        if (next < used && entries[next].id == id) {
            last = next;
            return entries[next].queue;
        }
        return findOrAdd(id);
    }
    /// Empties the list, which keeps its queues for later blocks. Only growth uses the pool: workers that did
    /// so in every block would contend for it, and allocate whenever they find it empty.
    void clear();

private:
    struct Entry {
        Vst::ParamID id;
        Vst3ParamValueQueue* queue;
    };
    /// A place in the hash table, free unless it is of the current block.
    struct Slot {
        uint16_t block = 0;
        uint32_t index = 0;
    };

    Vst3ParamValueQueue* findOrAdd(Vst::ParamID id);
    /// False if there is no memory.
    bool addQueue();
    /// That of a parameter, or the free one for it.
    Slot& slotOf(Vst::ParamID id);
    void growSlots();

    std::atomic<uint32_t> refCount = 1;
    /// The first `used` are those of the block; only their ids count.
    std::vector<Entry> entries;
    size_t used = 0;
    /// Where the last parameter was.
    size_t last = 0;
    /// By hashes of ids: at least two for each queue, and a power of two.
    std::vector<Slot> slots;
    /// Counts blocks, without 0, which is a new slot's.
    uint16_t block = 1;
};
