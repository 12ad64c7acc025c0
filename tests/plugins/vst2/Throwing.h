#pragma once

#include "TestEffect.h"

/// An effect that throws what `Failure` makes when it is asked `opcode`.
template <VstInt32 opcode, class Failure>
class ThrowingEffect : public SilentEffect {
public:
    using SilentEffect::SilentEffect;

protected:
    VstIntPtr dispatch(VstInt32 asked, VstInt32 index, VstIntPtr value, void* ptr, float opt) override {
        if (asked == opcode)
            throw Failure{}();
        return SilentEffect::dispatch(asked, index, value, ptr, opt);
    }
};
