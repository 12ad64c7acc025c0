// Renders an audio file, or a signal of its own, through a plug-in that runs in a host process. With an open
// editor it plays in real time, repeatedly, until the window is closed.

#include "render/Measurements.h"
#include "render/OpenEditor.h"
#include "render/Recording.h"
#include "render/Source.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <future>
#include <memory>
#include <plugin-host/client.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int32_t longestTail = 10; // seconds
constexpr double tempo = 120;       // beats a minute
constexpr const char* usage =
    "Usage: render [--identifier ID] [--editor] [--rate HZ] [--block FRAMES] PLUGIN "
    "[IN.wav [OUT.wav]]";

struct Arguments {
    std::string plugin;
    std::string identifier;
    std::string input;
    std::string output = "rendered.wav";
    bool editor = false;
    int32_t sampleRate = 0; // 0: the file's, or the default
    int32_t blockSize = 0;
};

/// A number above 0.
int32_t readNumber(const std::string& text) {
    int32_t number = 0;
    const char* end = text.data() + text.size();
    if (std::from_chars(text.data(), end, number).ptr != end || number < 1)
        throw std::runtime_error(usage);
    return number;
}

/// Without a slash at the end, which shells add to folders: the format depends on the end of the path.
std::string absolutePath(const std::string& path) {
    const std::filesystem::path whole = std::filesystem::absolute(path);
    return whole.has_filename() ? whole : whole.parent_path();
}

Arguments readArguments(int count, char** texts) {
    Arguments arguments;
    std::vector<std::string> files;
    for (int i = 1; i < count; ++i) {
        if (std::string(texts[i]) == "--identifier" && i + 1 < count)
            arguments.identifier = texts[++i];
        else if (std::string(texts[i]) == "--rate" && i + 1 < count)
            arguments.sampleRate = readNumber(texts[++i]);
        else if (std::string(texts[i]) == "--block" && i + 1 < count)
            arguments.blockSize = readNumber(texts[++i]);
        else if (std::string(texts[i]) == "--editor")
            arguments.editor = true;
        else if (std::string(texts[i]).starts_with("--"))
            throw std::runtime_error(usage);
        else
            files.emplace_back(texts[i]);
    }
    if (files.empty() || files.size() > 3)
        throw std::runtime_error(usage);
    arguments.plugin = absolutePath(files[0]);
    if (files.size() > 1)
        arguments.input = files[1];
    if (files.size() > 2)
        arguments.output = files[2];
    return arguments;
}

// Also true for another name of the same file, or a link to it.
void refuseToOverwrite(const std::string& read, const std::string& written) {
    std::error_code missing;
    if (!read.empty() && std::filesystem::equivalent(read, written, missing))
        throw std::runtime_error("The output would replace " + read + ", which is read");
}

/// The source of the arguments; null for none. Throws if it can't be played.
std::unique_ptr<FileSource> openInput(const Arguments& arguments) {
    refuseToOverwrite(arguments.plugin, arguments.output);
    refuseToOverwrite(arguments.input, arguments.output);
    if (arguments.input.empty())
        return nullptr;
    auto source = std::make_unique<FileSource>(arguments.input);
    // There is no conversion: the host has the rate of the file.
    if (arguments.sampleRate != 0 && source->getSampleRate() != arguments.sampleRate)
        throw std::runtime_error(arguments.input + " has " + std::to_string(source->getSampleRate()) +
                                 " Hz and would be played at " + std::to_string(arguments.sampleRate) +
                                 " Hz: convert it first");
    return source;
}

std::unique_ptr<Source> makeSource(const plugin_host::description& plugin, int32_t sampleRate) {
    if (plugin.input_channels == 0)
        return std::make_unique<PhraseSource>(sampleRate);
    return std::make_unique<PingSource>(sampleRate);
}

plugin_host_transport transportAt(int64_t frame, int32_t sampleRate) {
    const double seconds = static_cast<double>(frame) / sampleRate;
    plugin_host_transport transport{};
    transport.size = sizeof transport;
    transport.flags = PLUGIN_HOST_PLAYING;
    transport.tempo = tempo;
    transport.position = seconds * tempo / 60;
    transport.bar_start = std::floor(transport.position / 4) * 4;
    transport.frame = static_cast<uint64_t>(frame);
    transport.system_time = seconds * 1e9;
    transport.time_signature_numerator = 4;
    transport.time_signature_denominator = 4;
    return transport;
}

/// Plays block by block, and records the output.
class Player {
public:
    Player(plugin_host::plugin& plugin, Source& source, Recording& recording, OpenEditor& editor)
        : plugin(plugin), source(source), recording(recording), editor(editor) {}

    /// To the end of the source and of the plug-in's tail.
    void playToTheEnd() {
        ProgressBar progress(source.getLength());
        const int64_t end = source.getLength() + int64_t{longestTail} * sampleRate;
        while (position < end && (left > 0 || tail != PLUGIN_HOST_SILENT)) {
            playBlock();
            progress.show(position);
        }
    }

