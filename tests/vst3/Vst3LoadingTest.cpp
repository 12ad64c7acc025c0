// If these fail, modules that users have don't load or are looked for in the wrong place, another plug-in
// plays than was asked for, or a failure is told in words that the application doesn't know.

#include "support/CapturedOutput.h"
#include "support/TestDirectory.h"
#include "vst3/Vst3Fixture.h"
#include "vst3/Vst3PluginApi.h"

#include <filesystem>
#include <fstream>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::filesystem::path librariesOfABundle = std::filesystem::path("Contents") / "x86_64-linux";

class Vst3Loading : public Vst3Test {
protected:
    // Past the host, which goes by a path's end.
    Ref<Vst3Plugin> createPlugin(const std::string& path) {
        return static_cast<Vst3Plugin*>(Vst3PluginApi::instance.createPlugin(host.get(), path.c_str()));
    }

    // A bundle with a module that has one class; its library has the given name.
    std::string makeBundle(const std::string& name, const std::string& libraryName) {
        const std::filesystem::path folder = directory / name / librariesOfABundle;
        std::filesystem::create_directories(folder);
        std::filesystem::copy_file(testModule("without-entry"), folder / libraryName);
        return directory / name;
    }

    std::filesystem::path libraryOf(const std::string& bundle, const std::string& libraryName) {
        return bundle / librariesOfABundle / libraryName;
    }

    static std::vector<String> idsOf(const Ref<Vst3Plugin>& plugin) {
        std::vector<String> ids;
        plugin->getPluginIds(ids);
        return ids;
    }

    TestDirectory directory;
};

std::string loadFailure(const std::string& path, const std::string& reason) {
    return "Failed to load VST plug-in " + path + ": " + path + ": " + reason;
}

} // namespace

TEST_F(Vst3Loading, TheFormatIsNamedVst3) {
    EXPECT_EQ(Vst3PluginApi::instance.getName(), "VST 3");
}

TEST_F(Vst3Loading, APluginKnowsItsPathAndItsFormat) {
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("single-component"));
    EXPECT_TRUE(plugin->isValid());
    EXPECT_EQ(plugin->getPath(), testModule("single-component").c_str());
    EXPECT_EQ(plugin->getApi(), &Vst3PluginApi::instance);
    EXPECT_EQ(create(plugin)->getApi(), &Vst3PluginApi::instance);
}

TEST_F(Vst3Loading, AFileIsLoadedAsItStandsWhateverItsName) {
    for (const char* name : {"Plain.vst3", "myvst3", "vst3", "Library.so", "plain"}) {
        const std::string path = directory / name;
        std::filesystem::copy_file(testModule("without-entry"), path);
        const Ref<Vst3Plugin> plugin = createPlugin(path);
        EXPECT_TRUE(plugin->isValid());
        EXPECT_EQ(plugin->getPath(), path.c_str());
    }
}

TEST_F(Vst3Loading, ALinkToAModuleIsLoadedAsItStands) {
    const std::string path = directory / "Foo.vst3";
    std::filesystem::create_symlink(testModule("without-entry"), path);
    EXPECT_EQ(createPlugin(path)->getPath(), path.c_str());
}

TEST_F(Vst3Loading, ABundleIsLoadedFromTheLibraryInIt) {
    const std::string bundle = makeBundle("Foo.vst3", "Foo.so");
    const Ref<Vst3Plugin> plugin = getPlugin(bundle);
    EXPECT_TRUE(plugin->isValid());
    EXPECT_EQ(plugin->getPath(), libraryOf(bundle, "Foo.so").c_str());
    EXPECT_TRUE(create(plugin)->isOpen());
}

TEST_F(Vst3Loading, FiveCharactersOfABundlesNameAreCutWhateverTheyAre) {
    const std::string bundle = makeBundle("Foo.bar1", "Foo.so");
    EXPECT_EQ(createPlugin(bundle)->getPath(), libraryOf(bundle, "Foo.so").c_str());
}

TEST_F(Vst3Loading, FiveCharactersOfABundlesNameAreCutAlsoWithoutADot) {
    const std::string bundle = makeBundle("abcvst3", "ab.so");
    EXPECT_EQ(getPlugin(bundle)->getPath(), libraryOf(bundle, "ab.so").c_str());
}

