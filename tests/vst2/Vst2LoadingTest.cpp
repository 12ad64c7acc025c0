// If these fail, plug-in files that users have don't load, the wrong plug-in of a shell plays, or a failure
// is told in words that the application doesn't know.

#include "support/FailureText.h"
#include "vst2/Vst2Fixture.h"
#include "vst2/Vst2PluginApi.h"

#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <unistd.h>

using namespace test_support;

namespace {

class Vst2Loading : public testing::Test {
protected:
    Vst2Loading() { host->addFormat(Vst2PluginApi::instance); }

    Ref<Plugin> load(const char* name) { return host->getPlugin(testPlugin(name)); }

    Ref<PluginInstance> create(const Ref<Plugin>& plugin, const char* identifier) {
        Ref<PluginInstance> instance = plugin->createInstance(1, identifier, false);
        instance->initialize();
        return instance;
    }

    std::vector<String> idsOf(const char* name) {
        std::vector<String> ids;
        load(name)->getPluginIds(ids);
        return ids;
    }

    template <class Failure = PluginException, class Action>
    std::string failureOf(const Action& action) {
        return failureText<Failure>(action);
    }

    // A number that the file of "counts-entry-calls" keeps.
    int32_t& counter(const char* name) {
        void* module = dlopen(testPlugin("counts-entry-calls").toStdString().c_str(), RTLD_NOW);
        return *static_cast<int32_t*>(dlsym(module, name));
    }

    Ref<PluginHost> host{new PluginHost(44100, 256)};
};

using Ids = std::vector<String>;

} // namespace

TEST_F(Vst2Loading, TheFormatIsNamedVst24) {
    EXPECT_EQ(Vst2PluginApi::instance.getName(), "VST 2.4");
}

TEST_F(Vst2Loading, AFileThatExportsOnlyMainLoads) {
    const Ref<Plugin> plugin = load("exports-only-main");
    EXPECT_TRUE(plugin->isValid());
    EXPECT_EQ(create(plugin, "")->getName(), "Only Main");
}

TEST_F(Vst2Loading, AFileWithBothEntryPointsIsCalledThroughVSTPluginMain) {
    EXPECT_EQ(create(load("exports-both-entry-points"), "")->getName(), "Through VSTPluginMain");
}

TEST_F(Vst2Loading, APluginKnowsItsPathAndItsFormat) {
    const Ref<Plugin> plugin = load("exports-only-main");
    EXPECT_EQ(plugin->getPath(), testPlugin("exports-only-main"));
    EXPECT_EQ(plugin->getApi(), &Vst2PluginApi::instance);
}

TEST_F(Vst2Loading, AMissingFileFailsWithItsPathAndTheLoadersWords) {
    EXPECT_EQ(
        failureOf([&] { host->getPlugin("/nowhere/missing.so"); }),
        "Failed to load VST plug-in /nowhere/missing.so: /nowhere/missing.so: cannot open shared object "
        "file: No such file or directory");
    EXPECT_TRUE(host->plugins.empty());
}

TEST_F(Vst2Loading, AFileThatIsNoSharedObjectFailsWithItsPathAndTheLoadersWords) {
    const std::string path = "/tmp/not-a-plugin-" + std::to_string(getpid()) + ".so";
    std::ofstream(path) << "text";
    const std::string failure = failureOf([&] { host->getPlugin(path.c_str()); });
    std::filesystem::remove(path);
    EXPECT_EQ(failure, "Failed to load VST plug-in " + path + ": " + path + ": file too short");
}

TEST_F(Vst2Loading, AFileThatMissesAFunctionFailsBeforeItIsCalled) {
    const std::string path = testPlugin("misses-a-symbol").toStdString();
    EXPECT_EQ(failureOf([&] { load("misses-a-symbol"); }), "Failed to load VST plug-in " + path + ": " +
                                                               path +
                                                               ": undefined symbol: functionThatNobodyHas");
}

TEST_F(Vst2Loading, AFileWithANameBeyondAsciiLoads) {
    const std::string path = "/tmp/Fl\xC3\xBCgel-" + std::to_string(getpid()) + ".so";
    std::filesystem::copy_file(testPlugin("exports-only-main").toStdString(), path);
    Ref<Plugin> plugin;
    EXPECT_NO_THROW(plugin = host->getPlugin(path.c_str()));
    std::filesystem::remove(path);
    ASSERT_TRUE(plugin);
    EXPECT_EQ(create(plugin, "")->getName(), "Only Main");
}

TEST_F(Vst2Loading, AFileWithoutAnEntryPointFails) {
    EXPECT_EQ(failureOf([&] { load("exports-no-entry-point"); }), "Plugin main function not found");
    EXPECT_TRUE(host->plugins.empty());
}

