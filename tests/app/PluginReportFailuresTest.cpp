// If these fail, one odd plug-in of a file hides the others from the application, or a failure ends the
// program instead of the report.

#include "app/PluginReport.h"
#include "core/StdStreams.h"
#include "host/PluginHost.h"
#include "plugin/PluginException.h"
#include "support/RecordingEffect.h"
#include "vst2/Vst2PluginApi.h"
#include "vst2/Vst2PluginInstance.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

using namespace test_support;

namespace {

constexpr const char* oddPath = "/plug-ins/odd.so";

/// The first of its bases, so that the effect outlives the instance.
struct OwnEffect {
    RecordingEffect recording;
};

/// An instance whose category and device types, and whose end, are the test's.
class OddInstance : public OwnEffect, public Vst2PluginInstance {
public:
    OddInstance(int32_t instanceId, std::vector<std::string>& log)
        : Vst2PluginInstance(PluginHost::getCurrent(), instanceId, false, nullptr, 0), log(log) {
        recording.answerText(effGetEffectName, "Odd");
        recording.answerText(effGetVendorString, "Somebody");
        attach(&recording.effect);
    }
    ~OddInstance() override { log.push_back("destroyed"); }

    String getCategory() override { return onCategory(); }
    std::vector<int32_t> getDeviceTypes() override { return deviceTypes; }
    void terminate() override {
        log.push_back("terminated");
        Vst2PluginInstance::terminate();
        onTerminate();
    }

    std::function<String()> onCategory = [] { return "Effect"; };
    std::function<void()> onTerminate = [] {};
    std::vector<int32_t> deviceTypes{0};

private:
    std::vector<std::string>& log;
};

/// A plug-in file that is none.
class OddPlugin : public Plugin {
public:
    OddPlugin() : Plugin(oddPath) {}

    bool isValid() const override { return valid; }
    PluginInstance* createInstance(int32_t instanceId, const String& identifier, bool dpiAware) override {
        EXPECT_FALSE(dpiAware);
        log.push_back("created " + identifier.toStdString());
        instanceIds.push_back(instanceId);
        return onCreate(instanceId, identifier);
    }
    void getPluginIds(std::vector<String>& list) override {
        onList();
        list = identifiers;
    }
    PluginApi* getApi() const override { return &Vst2PluginApi::instance; }

    bool valid = true;
    std::vector<String> identifiers{"1"};
    std::vector<int32_t> instanceIds;
    std::vector<std::string> log;
    std::function<void()> onList = [] {};
    std::function<PluginInstance*(int32_t, const String&)> onCreate = [this](int32_t id, const String&) {
        return new OddInstance(id, log);
    };
};

OddPlugin* pluginOfNextHost = nullptr;

class PluginReportFailures : public testing::Test {
protected:
    PluginReportFailures() { pluginOfNextHost = plugin.get(); }
    ~PluginReportFailures() override { pluginOfNextHost = nullptr; }

    // Runs a report; its text behind the header.
    std::string report(int expectedStatus) {
        std::string text;
        const Ref<OutputStream> stream(new base::core::StdStringOutputStream(&text));
        EXPECT_EQ(static_cast<int>(printPluginMetaData(oddPath, *stream)), expectedStatus);
        EXPECT_EQ(PluginHost::getCurrent(), nullptr);
        const std::string header = "Printing plug-in meta data for /plug-ins/odd.so ...\n\n";
        EXPECT_EQ(text.substr(0, header.size()), header);
        return text.substr(header.size());
    }

    void throwAtCategoryOfFirst(const std::function<void()>& failure) {
        plugin->onCreate = [this, failure](int32_t id, const String& identifier) {
            auto* instance = new OddInstance(id, plugin->log);
            if (identifier == "1") {
                instance->onCategory = [failure]() -> String {
                    failure();
                    return {};
                };
            }
            return instance;
        };
    }

    std::string deviceTypesLine(const std::vector<int32_t>& types) {
        plugin->onCreate = [this, types](int32_t id, const String&) {
            auto* instance = new OddInstance(id, plugin->log);
            instance->deviceTypes = types;
            return instance;
        };
        const std::string text = report(0);
        const size_t start = text.find("DeviceTypes:");
        return text.substr(start, text.find('\n', start) - start);
    }

    Ref<OddPlugin> plugin{new OddPlugin};
};

constexpr const char* untilVersion = "PLUGIN:\n"
                                     "Vendor:Somebody\n"
                                     "Name:Odd\n"
                                     "API:VST 2.4\n"
                                     "Identifier:0\n"
                                     "Version:0\n";
const std::string wholeRecord = std::string(untilVersion) + "Category:Effect\n"
                                                            "Is64Bit:yes\n"
                                                            "HasAudioInput:no\n"
                                                            "HasNoteInput:no\n"
                                                            "HasAudioOutput:no\n"
                                                            "HasNoteOutput:no\n"
                                                            "AudioInBusCount:0\n"
                                                            "AudioOutBusCount:0\n"
                                                            "AudioInChannelCount:0\n"
                                                            "AudioOutChannelCount:0\n"
                                                            "DeviceTypes:audio_to_audio\n"
                                                            "\n";

using Log = std::vector<std::string>;

} // namespace

// Stands for `PluginHost::getPlugin` where reports call it.
Ref<Plugin> realGetPlugin(PluginHost* host,
                          const String& wanted) asm("__real__ZN10PluginHost9getPluginERKN4base4core6StringE");
Ref<Plugin>
bringPluginAndGet(PluginHost* host,
                  const String& wanted) asm("__wrap__ZN10PluginHost9getPluginERKN4base4core6StringE");

