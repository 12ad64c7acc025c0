#pragma once

#include "vst3/Vst3Names.h"

#include <cstdint>
#include <pluginterfaces/vst/ivstcomponent.h>

/// The buses of a component, queried anew each time. Main thread and audio worker.
class Vst3Buses {
public:
    /// `component` is the instance's, and may be null.
    explicit Vst3Buses(const IPtr<Vst::IComponent>& component) : component(component) {}

    int32_t count(Vst::MediaType type, Vst::BusDirection direction) const {
        return component ? component->getBusCount(type, direction) : 0;
    }
    int32_t countMain(Vst::MediaType type, Vst::BusDirection direction) const;
    /// Of all audio buses.
    int32_t countChannels(Vst::BusDirection direction) const;
    /// An audio bus. Throws `PluginException`.
    Vst::BusInfo get(Vst::BusDirection direction, int32_t index) const;

private:
    const IPtr<Vst::IComponent>& component;
};
