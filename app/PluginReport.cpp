#include "app/PluginReport.h"

#include "app/PluginFormats.h"
#include "core/ReadableText.h"
#include "host/PluginHost.h"
#include "plugin/PluginApi.h"

#include <exception>

using base::core::concatReadable;

namespace {

constexpr int32_t reportSampleRate = 44100;
constexpr int32_t reportBlockSize = 256;

int32_t nextReportInstanceId = 0;

constexpr const char* deviceTypeNames[] = {"audio_to_audio", "note_to_audio", "note_to_note",
                                           "audio_to_note"};

void writeField(OutputStream& stream, const char* label, const String& value) {
    stream.writeText(label);
    stream.writeText(value);
    stream.writeText("\n");
}

void writeFlag(OutputStream& stream, const char* label, bool value) {
    writeField(stream, label, value ? "yes" : "no");
}

void writeNumber(OutputStream& stream, const char* label, size_t value) {
    writeField(stream, label, String::fromInteger(static_cast<int32_t>(value)));
}

void writeRecord(OutputStream& stream, PluginInstance& instance) {
    writeField(stream, "PLUGIN:", {});
    writeField(stream, "Vendor:", instance.getVendor());
    writeField(stream, "Name:", instance.getName());
    writeField(stream, "API:", instance.getApi()->getName());
    writeField(stream, "Identifier:", instance.getIdentifier());
    writeField(stream, "Version:", instance.getVersion());
    writeField(stream, "Category:", instance.getCategory());
    // Oddity report-is-64-bit: a constant, also in a 32-bit process.
    writeField(stream, "Is64Bit:", "yes");
    writeFlag(stream, "HasAudioInput:", instance.hasAudioInput());
    writeFlag(stream, "HasNoteInput:", instance.hasNoteInput());
    writeFlag(stream, "HasAudioOutput:", instance.hasAudioOutput());
    writeFlag(stream, "HasNoteOutput:", instance.hasNoteOutput());
    writeNumber(stream, "AudioInBusCount:", instance.getInputBuses().size());
    writeNumber(stream, "AudioOutBusCount:", instance.getOutputBuses().size());
    writeField(stream, "AudioInChannelCount:", String::fromInteger(instance.getInputChannelCount()));
    writeField(stream, "AudioOutChannelCount:", String::fromInteger(instance.getOutputChannelCount()));
    stream.writeText("DeviceTypes:");
    stream.writeText(deviceTypesText(instance.getDeviceTypes()));
    stream.writeText("\n");
}

/// False if an exception cut the record short.
bool writeRecordOrFailure(OutputStream& stream, PluginInstance& instance) {
    try {
        writeRecord(stream, instance);
        return true;
    } catch (const Exception& exception) {
        stream.printLine(concat("Exception Thrown:", exception.getMessage()));
    } catch (...) {
        // The report shows nothing of it but the empty line behind the record.
    }
    return false;
}

ReportStatus reportInstances(const String& path, OutputStream& stream, PluginHost& host) {
    const int32_t instanceId = nextReportInstanceId++;
    std::vector<String> identifiers;
    host.getPlugin(path)->getPluginIds(identifiers);
    bool allGood = true;
    for (const String& identifier : identifiers) {
        const Ref<PluginInstance> instance = host.createPluginInstance(instanceId, path, identifier, false);
        allGood = writeRecordOrFailure(stream, *instance) && allGood;
        stream.writeText("\n");
        stream.flush();
        instance->terminate();
        host.instances.remove(instanceId);
    }
    return allGood ? ReportStatus::complete : ReportStatus::recordCutShort;
}

} // namespace

ReportStatus printPluginMetaData(const String& path, OutputStream& stream) {
    // The text's own line feed makes an empty line.
    stream.printLine(concat("Printing plug-in meta data for ", path, " ...\n"));
    try {
        // On the stack: retained by hand, so that no release frees it.
        PluginHost host(reportSampleRate, reportBlockSize);
        retain(&host);
        addPluginFormats(host);
        return reportInstances(path, stream, host);
    } catch (const Exception& exception) {
        stream.printLine(concat("Exception Thrown:", exception.getMessage()));
        return ReportStatus::failed;
    } catch (const std::exception& exception) {
        // Oddity report-exception-wording: unlike the line above.
        stream.printLine(concatReadable("Exception thrown: ", exception.what()));
        return ReportStatus::failedStandard;
    } catch (...) {
        stream.printLine("Unknown exception thrown.");
        return ReportStatus::failedUnknown;
    }
}

String deviceTypesText(const std::vector<int32_t>& types) {
    if (types.empty())
        return deviceTypeNames[audioToAudioDevice];
    StringBuilder text;
    for (const int32_t type : types) {
        if (type < audioToAudioDevice || type > audioToNoteDevice)
            continue;
        if (text.length() > 0)
            text.append(",");
        text.append(deviceTypeNames[type]);
    }
    return text.toString();
}
