#pragma once

#include "vst3/Vst3Names.h"

#include <atomic>
#include <cstdint>
#include <pluginterfaces/gui/iplugview.h>

class Vst3Host;

/// The frame of a view, by which it requests another size. A part of its instance's `Vst3Host`, which
/// outlives the instance, since views keep their frame. Its reference count frees nothing. Any thread.
class Vst3PlugFrame final : public Steinberg::IPlugFrame {
public:
    explicit Vst3PlugFrame(Vst3Host& host) : host(host) {}
    Vst3PlugFrame(const Vst3PlugFrame&) = delete;
    Vst3PlugFrame& operator=(const Vst3PlugFrame&) = delete;

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override;
    Steinberg::uint32 PLUGIN_API addRef() override;
    /// Frees nothing at 0.
    Steinberg::uint32 PLUGIN_API release() override;
    /// Returns `kResultOk` always, also without a window or an instance.
    tresult PLUGIN_API resizeView(Steinberg::IPlugView* view, Steinberg::ViewRect* newSize) override;

private:
    Vst3Host& host;
    std::atomic<uint32_t> refCount = 1;
};