    /// Repeatedly, in real time.
    void playWhileEditorIsOpen() {
        const Clock::time_point start = Clock::now();
        while (editor.isOpen()) {
            if (left <= 0)
                source.rewind();
            playBlock();
            const std::chrono::duration<double> played(static_cast<double>(position) / sampleRate);
            std::this_thread::sleep_until(start + std::chrono::duration_cast<Clock::duration>(played));
        }
    }

    void printMeasurements() const { measurements.print(); }

private:
    using Clock = std::chrono::steady_clock;

    void playBlock() {
        const Block block{plugin, plugin.begin(), blockSize};
        // Result ignored: a block has room for 4096 changes.
        for (const OpenEditor::Change& change : editor.takeChanges())
            plugin.add_change(change.parameter, change.value);
        const bool playing = left > 0;
        left = source.fill(block);
        plugin.set_transport(transportAt(position, sampleRate));
        const Clock::time_point sent = Clock::now();
        const auto frames = static_cast<uint32_t>(blockSize);
        const plugin_host::output output = plugin.process(frames, playing ? PLUGIN_HOST_KEEP_ACTIVE : 0);
        measurements.addBlock(output, frames, Clock::now() - sent);
        recording.add(output, frames);
        tail = output.tail;
        position += blockSize;
    }

    plugin_host::plugin& plugin;
    Source& source;
    Recording& recording;
    OpenEditor& editor;
    int32_t sampleRate = plugin.host_info().sample_rate;
    int32_t blockSize = plugin.host_info().block_size;
    Measurements measurements;
    int64_t position = 0; // frames
    int64_t left = source.getLength();
    plugin_host_tail tail = PLUGIN_HOST_SOUNDING;
};

void play(const Arguments& arguments, plugin_host::session& session, const plugin_host::host& host,
          OpenEditor& editor, std::unique_ptr<Source> source) {
    plugin_host::plugin plugin(session, {.path = arguments.plugin,
                                         .identifier = arguments.identifier,
                                         .host = &host,
                                         .events = editor.makeEvents()});
    const plugin_host::description description = plugin.describe();
    if (description.output_channels < 1)
        throw std::runtime_error("The plug-in has no audio outputs");
    if (arguments.editor && !description.has_editor)
        throw std::runtime_error("The plug-in has no editor");
    if (source == nullptr)
        source = makeSource(description, host.info().sample_rate);

    Recording recording(arguments.output, description.output_channels, host.info().sample_rate);
    plugin.start();
    Player player(plugin, *source, recording, editor);
    if (arguments.editor) {
        plugin.open_editor(0, std::filesystem::path(arguments.plugin).stem());
        player.playWhileEditorIsOpen();
    } else {
        player.playToTheEnd();
    }
    plugin.stop();
    recording.finish();
    player.printMeasurements();
    std::printf("written           %s\n", arguments.output.c_str());
    if (std::fflush(stdout) != 0)
        throw std::runtime_error("Could not write to the standard output stream");
}

/// How a host has ended, as part of a sentence.
std::string describeEnd(const plugin_host::death& death) {
    if (death.signal != 0)
        return std::string(": ") + strsignal(death.signal);
    return ": it exited with " + std::to_string(death.exit_status);
}

void render(const Arguments& arguments, const std::string& hostProgram) {
    std::unique_ptr<Source> source = openInput(arguments);
    // These outlive the session, whose callbacks use them.
    std::promise<plugin_host::death> death;
    OpenEditor editor;
    plugin_host::session session(
        {.program_32 = hostProgram,
         .program_64 = hostProgram,
         .sample_rate = source != nullptr ? source->getSampleRate() : arguments.sampleRate,
         .block_size = arguments.blockSize,
         .host_died = [&](const plugin_host::death& end) { death.set_value(end); }});
    // A host of its own: it dies once at most.
    const plugin_host::host host(session);
    try {
        play(arguments, session, host, editor, std::move(source));
    } catch (const plugin_host::error& error) {
        std::future<plugin_host::death> end = death.get_future();
        if (error.code() != PLUGIN_HOST_DEAD ||
            end.wait_for(std::chrono::seconds(5)) != std::future_status::ready)
            throw;
        throw std::runtime_error("The host of " + arguments.plugin + " died" + describeEnd(end.get()));
    }
}

/// An exception's message, which may have several lines.
int fail(std::string words) {
    std::replace(words.begin(), words.end(), '\n', ' ');
    std::fprintf(stderr, "render: %s\n", words.c_str());
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    try {
        const Arguments arguments = readArguments(argc, argv);
        const auto directory = std::filesystem::read_symlink("/proc/self/exe").parent_path();
        render(arguments, directory / "plugin-host");
        return 0;
    } catch (const std::exception& exception) {
        return fail(exception.what());
    }
}