TEST_F(Vst2Loading, APluginThatWasNeverLoadedIsInvalidAndGivesNothing) {
    const Ref<Vst2Plugin> plugin(new Vst2Plugin(host.get(), testPlugin("exports-only-main")));
    EXPECT_FALSE(plugin->isValid());
    Ids ids;
    EXPECT_EQ(failureOf([&] { plugin->getPluginIds(ids); }), "createAEffectInstance returned NULL");
    EXPECT_EQ(failureOf([&] { plugin->createInstance(1, "", false); }),
              "createAEffectInstance returned NULL.");
}

TEST_F(Vst2Loading, ListingAFileThatGivesNoEffectFailsWithoutAFullStop) {
    EXPECT_EQ(failureOf([&] { idsOf("gives-no-effect"); }), "createAEffectInstance returned NULL");
}

TEST_F(Vst2Loading, InstantiatingAFileThatGivesNoEffectFailsWithAFullStop) {
    const Ref<Plugin> plugin = load("gives-no-effect");
    EXPECT_EQ(failureOf([&] { plugin->createInstance(1, "", false); }),
              "createAEffectInstance returned NULL.");
}

TEST_F(Vst2Loading, ListingAFileThatGivesABadMagicFailsWithoutCallingIt) {
    EXPECT_EQ(failureOf([&] { idsOf("gives-bad-magic"); }), "createAEffectInstance returned NULL");
}

TEST_F(Vst2Loading, InstantiatingAFileThatGivesABadMagicFailsWithoutCallingIt) {
    const Ref<Plugin> plugin = load("gives-bad-magic");
    EXPECT_EQ(failureOf([&] { plugin->createInstance(1, "", false); }),
              "createAEffectInstance returned NULL.");
}

TEST_F(Vst2Loading, AFailureWhileListingOrInstantiatingKeepsThePlugin) {
    const Ref<Plugin> plugin = load("gives-no-effect");
    failureOf([&] { plugin->createInstance(1, "", false); });
    EXPECT_EQ(load("gives-no-effect"), plugin);
    EXPECT_EQ(host->plugins.size(), 1u);
}

TEST_F(Vst2Loading, APlainFileListsItsUniqueIdInDecimal) {
    EXPECT_EQ(idsOf("counts-entry-calls"), Ids{"314"});
}

TEST_F(Vst2Loading, ANegativeUniqueIdIsListedWithAMinusSignAndParsesBack) {
    const Ref<Plugin> plugin = load("negative-unique-id");
    Ids ids;
    plugin->getPluginIds(ids);
    ASSERT_EQ(ids, Ids{"-559038737"});
    EXPECT_EQ(create(plugin, "-559038737")->getIdentifier(), "deadbeef");
    EXPECT_EQ(Vst2Plugin::getCurrentShellPluginId(), -559038737);
}

TEST_F(Vst2Loading, AShellListsItsPluginsInItsOwnOrder) {
    EXPECT_EQ(idsOf("shell-of-three"), (Ids{"1001", "-1002", "1003"}));
}

TEST_F(Vst2Loading, ListingAppendsToWhatTheListHolds) {
    Ids ids{"before"};
    load("shell-of-three")->getPluginIds(ids);
    EXPECT_EQ(ids, (Ids{"before", "1001", "-1002", "1003"}));
}

TEST_F(Vst2Loading, AShellThatOffersNothingFails) {
    EXPECT_EQ(failureOf([&] { idsOf("empty-shell"); }), "Shell plug-in is empty");
}

TEST_F(Vst2Loading, AShellThatOffersNothingIsFineForAListThatHoldsSomething) {
    Ids ids{"before"};
    EXPECT_NO_THROW(load("empty-shell")->getPluginIds(ids));
    EXPECT_EQ(ids, Ids{"before"});
}

TEST_F(Vst2Loading, TheIdentifierChoosesThePluginOfAShell) {
    const Ref<Plugin> plugin = load("shell-of-three");
    EXPECT_EQ(create(plugin, "1001")->getName(), "First");
    EXPECT_EQ(create(plugin, "-1002")->getName(), "Second");
    EXPECT_EQ(create(plugin, "1003")->getName(), "Third");
}

TEST_F(Vst2Loading, AShellWithoutAnIdentifierGivesTheShellsOwnEffect) {
    const Ref<PluginInstance> instance = create(load("shell-of-three"), "");
    EXPECT_EQ(instance->getName(), "Shell");
    EXPECT_EQ(instance->getCategory(), "Shell");
}

