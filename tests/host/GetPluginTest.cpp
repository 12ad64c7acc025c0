// Which file is loaded by which format, and what a file that can't be loaded says. If these fail, a file is
// loaded twice, or a user's plug-in is handed to the wrong format.

#include "plugin/PluginApi.h"
#include "plugin/PluginException.h"
#include "support/TestHost.h"
#include "vst2/Vst2PluginApi.h"
#include "vst3/Vst3PluginApi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

using namespace test_support;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::filesystem::path echo = std::filesystem::path(EXAMPLE_PLUGIN_DIRECTORY) / "echo.so";

class GetPluginTest : public testing::Test {
protected:
    GetPluginTest() {
        test.host->addFormat(Vst3PluginApi::instance);
        test.host->addFormat(Vst2PluginApi::instance);
        std::filesystem::create_directory(directory);
    }
    ~GetPluginTest() override {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }

    // A copy of the echo under another name.
    std::filesystem::path copyAs(const std::string& name) const {
        std::filesystem::copy_file(echo, directory / name);
        return directory / name;
    }

    Ref<Plugin> getPlugin(const std::string& path) { return test.host->getPlugin(path.c_str()); }

    std::string failureOf(const std::string& path) {
        try {
            getPlugin(path);
        } catch (const PluginException& exception) {
            return exception.getMessage().toStdString();
        }
        return "no failure";
    }

    TestHost test;
    std::filesystem::path directory =
        std::filesystem::temp_directory_path() / ("get-plugin-test-" + std::to_string(getpid()));
};

} // namespace

TEST_F(GetPluginTest, OnePathIsLoadedOnce) {
    const Ref<Plugin> plugin = getPlugin(echo);
    ASSERT_TRUE(plugin);
    EXPECT_TRUE(plugin->isValid());
    EXPECT_EQ(plugin->getPath(), echo.c_str());
    EXPECT_EQ(plugin->getApi()->getName(), "VST 2.4");
    EXPECT_EQ(getPlugin(echo), plugin);
    EXPECT_EQ(test.host->plugins.size(), 1U);
}

TEST_F(GetPluginTest, PathsAreComparedLetterByLetter) {
    const Ref<Plugin> plugin = getPlugin(echo);
    const Ref<Plugin> again = getPlugin(std::string(EXAMPLE_PLUGIN_DIRECTORY) + "/./echo.so");
    EXPECT_NE(again, plugin);
    EXPECT_THAT(test.host->plugins, ElementsAre(plugin, again));
}

TEST_F(GetPluginTest, AFileWithoutAnExtensionIsAVst2Plugin) {
    EXPECT_EQ(getPlugin(copyAs("echo"))->getApi()->getName(), "VST 2.4");
}

TEST_F(GetPluginTest, AnEndingInUpperCaseIsAVst2Plugin) {
    EXPECT_EQ(getPlugin(copyAs("Echo.VST3"))->getApi()->getName(), "VST 2.4");
}

TEST_F(GetPluginTest, APathThatEndsInVst3IsNeverTriedAsVst2) {
    for (const char* name : {"Echo.vst3", "myvst3"}) {
        const Ref<Plugin> plugin = getPlugin(copyAs(name));
        EXPECT_EQ(plugin->getApi()->getName(), "VST 3");
        EXPECT_FALSE(plugin->isValid()) << "the file has the entry point of the other format";
    }
}

TEST_F(GetPluginTest, AFileThatCannotBeLoadedFailsInTheFormatsWordsAndIsNotKept) {
    const std::string path = directory / "missing.so";
    EXPECT_THAT(failureOf(path), StartsWith("Failed to load VST plug-in " + path));
    EXPECT_THAT(failureOf(directory), StartsWith("Failed to load VST plug-in "));
    EXPECT_TRUE(test.host->plugins.empty());
}

TEST_F(GetPluginTest, ASharedObjectThatIsNoPluginFailsInTheFormatsWordsAndIsNotKept) {
    EXPECT_EQ(failureOf(TEST_PLUGIN_DIRECTORY "/without-entry-point.so"), "Plugin main function not found");
    EXPECT_TRUE(test.host->plugins.empty());
}

/// Takes all paths with a certain letter, and loads none of them.
class FakeFormat final : public PluginApi {
public:
    FakeFormat(char letter, CallLog& log) : letter(letter), log(log) {}

    String getName() const override { return "fake"; }
    bool loads(const String& path) const override {
        return path.toStdString().find(letter) != std::string::npos;
    }
    Plugin* createPlugin(PluginHostContext* host, const String& path) override {
        log.add(letter + (" " + path.toStdString()));
        return new FakePlugin(path, host, log);
    }

private:
    char letter;
    CallLog& log;
};

TEST(PluginFormatsTest, TheFirstFormatThatTakesAPathLoadsItAndWithoutOneItCannotBeLoaded) {
    TestHost test;
    FakeFormat a('a', test.log);
    FakeFormat b('b', test.log);
    test.host->addFormat(b);
    test.host->addFormat(a);
    EXPECT_NE(test.host->getPlugin("ab"), nullptr);
    EXPECT_NE(test.host->getPlugin("a"), nullptr);
    EXPECT_EQ(test.host->getPlugin("c"), nullptr);
    EXPECT_THAT(test.log.all(), ElementsAre("b ab", "a a"));
    try {
        test.host->createPluginInstance(1, "c", "", false);
        FAIL() << "no exception";
    } catch (const PluginException& exception) {
        EXPECT_EQ(exception.getMessage(), "Couldn't load VST plug-in: c");
    }
}

TEST_F(GetPluginTest, CreatingAnInstanceOfAPluginThatIsNotValidFails) {
    test.addPlugin("fake.so")->valid = false;
    try {
        test.host->createPluginInstance(1, "fake.so", "", false);
        FAIL() << "no exception";
    } catch (const PluginException& exception) {
        EXPECT_EQ(exception.getMessage(), "Couldn't load VST plug-in: fake.so");
    }
}

TEST_F(GetPluginTest, CreatingAnInstanceThatThePluginRefusesFails) {
    test.addPlugin("fake.so")->offersInstance = false;
    try {
        test.host->createPluginInstance(1, "fake.so", "", false);
        FAIL() << "no exception";
    } catch (const PluginException& exception) {
        EXPECT_EQ(exception.getMessage(), "Couldn't instantiate VST plug-in: fake.so");
    }
}

TEST_F(GetPluginTest, AnInstanceIsInitialisedBeforeItEntersTheTable) {
    test.addPlugin("fake.so")->onInstance = [&](FakePluginInstance& made) {
        made.onCall = [&](const std::string& call) {
            test.log.add(call + (test.host->instances.find(1) != nullptr ? " in table" : " outside"));
        };
    };
    const Ref<PluginInstance> instance = test.host->createPluginInstance(1, "fake.so", "17", true);
    EXPECT_EQ(test.host->instances.find(1), instance.get());
    EXPECT_THAT(test.log.all(),
                ElementsAre("createInstance 1 17 dpiAware", "initialize", "initialize outside"));
}
