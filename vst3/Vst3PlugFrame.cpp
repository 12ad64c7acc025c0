#include "vst3/Vst3PlugFrame.h"

#include "plugin/Extensions.h"
#include "vst3/Vst3Host.h"

tresult Vst3PlugFrame::queryInterface(const TUID identifier, void** result) {
    if (isInterface(identifier, Steinberg::IPlugFrame::iid) || isInterface(identifier, FUnknown::iid))
        return yieldInterface<Steinberg::IPlugFrame>(this, result);
    if (isInterface(identifier, Steinberg::Linux::IRunLoop::iid) && isEnabled(Extension::runLoop))
        return yieldInterface<Steinberg::Linux::IRunLoop>(host.getRunLoop(), result);
    *result = nullptr;
    return kNoInterface;
}

Steinberg::uint32 Vst3PlugFrame::addRef() {
    return ++refCount;
}

Steinberg::uint32 Vst3PlugFrame::release() {
    return --refCount;
}

tresult Vst3PlugFrame::resizeView(Steinberg::IPlugView* view, Steinberg::ViewRect* newSize) {
    host.resizeView(view, newSize);
    return kResultOk;
}