TEST_F(Vst2Loading, TheExampleShellGivesItsThreePlugins) {
    const Ref<Plugin> plugin = host->getPlugin(EXAMPLE_PLUGIN_DIRECTORY "/trio.so");
    Ids ids;
    plugin->getPluginIds(ids);
    ASSERT_EQ(ids.size(), 3u);
    EXPECT_EQ(create(plugin, ids[2].toStdString().c_str())->getName(), "Swap Sides");
}

TEST_F(Vst2Loading, TheIdentifierOfAPlainFileChangesNothing) {
    EXPECT_EQ(create(load("counts-entry-calls"), "12345")->getName(), "Counter");
}

TEST_F(Vst2Loading, AListedPluginIsInstantiatedWithNoSecondCallOfItsEntryPoint) {
    const Ref<Plugin> plugin = load("counts-entry-calls");
    const int32_t before = counter("entryCalls");
    Ids ids;
    plugin->getPluginIds(ids);
    EXPECT_EQ(counter("entryCalls"), before + 1);
    const Ref<PluginInstance> first = create(plugin, "314");
    EXPECT_EQ(counter("entryCalls"), before + 1);
    const Ref<PluginInstance> second = create(plugin, "314");
    EXPECT_EQ(counter("entryCalls"), before + 2);
}

TEST_F(Vst2Loading, ListingTwiceRunsTheEntryPointTwice) {
    const Ref<Plugin> plugin = load("counts-entry-calls");
    const int32_t before = counter("entryCalls");
    Ids ids;
    plugin->getPluginIds(ids);
    plugin->getPluginIds(ids);
    EXPECT_EQ(counter("entryCalls"), before + 2);
    EXPECT_EQ(ids, (Ids{"314", "314"}));
    const Ref<PluginInstance> instance = create(plugin, "314");
    EXPECT_EQ(counter("entryCalls"), before + 2);
}

TEST_F(Vst2Loading, AnIdentifierThatIsNoNumberFailsBeforeTheEntryPointRuns) {
    const Ref<Plugin> plugin = load("counts-entry-calls");
    const int32_t before = counter("entryCalls");
    const int32_t idBefore = Vst2Plugin::getCurrentShellPluginId();
    EXPECT_EQ(failureOf<base::core::NumberFormatException>([&] { plugin->createInstance(1, "abc", false); }),
              "Invalid number: abc");
    EXPECT_EQ(counter("entryCalls"), before);
    EXPECT_EQ(Vst2Plugin::getCurrentShellPluginId(), idBefore);
}

TEST_F(Vst2Loading, DuringTheEntryPointTheCurrentIdIsThatOfThisInstance) {
    const Ref<Plugin> plugin = load("counts-entry-calls");
    const Ref<PluginInstance> first = create(plugin, "-4711");
    EXPECT_EQ(counter("currentIdDuringEntry"), -4711);
    const Ref<PluginInstance> second = create(plugin, " 12 ");
    EXPECT_EQ(counter("currentIdDuringEntry"), 12);
    const Ref<PluginInstance> third = create(plugin, "");
    EXPECT_EQ(counter("currentIdDuringEntry"), 0);
}

TEST_F(Vst2Loading, TheCurrentIdKeepsItsLastValueAlsoWhileAnotherFileIsListed) {
    const Ref<PluginInstance> instance = create(load("shell-of-three"), "1003");
    idsOf("counts-entry-calls");
    EXPECT_EQ(counter("currentIdDuringEntry"), 1003);
    EXPECT_EQ(Vst2Plugin::getCurrentShellPluginId(), 1003);
}

TEST_F(Vst2Loading, TheCurrentIdIsSetEvenWhenThereIsNoEffect) {
    const Ref<Plugin> plugin = load("gives-no-effect");
    failureOf([&] { plugin->createInstance(1, "99", false); });
    EXPECT_EQ(Vst2Plugin::getCurrentShellPluginId(), 99);
}

TEST_F(Vst2Loading, TheEffectIsLinkedAfterItsVersionAndBeforeItsCategoryIsAsked) {
    RecordingEffect effect;
    std::vector<std::pair<VstInt32, bool>> calls;
    for (const VstInt32 opcode : {effGetVstVersion, effGetPlugCategory}) {
        effect.answer(opcode, [&](const DispatcherCall& call, void*) -> VstIntPtr {
            calls.emplace_back(call.opcode, effect.effect.resvd1 != 0);
            return 0;
        });
    }
    const Ref<Vst2PluginInstance> instance(new Vst2PluginInstance(host.get(), 1, false, nullptr, 0));
    instance->attach(&effect.effect);
    EXPECT_EQ(calls, (std::vector<std::pair<VstInt32, bool>>{{effGetVstVersion, false},
                                                             {effGetPlugCategory, true}}));
    EXPECT_EQ(effect.effect.resvd1, reinterpret_cast<VstIntPtr>(instance.get()));
}