TEST_F(Vst3Loading, TheCharactersOfABundlesNameAreNotItsBytes) {
    const std::string bundle = makeBundle("Fl\xC3\xBCgel.vst3", "Fl\xC3\xBCgel.so");
    EXPECT_EQ(getPlugin(bundle)->getPath(), libraryOf(bundle, "Fl\xC3\xBCgel.so").c_str());
    const std::string shortName = makeBundle("\xC3\x9C.v3\xC3\xB6\xC3\xB6", "\xC3\x9C.so");
    EXPECT_EQ(createPlugin(shortName)->getPath(), libraryOf(shortName, "\xC3\x9C.so").c_str());
}

TEST_F(Vst3Loading, ABundleThatIsNamedByTheSuffixAloneHasALibraryOfThatKind) {
    const std::string bundle = makeBundle(".vst3", ".so");
    EXPECT_EQ(getPlugin(bundle)->getPath(), libraryOf(bundle, ".so").c_str());
}

TEST_F(Vst3Loading, AFolderWithAShorterNameFailsAsTheFolderThatItIs) {
    for (const char* name : {"vst3", "abc"}) {
        const std::string path = directory / name;
        std::filesystem::create_directory(path);
        EXPECT_EQ(failureOf([&] { createPlugin(path); }),
                  loadFailure(path, "cannot read file data: Is a directory"));
    }
}

TEST_F(Vst3Loading, ABundlesLibraryIsLookedForInNoOtherFolder) {
    const std::string bundle = directory / "Foo.vst3";
    for (const char* folder : {"i386-linux", "i686-linux", "x86-linux"}) {
        std::filesystem::create_directories(std::filesystem::path(bundle) / "Contents" / folder);
        std::filesystem::copy_file(testModule("without-entry"),
                                   std::filesystem::path(bundle) / "Contents" / folder / "Foo.so");
    }
    EXPECT_EQ(failureOf([&] { getPlugin(bundle); }),
              loadFailure(libraryOf(bundle, "Foo.so"),
                          "cannot open shared object file: No such file or directory"));
}

TEST_F(Vst3Loading, AMissingFileIsTakenForABundle) {
    EXPECT_EQ(failureOf([&] { getPlugin("/nowhere/missing.vst3"); }),
              loadFailure("/nowhere/missing.vst3/Contents/x86_64-linux/missing.so",
                          "cannot open shared object file: No such file or directory"));
    EXPECT_TRUE(host->plugins.empty());
}

TEST_F(Vst3Loading, AFileThatIsNoSharedObjectFailsWithItsPathAndTheLoadersWords) {
    const std::string path = directory / "text.vst3";
    std::ofstream(path) << "text";
    EXPECT_EQ(failureOf([&] { getPlugin(path); }), loadFailure(path, "file too short"));
    EXPECT_TRUE(host->plugins.empty());
}

TEST_F(Vst3Loading, TwoRequestsForAFileYieldOnePlugin) {
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("single-component"));
    EXPECT_EQ(getPlugin(testModule("single-component")), plugin);
    EXPECT_EQ(host->plugins.size(), 1U);
}

TEST_F(Vst3Loading, TwoRequestsForABundleYieldTwoPlugins) {
    const std::string bundle = makeBundle("Foo.vst3", "Foo.so");
    const Ref<Vst3Plugin> plugin = getPlugin(bundle);
    const Ref<Vst3Plugin> again = getPlugin(bundle);
    EXPECT_NE(again, plugin);
    EXPECT_EQ(again->getPath(), plugin->getPath());
    EXPECT_EQ(host->plugins.size(), 2U);
}

TEST_F(Vst3Loading, TwoRequestsForTheLibraryOfALoadedBundleYieldItsPlugin) {
    const std::string bundle = makeBundle("Foo.vst3", "Foo.so");
    const Ref<Vst3Plugin> plugin = getPlugin(bundle);
    // Of a path that is loaded, nobody asks for the format.
    EXPECT_EQ(getPlugin(libraryOf(bundle, "Foo.so")), plugin);
    EXPECT_EQ(getPlugin(libraryOf(bundle, "Foo.so")), plugin);
    EXPECT_EQ(host->plugins.size(), 1U);
}

TEST_F(Vst3Loading, ABundleWhoseNameEndsInUpperCaseIsNoVst3Plugin) {
    const std::string bundle = makeBundle("Foo.VST3", "Foo.so");
    EXPECT_EQ(getPlugin(bundle), nullptr);
    EXPECT_FALSE(Vst3PluginApi::instance.loads("Foo.VST3"));
    EXPECT_TRUE(Vst3PluginApi::instance.loads("Foo.vst3"));
    EXPECT_TRUE(Vst3PluginApi::instance.loads("Foovst3"));
}

