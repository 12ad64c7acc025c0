// Renders an audio file, or a signal of its own, through a plug-in that runs in a host process. With an open
// editor it plays in real time, repeatedly, until the window is closed.

#include "client/RemotePluginAudioContextProxy.h"
#include "client/RemotePluginHostProxy.h"
#include "client/ReplyWaiter.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginInstance.h"
#include "render/Measurements.h"
#include "render/OpenEditor.h"
#include "render/Recording.h"
#include "render/Source.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace {

constexpr double patience = 30;     // seconds, for a plug-in to start
constexpr int32_t longestTail = 10; // seconds
constexpr double tempo = 120;       // beats a minute
constexpr const char* usage = "Usage: render [--identifier ID] [--editor] PLUGIN [IN.wav [OUT.wav]]";

struct Arguments {
    std::string plugin;
    std::string identifier;
    std::string input;
    std::string output = "rendered.wav";
    bool editor = false;
};

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
    // The rate of a host is fixed at its start, and there is no conversion.
    constexpr int32_t playedRate = RemotePluginHostProxy::defaultSampleRate;
    if (source->getSampleRate() != playedRate)
        throw std::runtime_error(arguments.input + " has " + std::to_string(source->getSampleRate()) +
                                 " Hz and would be played at " + std::to_string(playedRate) +
                                 " Hz: convert it first");
    return source;
}

std::unique_ptr<Source> makeSource(const CreatePluginInstanceReply& plugin, int32_t sampleRate) {
    if (plugin.inputChannelCount == 0)
        return std::make_unique<PhraseSource>(sampleRate);
    return std::make_unique<PingSource>(sampleRate);
}

void setTransport(TransportBlock& transport, int32_t sampleRate, int64_t position) {
    transport.sampleRate = sampleRate;
    transport.tempo = tempo;
    transport.position = static_cast<double>(position) / sampleRate * tempo / 60;
    transport.systemTime = static_cast<double>(position) / sampleRate * 1e9;
    transport.barStart = std::floor(transport.position / 4) * 4;
    transport.samplePosition = static_cast<uint64_t>(position);
    transport.flags = transportPlaying;
    transport.timeSignatureNumerator = 4;
    transport.timeSignatureDenominator = 4;
}

/// Plays block by block, and records the output.
class Player {
public:
    Player(PluginAudioContext& context, Source& source, Recording& recording, OpenEditor& editor,
           int32_t sampleRate)
        : context(context), source(source), recording(recording), editor(editor), sampleRate(sampleRate) {}

    /// To the end of the source and of the plug-in's tail.
    void playToTheEnd() {
        ProgressBar progress(source.getLength());
        const int64_t end = source.getLength() + int64_t{longestTail} * sampleRate;
        while (position < end && (left > 0 || result != processSilent)) {
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
        context.beginBlock();
        // Result ignored: a block has room for 4096 changes.
        for (const ParameterChange& change : editor.takeChanges())
            context.addParameterChange(change.parameterIndex, change.value, change.sampleOffset);
        const bool playing = left > 0;
        left = source.fill(context);
        setTransport(context.getTransport(), sampleRate, position);
        const Clock::time_point sent = Clock::now();
        result = context.process(context.blockSize, playing, true);
        measurements.addBlock(context, context.blockSize, Clock::now() - sent);
        recording.add(context, context.blockSize);
        position += context.blockSize;
        if (!context.areGuardsIntact())
            throw std::runtime_error("The plug-in wrote outside of its buffers");
    }

    PluginAudioContext& context;
    Source& source;
    Recording& recording;
    OpenEditor& editor;
    int32_t sampleRate;
    Measurements measurements;
    int64_t position = 0; // frames
    int64_t left = source.getLength();
    int32_t result = processActive;
};

/// How the host has ended, as part of a sentence; empty if its proxy has reaped it, null if it runs.
std::optional<std::string> describeEnd(pid_t host) {
    using namespace std::chrono_literals;
    constexpr int rounds = 100;
    // A process closes its pipes before it can be waited for: retry. WNOWAIT: its proxy reaps it.
    for (int i = 0; i < rounds; ++i) {
        siginfo_t end{};
        if (waitid(P_PID, static_cast<id_t>(host), &end, WEXITED | WNOHANG | WNOWAIT) != 0)
            return ""; // reaped by its proxy
        if (end.si_pid == host)
            return end.si_code == CLD_EXITED ? ": it exited with " + std::to_string(end.si_status)
                                             : std::string(": ") + strsignal(end.si_status);
        std::this_thread::sleep_for(10ms);
    }
    return std::nullopt;
}

void play(const Arguments& arguments, const Ref<RemotePluginHostProxy>& proxy,
          std::unique_ptr<Source> source) {
    const Ref<OpenEditor> editor(new OpenEditor);
    const Ref<ReplyWaiter> created(new ReplyWaiter(*proxy));
    const int32_t instanceId = proxy->createPluginInstance(
        arguments.plugin.c_str(), {}, arguments.identifier.c_str(), false, editor, created);
    const auto plugin = created->waitFor<CreatePluginInstanceReply>(patience);
    if (plugin->outputChannelCount < 1)
        throw std::runtime_error("The plug-in has no audio outputs");
    if (arguments.editor && !plugin->hasEditor)
        throw std::runtime_error("The plug-in has no editor");
    const int32_t sampleRate = proxy->getSampleRate();
    if (source == nullptr)
        source = makeSource(*plugin, sampleRate);

    Recording recording(arguments.output, plugin->outputChannelCount, sampleRate);
    const Ref<RemotePluginAudioContextProxy> context(new RemotePluginAudioContextProxy(proxy, *plugin));
    context->startProcessing();
    Player player(*context, *source, recording, *editor, sampleRate);
    if (arguments.editor) {
        const std::string title = std::filesystem::path(arguments.plugin).stem();
        proxy->openGUI(instanceId, 0, false, title.c_str());
        player.playWhileEditorIsOpen();
    } else {
        player.playToTheEnd();
    }
    context->stopProcessing();
    context->drain();
    recording.finish();
    player.printMeasurements();
    proxy->destroyPluginInstance(instanceId);
    proxy->removePluginInstance(instanceId);
    proxy->shutdown();
    std::printf("written           %s\n", arguments.output.c_str());
    if (std::fflush(stdout) != 0)
        throw std::runtime_error("Could not write to the standard output stream");
}

void render(const Arguments& arguments, const std::string& hostProgram) {
    std::unique_ptr<Source> source = openInput(arguments);
    const Ref<RemotePluginHostProxy> proxy(new RemotePluginHostProxy(hostProgram.c_str()));
    try {
        play(arguments, proxy, std::move(source));
    } catch (const IOException&) {
        // A dead host's status says more than the failure of its pipe.
        const std::optional<std::string> end = describeEnd(proxy->getChildPid());
        if (!end)
            throw;
        throw std::runtime_error("The host of " + arguments.plugin + " died" + *end);
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
    } catch (const Exception& exception) {
        return fail(exception.getMessage().toStdString());
    } catch (const std::exception& exception) {
        return fail(exception.what());
    }
}
