#include "client/PluginReport.h"

#include "core/ReadableText.h"
#include "plugin/CoreNames.h"
#include "plugin/PluginInstance.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <system_error>

namespace {

constexpr std::string_view headerStart = "Printing plug-in meta data for ";
constexpr std::string_view unknownFailure = "Unknown exception thrown.";

struct TextField {
    std::string_view label;
    std::string PluginDescription::*value;
};

struct FlagField {
    std::string_view label;
    bool PluginDescription::*value;
};

struct NumberField {
    std::string_view label;
    int32_t PluginDescription::*value;
};

constexpr TextField textFields[] = {
    {"Vendor:", &PluginDescription::vendor},   {"Name:", &PluginDescription::name},
    {"API:", &PluginDescription::api},         {"Identifier:", &PluginDescription::identifier},
    {"Version:", &PluginDescription::version}, {"Category:", &PluginDescription::category},
};

constexpr FlagField flagFields[] = {
    {"HasAudioInput:", &PluginDescription::hasAudioInput},
    {"HasNoteInput:", &PluginDescription::hasNoteInput},
    {"HasAudioOutput:", &PluginDescription::hasAudioOutput},
    {"HasNoteOutput:", &PluginDescription::hasNoteOutput},
};

constexpr NumberField numberFields[] = {
    {"AudioInBusCount:", &PluginDescription::audioInBusCount},
    {"AudioOutBusCount:", &PluginDescription::audioOutBusCount},
    {"AudioInChannelCount:", &PluginDescription::audioInChannelCount},
    {"AudioOutChannelCount:", &PluginDescription::audioOutChannelCount},
};

struct DeviceTypeName {
    std::string_view name;
    DeviceType type;
};

constexpr DeviceTypeName deviceTypeNames[] = {
    {"audio_to_audio", audioToAudioDevice},
    {"note_to_audio", noteToAudioDevice},
    {"note_to_note", noteToNoteDevice},
    {"audio_to_note", audioToNoteDevice},
};

/// The text up to the first `separator`, which is removed from `rest` with it.
std::string_view takePart(std::string_view& rest, char separator) {
    const size_t end = std::min(rest.find(separator), rest.size());
    const std::string_view part = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return part;
}

/// Removes `label` from the start of `line`; false if it isn't there.
bool takeLabel(std::string_view& line, std::string_view label) {
    if (!line.starts_with(label))
        return false;
    line.remove_prefix(label.size());
    return true;
}

int32_t parseCount(std::string_view text) {
    int32_t value = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (failure == std::errc::result_out_of_range)
        value = text.starts_with('-') ? 0 : std::numeric_limits<int32_t>::max();
    return std::max(value, 0);
}

std::vector<int32_t> parseDeviceTypes(std::string_view text) {
    std::vector<int32_t> types;
    while (!text.empty()) {
        const std::string_view name = takePart(text, ',');
        for (const DeviceTypeName& known : deviceTypeNames) {
            // A type counts once, so a long line makes no long list.
            if (known.name == name && std::ranges::find(types, known.type) == types.end())
                types.push_back(known.type);
        }
    }
    return types;
}

/// False if the line is no field.
bool readField(std::string_view line, PluginDescription& plugin) {
    for (const TextField& field : textFields) {
        if (takeLabel(line, field.label)) {
            plugin.*field.value = readableLine(line);
            return true;
        }
    }
    for (const FlagField& field : flagFields) {
        if (takeLabel(line, field.label)) {
            plugin.*field.value = line == "yes";
            return true;
        }
    }
    for (const NumberField& field : numberFields) {
        if (takeLabel(line, field.label)) {
            plugin.*field.value = parseCount(line);
            return true;
        }
    }
    if (!takeLabel(line, "DeviceTypes:"))
        return false;
    plugin.deviceTypes = parseDeviceTypes(line);
    // The last line of a record.
    plugin.isComplete = true;
    return true;
}

/// Reads a report line by line.
class ReportReader {
public:
    explicit ReportReader(PluginReport& report) : report(report) {}

    void read(std::string_view line) {
        if (line.empty())
            inRecord = false;
        else if (line == "PLUGIN:")
            beginRecord();
        else if (takeLabel(line, "Exception Thrown:"))
            fail(line);
        // In another wording than the one above, since these end the report.
        else if (takeLabel(line, "Exception thrown: ") || line == unknownFailure)
            endReport(line);
        else if (inRecord)
            readField(line, report.plugins.back());
    }

private:
    void beginRecord() {
        inRecord = report.plugins.size() < PluginReport::mostPlugins;
        if (inRecord)
            report.plugins.emplace_back();
    }

    /// The same words cut a record and end a report.
    void fail(std::string_view words) {
        if (inRecord && !report.plugins.back().isComplete)
            report.plugins.back().failure = readableLine(words);
        else
            endReport(words);
    }

    void endReport(std::string_view words) {
        inRecord = false;
        report.failure = readableLine(words);
    }

    PluginReport& report;
    bool inRecord = false;
};

} // namespace

PluginReport parsePluginReport(std::string_view text) {
    PluginReport report;
    report.hasHeader = text.starts_with(headerStart);
    ReportReader reader(report);
    while (!text.empty())
        reader.read(takePart(text, '\n'));
    return report;
}

std::string readableLine(std::string_view bytes) {
    constexpr char noText = '\x1a';
    std::string line(bytes);
    for (char& character : line) {
        if (character == '\t')
            character = ' ';
        else if (static_cast<unsigned char>(character) < ' ' || character == '\x7f')
            character = noText;
    }
    const std::string decoded = base::core::concatReadable(line.c_str()).toStdString();
    std::string readable;
    for (const char character : decoded) {
        if (character == noText)
            readable += "\xEF\xBF\xBD";
        else
            readable += character;
    }
    return readable;
}
