#pragma once

#include "plugin/CoreNames.h"
#include "vst3/Vst3Names.h"

/// Maps `FUnknown` to this program's reference counting: both use one count. Any thread.
class Vst3Object : public Object, public FUnknown {
public:
    Steinberg::uint32 PLUGIN_API addRef() override {
        return static_cast<Steinberg::uint32>(base::core::retain(this));
    }
    Steinberg::uint32 PLUGIN_API release() override {
        return static_cast<Steinberg::uint32>(base::core::release(this));
    }
};