TEST_F(Vst3Loading, AModuleWithoutAnEntryLoads) {
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("without-entry"));
    EXPECT_TRUE(plugin->isValid());
    EXPECT_TRUE(create(plugin)->isOpen());
}

TEST_F(Vst3Loading, AModuleWhoseEntryReturnsFalseFailsAndStaysLoaded) {
    const std::string path = testModule("entry-returns-false");
    const int& entryCalls = *exportedBy<int>(path, "entryCalls");
    for (int attempt = 1; attempt <= 2; ++attempt) {
        EXPECT_EQ(failureOf([&] { getPlugin(path); }),
                  "Failed to initialized VST plug-in " + path + ": ModuleInit() returned false");
        EXPECT_EQ(entryCalls, attempt);
    }
    EXPECT_TRUE(host->plugins.empty());
    EXPECT_NE(dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
}

TEST_F(Vst3Loading, AnEntryIsGivenTheModulesHandle) {
    const std::string path = testModule("entry-returns-false");
    failureOf([&] { getPlugin(path); });
    EXPECT_EQ(*exportedBy<void*>(path, "entryHandle"), dlopen(path.c_str(), RTLD_NOW));
}

TEST_F(Vst3Loading, AFileWithoutAFactoryIsNoFailureAndNotValid) {
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("exports-nothing"));
    EXPECT_FALSE(plugin->isValid());
    EXPECT_THAT(idsOf(plugin), IsEmpty());
}

TEST_F(Vst3Loading, AModuleThatGivesNoFactoryIsNoFailureAndNotValid) {
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("gives-no-factory"));
    EXPECT_FALSE(plugin->isValid());
    EXPECT_THAT(idsOf(plugin), IsEmpty());
}

TEST_F(Vst3Loading, AnInstanceOfAFileWithoutAFactoryCannotBeMade) {
    const std::string path = testModule("exports-nothing");
    EXPECT_EQ(failureOf([&] { host->createPluginInstance(1, path.c_str(), "", false); }),
              "Couldn't load VST plug-in: " + path);
}

TEST_F(Vst3Loading, ClassesAreListedInTheFactorysOrder) {
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("two-classes"));
    EXPECT_THAT(idsOf(plugin), ElementsAre(secondClassText, firstClassText));
    ASSERT_EQ(plugin->classInfos.size(), 2U);
    EXPECT_STREQ(plugin->classInfos[firstClassText].name, "Effect");
    EXPECT_STREQ(plugin->classInfos[secondClassText].name, "Instrument");
    ASSERT_EQ(plugin->classInfos2.size(), 2U);
    EXPECT_STREQ(plugin->classInfos2[firstClassText].subCategories, "Fx|Delay|Stereo");
    EXPECT_STREQ(plugin->classInfos2[secondClassText].subCategories, "Instrument|Synth");
}

TEST_F(Vst3Loading, ListingAppendsToWhatTheListHolds) {
    std::vector<String> ids{"before"};
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("two-classes"));
    plugin->getPluginIds(ids);
    plugin->getPluginIds(ids);
    EXPECT_THAT(ids, ElementsAre("before", secondClassText, firstClassText, secondClassText, firstClassText));
}

TEST_F(Vst3Loading, OnlyAudioClassesAreListed) {
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("lists-other-classes"));
    EXPECT_THAT(idsOf(plugin), ElementsAre(firstClassText));
    EXPECT_EQ(plugin->classInfos.size(), 1U);
    EXPECT_EQ(plugin->classInfos2.size(), 1U);
    EXPECT_STREQ(plugin->classInfos[firstClassText].name, "Only One") << "what a factory answers is ignored";
    EXPECT_STREQ(plugin->classInfos2[firstClassText].name, "Only One");
}

TEST_F(Vst3Loading, OfTwoClassesWithOneIdTheLaterWins) {
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("two-classes-with-one-id"));
    EXPECT_THAT(idsOf(plugin), ElementsAre(firstClassText, firstClassText));
    ASSERT_EQ(plugin->classInfos.size(), 1U);
    EXPECT_STREQ(plugin->classInfos[firstClassText].name, "Later");
    ASSERT_EQ(plugin->classInfos2.size(), 1U);
    EXPECT_STREQ(plugin->classInfos2[firstClassText].subCategories, "Fx|Later");
}

