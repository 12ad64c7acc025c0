#include "vst3/Vst3EventList.h"

static_assert(sizeof(Vst::Event) == (sizeof(void*) == 4 ? 40 : 48));

Vst3EventList::Vst3EventList() = default;

Vst3EventList::~Vst3EventList() = default;

tresult Vst3EventList::queryInterface(const TUID identifier, void** result) {
    if (isInterface(identifier, Vst::IEventList::iid) || isInterface(identifier, FUnknown::iid))
        return yieldInterface<Vst::IEventList>(this, result);
    *result = nullptr;
    return kNoInterface;
}

Steinberg::uint32 Vst3EventList::addRef() {
    return ++refCount;
}

Steinberg::uint32 Vst3EventList::release() {
    return --refCount;
}

Steinberg::int32 Vst3EventList::getEventCount() {
    return static_cast<Steinberg::int32>(events.size());
}

tresult Vst3EventList::getEvent(Steinberg::int32 index, Vst::Event& event) {
    if (index < 0 || index >= getEventCount())
        return kResultFalse;
    event = events[static_cast<size_t>(index)];
    return kResultOk;
}

tresult Vst3EventList::addEvent(Vst::Event& event) {
    events.push_back(event);
    return kResultOk;
}
