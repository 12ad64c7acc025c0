#include "vst3/Vst3Buses.h"

#include "vst3/Vst3Result.h"

namespace {

// Oddity bus-failure-location: neither names this class.
constexpr const char* busLocation = "\"Vst3PluginInstance::getBus(...)\"";
constexpr const char* busFile = "Vst3PluginInstance.cpp";

} // namespace

int32_t Vst3Buses::countMain(Vst::MediaType type, Vst::BusDirection direction) const {
    int32_t mainBuses = 0;
    const int32_t buses = count(type, direction);
    for (int32_t i = 0; i < buses; ++i) {
        Vst::BusInfo info{};
        if (component->getBusInfo(type, direction, i, info) == kResultOk && info.busType == Vst::kMain)
            ++mainBuses;
    }
    return mainBuses;
}

int32_t Vst3Buses::countChannels(Vst::BusDirection direction) const {
    int32_t channels = 0;
    for (int32_t i = count(Vst::kAudio, direction) - 1; i >= 0; --i) {
        Vst::BusInfo info{};
        if (component->getBusInfo(Vst::kAudio, direction, i, info) == kResultOk)
            channels += info.channelCount;
    }
    return channels;
}

Vst::BusInfo Vst3Buses::get(Vst::BusDirection direction, int32_t index) const {
    Vst::BusInfo info{};
    throwUnlessOk(component->getBusInfo(Vst::kAudio, direction, index, info), busLocation, busFile);
    return info;
}
