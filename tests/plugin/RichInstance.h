#pragma once

#include "support/FakePluginInstance.h"

/// Gives an instance what the golden bytes of `richState` tell.
inline void makeRich(test_support::FakePluginInstance& instance) {
    instance.inputBuses = {new PluginAudioBus("In", {0, 1})};
    instance.outputBuses = {new PluginAudioBus("Main", {0, 1}), new PluginAudioBus("é!", {258})};
    test_support::FakePluginInstance::Parameter gain{"Gain", "dB", "-6.0", 0.5F, {}};
    gain.properties = {true, 258, true, true, -1, 7, "€", "Gn"};
    test_support::FakePluginInstance::Parameter plain;
    plain.value = 1;
    instance.parameters = {gain, plain};
    instance.programs = {"Init", ""};
    instance.noteNames = {{60, "Kick"}};
    instance.latency = 320;
    instance.mpe = true;
    instance.controllerMapping = false;
    instance.noteOutput = true;
}
