#pragma once

#include "host/PluginHost.h"
#include "plugin/PluginException.h"
#include "plugins/vst3/ModuleRecord.h"
#include "support/FailureText.h"
#include "support/RecordingHandler.h"
#include "vst3/Vst3Plugin.h"
#include "vst3/Vst3PluginApi.h"
#include "vst3/Vst3PluginInstance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <string>
#include <vector>

/// The identifier texts of the classes of the test modules.
inline constexpr const char* firstClassText = "11111111111111111111111111111111";
inline constexpr const char* secondClassText = "22222222222222222222222222222222";

/// The path of a module file that the tests build.
inline std::string testModule(const std::string& name) {
    return TEST_PLUGIN_DIRECTORY "/" + name + ".vst3";
}

/// What the module of a file exports under a name; the file is loaded if it isn't yet. Null if there is
/// nothing.
template <class Exported>
Exported* exportedBy(const std::string& path, const char* name) {
    void* module = dlopen(path.c_str(), RTLD_NOW);
    return module != nullptr ? reinterpret_cast<Exported*>(dlsym(module, name)) : nullptr;
}

/// The message of the `PluginException` that `action` ends with.
template <class Action>
std::string failureOf(const Action& action) {
    return test_support::failureText<PluginException>(action);
}

/// A host whose main thread is the test's, and whose client hears of the instances that are announced.
class Vst3Test : public testing::Test {
protected:
    Vst3Test() { host->addFormat(Vst3PluginApi::instance); }

    static constexpr int32_t sampleRate = 48000;
    static constexpr int32_t blockSize = 64;
    static constexpr int32_t instanceId = 7;

    Ref<Vst3Plugin> getPlugin(const std::string& path) {
        return dynamic_cast<Vst3Plugin*>(host->getPlugin(path.c_str()).get());
    }

    /// Loads a module, whose record then holds what loading it took.
    Ref<Vst3Plugin> load(const std::string& name) {
        record = exportedBy<ModuleRecord*()>(testModule(name), "moduleRecord")();
        record->reset();
        return getPlugin(testModule(name));
    }

    /// An instance that isn't initialised yet.
    Ref<Vst3PluginInstance> create(const Ref<Vst3Plugin>& plugin, const char* identifier = "") {
        return static_cast<Vst3PluginInstance*>(plugin->createInstance(instanceId, identifier, false));
    }
    Ref<Vst3PluginInstance> create(const std::string& name) { return create(load(name)); }

    std::vector<std::string> calls() { return record->takeCalls(); }

    Ref<PluginHost> host{new PluginHost(sampleRate, blockSize)};
    Ref<test_support::RecordingHandler> handler{new test_support::RecordingHandler};
    /// Of the module that was loaded last.
    ModuleRecord* record = nullptr;
};
