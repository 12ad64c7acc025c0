#pragma once

#include "vst3/RecordingPlugin.h"

/// One line between the halves is enough where both are one object.
class SingleConnection : public Vst3SinglePlugin {
public:
    using Vst3SinglePlugin::Vst3SinglePlugin;

    tresult PLUGIN_API connect(Vst::IConnectionPoint* other) override {
        return Vst3Component::connect(other);
    }
    tresult PLUGIN_API disconnect(Vst::IConnectionPoint* other) override {
        return Vst3Component::disconnect(other);
    }
};

/// A component that is its own controller, which records under the name "plug-in" what joins the halves.
class RecordingSinglePlugin : public RecordingController<SingleConnection> {
public:
    explicit RecordingSinglePlugin(const Vst3ComponentTraits& traits)
        : RecordingController("plug-in", traits) {}
};
