#pragma once

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"

/// A stereo effect that leaves its output as it is, with nothing of its own to tell.
class PlainEffect : public Vst3SinglePlugin {
public:
    PlainEffect() : Vst3SinglePlugin({}) {}
};
