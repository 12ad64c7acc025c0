#pragma once

#include "vst2/Vst24.h"

/// The `audioMasterCallback` of every effect: the way by which plug-ins talk back, from any thread and at any
/// time, also before an effect is linked to its instance and after it was closed. Takes no lock. An instance
/// that is being terminated answers 0 to everything. What an answer throws, an `EffectCall` keeps for the
/// host.
VstIntPtr vst2HostCallback(AEffect* effect, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                           float opt);
