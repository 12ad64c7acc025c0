#pragma once

#include "vst3/Vst3Fixture.h"

#include <cstddef>
#include <string>
#include <vector>

/// Instances that are brought up and taken down, by the calls that their plug-in gets.
class Vst3SetUp : public Vst3Test {
protected:
    // What the plug-in was asked while it was initialised.
    std::vector<std::string> callsOfInitialize(const std::string& name) {
        const Ref<Vst3PluginInstance> instance = create(name);
        calls();
        instance->initialize();
        return calls();
    }

    // The failure of `initialize` without the place in the source.
    static std::string failureOfInitialize(const Ref<Vst3PluginInstance>& instance) {
        const std::string failure = failureOf([&] { instance->initialize(); });
        const size_t place = failure.find("\n in Vst3");
        EXPECT_NE(place, std::string::npos) << failure;
        return failure.substr(0, place);
    }

    // As long as the plug-in answers so to a call, `initialize` fails.
    std::string failureWhere(const std::string& call, tresult answer) {
        const Ref<Vst3PluginInstance> instance = create("records-its-calls");
        record->answers[call] = answer;
        const std::string failure = failureOfInitialize(instance);
        lastCall = calls().back();
        return failure;
    }

    // The one that failed.
    std::string lastCall;
};
