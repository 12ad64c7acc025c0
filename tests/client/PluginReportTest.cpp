// If these fail, a plug-in is listed under a wrong name or with wrong channels, or a plug-in with odd texts
// ends the application that lists it.

#include "client/PluginReport.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>

namespace {

constexpr const char* header = "Printing plug-in meta data for /a/b.so ...\n\n";

constexpr const char* record = "PLUGIN:\n"
                               "Vendor:Example Works\n"
                               "Name:Echo: the second\n"
                               "API:VST 3\n"
                               "Identifier:45636830\n"
                               "Version:1.0\n"
                               "Category:Delay\n"
                               "Is64Bit:yes\n"
                               "HasAudioInput:yes\n"
                               "HasNoteInput:no\n"
                               "HasAudioOutput:yes\n"
                               "HasNoteOutput:yes\n"
                               "AudioInBusCount:1\n"
                               "AudioOutBusCount:2\n"
                               "AudioInChannelCount:3\n"
                               "AudioOutChannelCount:4\n"
                               "DeviceTypes:note_to_audio,audio_to_note\n"
                               "\n";

PluginReport parse(const std::string& text) {
    return parsePluginReport(header + text);
}

/// The only record of a text.
PluginDescription onlyPlugin(const std::string& text) {
    const PluginReport report = parse(text);
    EXPECT_EQ(report.plugins.size(), 1u);
    return report.plugins.empty() ? PluginDescription() : report.plugins[0];
}

} // namespace

TEST(ParsedReport, ARecordIsReadInFull) {
    const PluginReport report = parse(record);
    EXPECT_TRUE(report.hasHeader);
    EXPECT_EQ(report.failure, "");
    ASSERT_EQ(report.plugins.size(), 1u);
    const PluginDescription& plugin = report.plugins[0];
    EXPECT_EQ(plugin.vendor, "Example Works");
    EXPECT_EQ(plugin.name, "Echo: the second");
    EXPECT_EQ(plugin.api, "VST 3");
    EXPECT_EQ(plugin.identifier, "45636830");
    EXPECT_EQ(plugin.version, "1.0");
    EXPECT_EQ(plugin.category, "Delay");
    EXPECT_TRUE(plugin.hasAudioInput);
    EXPECT_FALSE(plugin.hasNoteInput);
    EXPECT_TRUE(plugin.hasAudioOutput);
    EXPECT_TRUE(plugin.hasNoteOutput);
    EXPECT_EQ(plugin.audioInBusCount, 1);
    EXPECT_EQ(plugin.audioOutBusCount, 2);
    EXPECT_EQ(plugin.audioInChannelCount, 3);
    EXPECT_EQ(plugin.audioOutChannelCount, 4);
    EXPECT_EQ(plugin.deviceTypes, (std::vector<int32_t>{1, 3}));
    EXPECT_TRUE(plugin.isComplete);
    EXPECT_EQ(plugin.failure, "");
}

TEST(ParsedReport, AFileMayHoldNoPluginAndMany) {
    EXPECT_TRUE(parse("").hasHeader);
    EXPECT_TRUE(parse("").plugins.empty());
    EXPECT_EQ(parse(std::string(record) + record + record).plugins.size(), 3u);
}

TEST(ParsedReport, WhatIsNoReportHasNoHeader) {
    EXPECT_FALSE(parsePluginReport("").hasHeader);
    EXPECT_FALSE(parsePluginReport("Usage:\n").hasHeader);
    EXPECT_FALSE(parsePluginReport(record).hasHeader);
}

TEST(ParsedReport, UnknownLinesAreSkipped) {
    std::string text = record;
    text.insert(text.find("Name:"), "Colour:blue\nno label at all\n");
    EXPECT_EQ(onlyPlugin(text), onlyPlugin(record));
    EXPECT_EQ(onlyPlugin("Vendor:before any record\n" + std::string(record)), onlyPlugin(record));
    EXPECT_EQ(onlyPlugin(std::string(record) + "Vendor:behind the record\n"), onlyPlugin(record));
}

TEST(ParsedReport, AnExceptionCutsARecordAndTheLaterOnesFollow) {
    const PluginReport report =
        parse("PLUGIN:\nVendor:V\nName:First\nException Thrown:no category\n\n" + std::string(record));
    ASSERT_EQ(report.plugins.size(), 2u);
    EXPECT_EQ(report.plugins[0].name, "First");
    EXPECT_FALSE(report.plugins[0].isComplete);
    EXPECT_EQ(report.plugins[0].failure, "no category");
    EXPECT_TRUE(report.plugins[1].isComplete);
    EXPECT_EQ(report.failure, "");
}

TEST(ParsedReport, ARecordWithoutItsEndIsCutWithoutWords) {
    const PluginDescription plugin = onlyPlugin("PLUGIN:\nVendor:V\n\n");
    EXPECT_FALSE(plugin.isComplete);
    EXPECT_EQ(plugin.failure, "");
    EXPECT_FALSE(onlyPlugin("PLUGIN:").isComplete);
}

