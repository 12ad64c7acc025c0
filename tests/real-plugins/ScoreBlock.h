#pragma once

#include "plugin/PluginAudioContext.h"
#include "real-plugins/Score.h"

/// Fills the context for a block of the score, without a change of a parameter.
void writeBlock(PluginAudioContext& context, int32_t block);

/// Fills the context for a block of nothing, with the transport at a halt.
void writeSilence(PluginAudioContext& context);

/// Adds a change at the block's start, of which there may be as many as the context has parameters. The value
/// is normalised.
void addChange(PluginAudioContext& context, int32_t parameter, float value);
