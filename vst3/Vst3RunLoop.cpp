#include "vst3/Vst3RunLoop.h"

#include "plugin/RunLoop.h"
#include "vst3/Vst3Host.h"

namespace {

class DescriptorCall : public RunLoop::Handler {
public:
    DescriptorCall(Steinberg::Linux::IEventHandler* handler, int32_t descriptor)
        : handler(handler), descriptor(descriptor) {}

    void call() override { handler->onFDIsSet(descriptor); }

private:
    const IPtr<Steinberg::Linux::IEventHandler> handler;
    const int32_t descriptor;
};

class TimerCall : public RunLoop::Handler {
public:
    explicit TimerCall(Steinberg::Linux::ITimerHandler* handler) : handler(handler) {}

    void call() override { handler->onTimer(); }

private:
    const IPtr<Steinberg::Linux::ITimerHandler> handler;
};

} // namespace

tresult Vst3RunLoop::queryInterface(const TUID identifier, void** result) {
    if (isInterface(identifier, Steinberg::Linux::IRunLoop::iid) || isInterface(identifier, FUnknown::iid))
        return yieldInterface<Steinberg::Linux::IRunLoop>(this, result);
    *result = nullptr;
    return kNoInterface;
}

Steinberg::uint32 Vst3RunLoop::addRef() {
    return ++refCount;
}

Steinberg::uint32 Vst3RunLoop::release() {
    return --refCount;
}

tresult Vst3RunLoop::registerEventHandler(Steinberg::Linux::IEventHandler* handler,
                                          Steinberg::Linux::FileDescriptor descriptor) {
    if (handler == nullptr || descriptor < 0)
        return kInvalidArgument;
    return host.useRunLoop([&](RunLoop& loop, const void* owner) {
        loop.addDescriptor(owner, handler, descriptor, new DescriptorCall(handler, descriptor));
        return kResultOk;
    });
}

tresult Vst3RunLoop::unregisterEventHandler(Steinberg::Linux::IEventHandler* handler) {
    return host.useRunLoop([&](RunLoop& loop, const void* owner) {
        return loop.removeDescriptors(owner, handler) ? kResultOk : kInvalidArgument;
    });
}

tresult Vst3RunLoop::registerTimer(Steinberg::Linux::ITimerHandler* handler,
                                   Steinberg::Linux::TimerInterval milliseconds) {
    if (handler == nullptr)
        return kInvalidArgument;
    return host.useRunLoop([&](RunLoop& loop, const void* owner) {
        loop.addTimer(owner, handler, milliseconds, new TimerCall(handler));
        return kResultOk;
    });
}

tresult Vst3RunLoop::unregisterTimer(Steinberg::Linux::ITimerHandler* handler) {
    return host.useRunLoop([&](RunLoop& loop, const void* owner) {
        return loop.removeTimers(owner, handler) ? kResultOk : kInvalidArgument;
    });
}
