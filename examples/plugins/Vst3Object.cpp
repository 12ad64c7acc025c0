#include "plugins/Vst3Object.h"

Vst3Counted::~Vst3Counted() = default;

tresult Vst3Counted::queryInterface(const TUID identifier, void** result) {
    if (FUID::fromTUID(identifier) == FUnknown::iid)
        return yieldInterface<FUnknown>(this, result);
    *result = nullptr;
    return kNoInterface;
}

Steinberg::uint32 Vst3Counted::addRef() {
    return ++references;
}

Steinberg::uint32 Vst3Counted::release() {
    const uint32_t left = --references;
    if (left == 0)
        delete this;
    return left;
}