TEST_F(Vst3Loading, AFactoryWithoutItsSecondInterfaceHasNoSecondRecords) {
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("without-second-factory"));
    EXPECT_TRUE(plugin->isValid());
    EXPECT_EQ(plugin->factory2.get(), nullptr);
    EXPECT_THAT(idsOf(plugin), ElementsAre(firstClassText));
    EXPECT_STREQ(plugin->classInfos[firstClassText].name, "Without Second Factory");
    EXPECT_TRUE(plugin->classInfos2.empty());
    const Ref<Vst3PluginInstance> instance = create(plugin);
    EXPECT_TRUE(instance->isOpen());
    EXPECT_EQ(instance->getVersion(), "");
    EXPECT_EQ(instance->getCategory(), "");
}

TEST_F(Vst3Loading, AFactoryThatGrowsWhileItIsReadIsReadToItsEnd) {
    EXPECT_EQ(idsOf(getPlugin(testModule("grows-while-it-is-read"))).size(), 4U);
}

TEST_F(Vst3Loading, AThirdFactoryIsHeldAndNeverUsed) {
    const uint32_t& references =
        *exportedBy<uint32_t>(testModule("offers-third-factory"), "factoryReferences");
    Ref<Vst3Plugin> plugin = load("offers-third-factory");
    EXPECT_EQ(references, 3U);
    host->plugins.clear();
    plugin = nullptr;
    EXPECT_EQ(references, 1U) << "the third interface is never released";
    EXPECT_THAT(calls(), ElementsAre("factory queryInterface IPluginFactory2",
                                     "factory queryInterface IPluginFactory3"));
}

TEST_F(Vst3Loading, TheOnlyClassNeedsNoIdentifier) {
    const Ref<Vst3PluginInstance> instance = create(getPlugin(testModule("single-component")));
    EXPECT_TRUE(instance->isOpen());
    EXPECT_EQ(instance->getIdentifier(), firstClassText);
}

TEST_F(Vst3Loading, TheIdentifierChoosesTheClass) {
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("two-classes"));
    const Ref<Vst3PluginInstance> effect = create(plugin, firstClassText);
    EXPECT_EQ(effect->getName(), "Effect");
    EXPECT_TRUE(effect->hasAudioInput());
    const Ref<Vst3PluginInstance> instrument = create(plugin, secondClassText);
    EXPECT_EQ(instrument->getName(), "Instrument");
    EXPECT_TRUE(instrument->hasNoteInput());
}

TEST_F(Vst3Loading, AnEmptyIdentifierOfTwoClassesIsAClassThatIsNotThere) {
    const Ref<Vst3PluginInstance> instance = create(getPlugin(testModule("two-classes")));
    EXPECT_FALSE(instance->isOpen());
    EXPECT_EQ(instance->getIdentifier(), "00000000000000000000000000000000");
}

TEST_F(Vst3Loading, AnEmptyIdentifierOfAClassThatIsListedTwiceIsAClassThatIsNotThere) {
    EXPECT_FALSE(create(getPlugin(testModule("two-classes-with-one-id")))->isOpen());
    EXPECT_TRUE(create(getPlugin(testModule("two-classes-with-one-id")), firstClassText)->isOpen());
}

TEST_F(Vst3Loading, AnIdentifierIsNotCheckedAgainstTheList) {
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("single-component"));
    const Ref<Vst3PluginInstance> unknown = create(plugin, secondClassText);
    EXPECT_FALSE(unknown->isOpen());
    EXPECT_EQ(unknown->getIdentifier(), secondClassText);
    const Ref<Vst3PluginInstance> unreadable = create(plugin, "12345");
    EXPECT_FALSE(unreadable->isOpen());
    EXPECT_EQ(unreadable->getIdentifier(), "00000000000000000000000000000000");
}

TEST_F(Vst3Loading, AnIdentifierInLowerCaseFindsItsClass) {
    const Ref<Vst3Plugin> plugin = createPlugin(testModule("named-by-letters"));
    EXPECT_THAT(idsOf(plugin), ElementsAre("ABCDEF01ABCDEF02ABCDEF03ABCDEF04"));
    EXPECT_TRUE(create(plugin, "abcdef01abcdef02abcdef03abcdef04")->isOpen());
}

TEST_F(Vst3Loading, EachCreationPrintsTheIdentifierToTheStandardErrorStream) {
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("single-component"));
    const CapturedOutput error(STDERR_FILENO);
    create(plugin, firstClassText);
    create(plugin, "");
    create(plugin, "Fl\xC3\xBCgel");
    EXPECT_EQ(error.text(), std::string(firstClassText) + "\n\nFl\xC3\xBCgel\n");
}
