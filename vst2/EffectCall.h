#pragma once

#include "plugin/CoreNames.h"
#include "vst2/Vst24.h"

#include <cstdint>

/// The scope of a call into an effect, on any thread. An exception of the host during a callback must not
/// unwind the effect's frames, which may be another language's: the callback stores it and returns 0, and
/// `finish` rethrows it once the effect has returned. Doesn't allocate.
class EffectCall : public NonCopyable, public NonMovable {
public:
    EffectCall() { ++depth; }
    ~EffectCall() {
        if (--depth == 0 && hasKept)
            drop();
    }

    /// Call it after the effect has returned. Rethrows what the callback stored.
    void finish() {
        if (hasKept) [[unlikely]]
            throwKept();
    }

    /// In a catch block of the callback: stores the current exception. Ends the process on a thread without
    /// an `EffectCall`, where nothing could catch it.
    static void keepException() noexcept;

private:
    static void throwKept();
    /// For a call that the effect left by an exception of its own, past `finish`.
    static void drop() noexcept;

    static constinit thread_local int32_t depth;
    static constinit thread_local bool hasKept;
};

/// One call of the dispatcher.
inline VstIntPtr callDispatcher(AEffect* effect, VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0,
                                void* ptr = nullptr, float opt = 0.0F) {
    EffectCall call;
    const VstIntPtr answer = effect->dispatcher(effect, opcode, index, value, ptr, opt);
    call.finish();
    return answer;
}

inline float callGetParameter(AEffect* effect, VstInt32 index) {
    EffectCall call;
    const float value = effect->getParameter(effect, index);
    call.finish();
    return value;
}

inline void callSetParameter(AEffect* effect, VstInt32 index, float value) {
    EffectCall call;
    effect->setParameter(effect, index, value);
    call.finish();
}