Ref<Plugin> bringPluginAndGet(PluginHost* host, const String& wanted) {
    if (pluginOfNextHost != nullptr && host->plugins.empty())
        host->plugins.emplace_back(pluginOfNextHost);
    return realGetPlugin(host, wanted);
}

TEST_F(PluginReportFailures, AFileThatNamesNoPluginIsTheHeaderAlone) {
    plugin->identifiers.clear();
    EXPECT_EQ(report(0), "");
}

TEST_F(PluginReportFailures, EachInstanceEndsBeforeTheNextIsMade) {
    plugin->identifiers = {"1", "2"};
    EXPECT_EQ(report(0), wholeRecord + wholeRecord);
    EXPECT_EQ(plugin->log,
              (Log{"created 1", "terminated", "destroyed", "created 2", "terminated", "destroyed"}));
}

TEST_F(PluginReportFailures, TheInstancesOfAReportShareAnIdAndTheNextReportTakesTheNext) {
    plugin->identifiers = {"1", "2"};
    report(0);
    report(0);
    const std::vector<int32_t>& ids = plugin->instanceIds;
    ASSERT_EQ(ids.size(), 4u);
    EXPECT_EQ(ids[1], ids[0]);
    EXPECT_EQ(ids[2], ids[0] + 1);
    EXPECT_EQ(ids[3], ids[2]);
}

TEST_F(PluginReportFailures, AFailureAtTheCategoryStopsTheRecordAfterTheVersionAndTheNextIsTried) {
    plugin->identifiers = {"1", "2"};
    throwAtCategoryOfFirst([] { throw PluginException("no category today"); });
    EXPECT_EQ(report(1), untilVersion + std::string("Exception Thrown:no category today\n\n") + wholeRecord);
    EXPECT_EQ(plugin->log,
              (Log{"created 1", "terminated", "destroyed", "created 2", "terminated", "destroyed"}));
}

TEST_F(PluginReportFailures, AStandardExceptionInAGetterIsNotPutIntoWords) {
    plugin->identifiers = {"1", "2"};
    throwAtCategoryOfFirst([] { throw std::runtime_error("no category today"); });
    EXPECT_EQ(report(1), untilVersion + std::string("\n") + wholeRecord);
}

TEST_F(PluginReportFailures, SomethingElseInAGetterIsNotPutIntoWords) {
    plugin->identifiers = {"1", "2"};
    throwAtCategoryOfFirst([] { throw 42; });
    EXPECT_EQ(report(1), untilVersion + std::string("\n") + wholeRecord);
}

TEST_F(PluginReportFailures, APluginThatIsNotLoadedEndsTheReport) {
    plugin->valid = false;
    EXPECT_EQ(report(-1), "Exception Thrown:Couldn't load VST plug-in: /plug-ins/odd.so\n");
}

TEST_F(PluginReportFailures, APluginThatGivesNoInstanceEndsTheReport) {
    plugin->identifiers = {"1", "2", "3"};
    plugin->onCreate = [this](int32_t id, const String& identifier) -> PluginInstance* {
        return identifier == "2" ? nullptr : new OddInstance(id, plugin->log);
    };
    EXPECT_EQ(report(-1),
              wholeRecord + "Exception Thrown:Couldn't instantiate VST plug-in: /plug-ins/odd.so\n");
    EXPECT_EQ(plugin->log, (Log{"created 1", "terminated", "destroyed", "created 2"}));
}

TEST_F(PluginReportFailures, AFailedListEndsTheReport) {
    plugin->onList = [] { throw PluginException("no list today"); };
    EXPECT_EQ(report(-1), "Exception Thrown:no list today\n");
}

TEST_F(PluginReportFailures, AStandardExceptionEndsTheReportInWordsOfItsOwn) {
    plugin->onList = [] { throw std::runtime_error("no list today"); };
    EXPECT_EQ(report(-3), "Exception thrown: no list today\n");
}

TEST_F(PluginReportFailures, SomethingElseEndsTheReport) {
    plugin->onList = [] { throw 42; };
    EXPECT_EQ(report(-2), "Unknown exception thrown.\n");
}

TEST_F(PluginReportFailures, AFailureAtTheEndOfAnInstanceEndsTheReportBehindItsRecord) {
    plugin->identifiers = {"1", "2"};
    plugin->onCreate = [this](int32_t id, const String&) {
        auto* instance = new OddInstance(id, plugin->log);
        instance->onTerminate = [] { throw PluginException("no end today"); };
        return instance;
    };
    EXPECT_EQ(report(-1), wholeRecord + "Exception Thrown:no end today\n");
    EXPECT_EQ(plugin->log, (Log{"created 1", "terminated", "destroyed"}));
}

TEST_F(PluginReportFailures, AnEmptyListOfDeviceTypesIsAPlainEffect) {
    EXPECT_EQ(deviceTypesLine({}), "DeviceTypes:audio_to_audio");
}

TEST_F(PluginReportFailures, DeviceTypesWithoutATextLeaveNoComma) {
    EXPECT_EQ(deviceTypesLine({7, 1, 9, 3}), "DeviceTypes:note_to_audio,audio_to_note");
}

TEST_F(PluginReportFailures, DeviceTypesWithoutATextAloneLeaveNothing) {
    EXPECT_EQ(deviceTypesLine({7, -1, 4}), "DeviceTypes:");
}

TEST_F(PluginReportFailures, DeviceTypesKeepTheirOrder) {
    EXPECT_EQ(deviceTypesLine({3, 2, 1, 0, 0}),
              "DeviceTypes:audio_to_note,note_to_note,note_to_audio,audio_to_audio,audio_to_audio");
}
