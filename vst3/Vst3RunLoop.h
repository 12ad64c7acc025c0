#pragma once

#include "vst3/Vst3Names.h"

#include <atomic>
#include <cstdint>
#include <pluginterfaces/gui/iplugview.h>

class Vst3Host;

/// The host's run loop for an instance's plug-in, with the extension `run-loop`. A part of its `Vst3Host`, as
/// the frame is. Handlers are held until they are unregistered or their instance terminates. Any thread, also
/// from inside of a handler.
class Vst3RunLoop final : public Steinberg::Linux::IRunLoop {
public:
    explicit Vst3RunLoop(Vst3Host& host) : host(host) {}
    Vst3RunLoop(const Vst3RunLoop&) = delete;
    Vst3RunLoop& operator=(const Vst3RunLoop&) = delete;

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override;
    Steinberg::uint32 PLUGIN_API addRef() override;
    /// Frees nothing at 0.
    Steinberg::uint32 PLUGIN_API release() override;

    // `kInvalidArgument` for a null handler, a negative descriptor, and one that isn't registered;
    // `kResultFalse` without an instance, and once that has terminated.

    /// A handler may have several descriptors.
    tresult PLUGIN_API registerEventHandler(Steinberg::Linux::IEventHandler* handler,
                                            Steinberg::Linux::FileDescriptor descriptor) override;
    /// All of its descriptors.
    tresult PLUGIN_API unregisterEventHandler(Steinberg::Linux::IEventHandler* handler) override;
    /// A handler may have several timers.
    tresult PLUGIN_API registerTimer(Steinberg::Linux::ITimerHandler* handler,
                                     Steinberg::Linux::TimerInterval milliseconds) override;
    /// All of its timers.
    tresult PLUGIN_API unregisterTimer(Steinberg::Linux::ITimerHandler* handler) override;

private:
    Vst3Host& host;
    std::atomic<uint32_t> refCount = 1;
};
