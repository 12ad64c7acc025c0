#pragma once

#include "vst2/Vst24.h"

/// The `audioMasterCallback` of every effect. Plug-ins call it on any thread and at any time, also before an
/// effect is linked to its instance and after it was closed. Lock-free. For an instance that is being
/// terminated all answers are 0. Exceptions are stored by `EffectCall`.
VstIntPtr vst2HostCallback(AEffect* effect, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                           float opt);