TEST(ParsedReport, ARecordThatIsNotClosedEndsAtTheNext) {
    const PluginReport report = parse("PLUGIN:\nVendor:V\nName:First\n" + std::string(record));
    ASSERT_EQ(report.plugins.size(), 2u);
    EXPECT_EQ(report.plugins[0].vendor, "V");
    EXPECT_FALSE(report.plugins[0].isComplete);
    EXPECT_EQ(report.plugins[1], onlyPlugin(record));
}

TEST(ParsedReport, EachWordingOfAnEarlyEndIsRecognised) {
    EXPECT_EQ(parse("Exception Thrown:Couldn't load\n").failure, "Couldn't load");
    EXPECT_EQ(parse("Exception thrown: bad_alloc\n").failure, "bad_alloc");
    EXPECT_EQ(parse("Unknown exception thrown.\n").failure, "Unknown exception thrown.");
    const PluginReport report = parse(std::string(record) + "Exception Thrown:Couldn't instantiate\n");
    EXPECT_EQ(report.failure, "Couldn't instantiate");
    EXPECT_EQ(report.plugins.at(0), onlyPlugin(record));
}

TEST(ParsedReport, AnExceptionOfTheStandardLibraryEndsTheReportWithinARecordToo) {
    const PluginReport report = parse("PLUGIN:\nVendor:V\nException thrown: disk\nName:N\n");
    EXPECT_EQ(report.failure, "disk");
    EXPECT_EQ(report.plugins.at(0).vendor, "V");
    EXPECT_EQ(report.plugins.at(0).name, "");
}

TEST(ParsedReport, NumbersSaturate) {
    const PluginDescription plugin = onlyPlugin("PLUGIN:\nAudioInBusCount:99999999999999999999\n"
                                                "AudioOutBusCount:-7\nAudioInChannelCount:none\n"
                                                "AudioOutChannelCount:-99999999999999999999\n");
    EXPECT_EQ(plugin.audioInBusCount, std::numeric_limits<int32_t>::max());
    EXPECT_EQ(plugin.audioOutBusCount, 0);
    EXPECT_EQ(plugin.audioInChannelCount, 0);
    EXPECT_EQ(plugin.audioOutChannelCount, 0);
}

TEST(ParsedReport, DeviceTypesMayBeNoneUnknownAndRepeated) {
    EXPECT_TRUE(onlyPlugin("PLUGIN:\nDeviceTypes:\n").deviceTypes.empty());
    EXPECT_TRUE(onlyPlugin("PLUGIN:\nDeviceTypes:\n").isComplete);
    EXPECT_EQ(onlyPlugin("PLUGIN:\nDeviceTypes:,x,note_to_note,audio_to_audio,note_to_note,").deviceTypes,
              (std::vector<int32_t>{2, 0}));
}

TEST(ParsedReport, BytesThatAreNoTextAreReplaced) {
    const PluginDescription plugin =
        onlyPlugin("PLUGIN:\nVendor:\xff\xc3\xa9\x01\tx\nName:a" + std::string(1, '\0') + "b\r\n");
    EXPECT_EQ(plugin.vendor, "\xEF\xBF\xBD\xc3\xa9\xEF\xBF\xBD x");
    EXPECT_EQ(plugin.name, "a\xEF\xBF\xBD"
                           "b\xEF\xBF\xBD");
}

TEST(ParsedReport, ManyRecordsAreBounded) {
    std::string text = header;
    for (size_t plugin = 0; plugin < PluginReport::mostPlugins + 10; ++plugin)
        text += "PLUGIN:\n";
    const PluginReport report = parsePluginReport(text + "Name:of none\n");
    EXPECT_EQ(report.plugins.size(), PluginReport::mostPlugins);
    EXPECT_EQ(report.plugins.back().name, "");
}

TEST(ParsedReport, AnyBytesAreTaken) {
    std::mt19937 random(1);
    const std::string whole = header + std::string(record) + record + "Exception Thrown:at last\n";
    size_t plugins = 0;
    for (int round = 0; round < 5000; ++round) {
        std::string text = whole;
        for (auto mutations = random() % 20; mutations > 0 && !text.empty(); --mutations) {
            const size_t place = random() % text.size();
            switch (random() % 4) {
            case 0:
                text[place] = static_cast<char>(random());
                break;
            case 1:
                text.erase(place, random() % 40);
                break;
            case 2:
                text.insert(place, whole, random() % whole.size(), random() % 60);
                break;
            default:
                text.insert(place, random() % 300, static_cast<char>(random()));
                break;
            }
        }
        plugins += parsePluginReport(text).plugins.size();
    }
    EXPECT_GT(plugins, 0u);
}
