#pragma once

#include "plugin/CoreNames.h"
#include "vst3/Vst3Names.h"

#include <atomic>
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
    tresult append(int32_t sampleOffset, double value);

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

    /// `addParameterData` for the host's own use.
    Vst3ParamValueQueue* queueOf(Vst::ParamID id);
    /// Empties the list, which keeps its queues for later blocks. Only growth uses the pool: workers that did
    /// so in every block would contend for it, and allocate whenever they find it empty.
    void clear() { used = 0; }

private:
    Vst3ParamValueQueue* findOrAdd(Vst::ParamID id, int32_t& index);

    std::atomic<uint32_t> refCount = 1;
    /// The first `used` are those of the block.
    std::vector<Vst3ParamValueQueue*> queues;
    size_t used = 0;
};
