#pragma once

#include "plugin/CoreNames.h"
#include "vst3/Vst3Names.h"

#include <atomic>
#include <cstddef>
#include <pluginterfaces/vst/ivstevents.h>
#include <vector>

/// The events of a block, to or from a plug-in. Held by value: the reference count that plug-ins see frees
/// nothing. One thread at a time; its memory is kept from block to block, so that only growth allocates.
class Vst3EventList final : public Vst::IEventList {
public:
    Vst3EventList();
    virtual ~Vst3EventList();
    Vst3EventList(const Vst3EventList&) = delete;
    Vst3EventList& operator=(const Vst3EventList&) = delete;

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override;
    Steinberg::uint32 PLUGIN_API addRef() override;
    Steinberg::uint32 PLUGIN_API release() override;
    Steinberg::int32 PLUGIN_API getEventCount() override;
    tresult PLUGIN_API getEvent(Steinberg::int32 index, Vst::Event& event) override;
    tresult PLUGIN_API addEvent(Vst::Event& event) override;

    /// Makes room for `count` events, which then allocate nothing.
    void reserve(size_t count) { events.reserve(count); }
    const std::vector<Vst::Event>& getEvents() const { return events; }
    void clear() { events.clear(); }

private:
    std::atomic<uint32_t> refCount = 1;
    std::vector<Vst::Event> events;
};
