// Renders an audio file, or a signal of its own, through a plug-in that runs in a host process. With its
// editor open it plays on at the speed of music until the window is closed.

#include "client/RemotePluginAudioContextProxy.h"
#include "client/RemotePluginHostProxy.h"
#include "client/ReplyWaiter.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginInstance.h"
#include "render/Measurements.h"
#include "render/OpenEditor.h"
#include "render/Source.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr double patience = 30;     // seconds, for a plug-in to come up
constexpr int32_t longestTail = 10; // seconds
constexpr double tempo = 120;       // beats a minute

struct Arguments {
    std::string plugin;
    std::string identifier;
    std::string input;
    std::string output = "rendered.wav";
    bool editor = false;
};

/// The output file, in the plug-in's channels.
class Recording {
public:
    Recording(const std::string& path, int32_t channels, int32_t sampleRate) : channels(channels) {
        SF_INFO info{};
        info.channels = channels;
        info.samplerate = sampleRate;
        info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
        file.reset(sf_open(path.c_str(), SFM_WRITE, &info));
        if (file == nullptr)
            throw std::runtime_error("Could not write " + path + ": " + sf_strerror(nullptr));
        sf_command(file.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
    }

    void add(const PluginAudioContext& context, int32_t frames) {
        interleaved.clear();
        for (int32_t frame = 0; frame < frames; ++frame) {
            for (int32_t channel = 0; channel < channels; ++channel)
                interleaved.push_back(context.outputChannel(channel)[frame]);
        }
        sf_writef_float(file.get(), interleaved.data(), frames);
    }

private:
    int32_t channels;
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file{nullptr, sf_close};
    std::vector<float> interleaved;
};

/// Without a slash at its end, as shells leave it behind a folder: the last letters of a path tell the
/// format.
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
        else
            files.emplace_back(texts[i]);
    }
    if (files.empty() || files.size() > 3)
        throw std::runtime_error("Usage: render [--identifier ID] [--editor] PLUGIN [IN.wav [OUT.wav]]");
    arguments.plugin = absolutePath(files[0]);
    if (files.size() > 1)
        arguments.input = files[1];
    if (files.size() > 2)
        arguments.output = files[2];
    return arguments;
}

std::unique_ptr<Source> makeSource(const Arguments& arguments, const CreatePluginInstanceReply& plugin,
                                   int32_t sampleRate) {
    if (!arguments.input.empty())
        return std::make_unique<FileSource>(arguments.input);
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

/// Plays one block after the other, and keeps what comes out.
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

    /// Over and over, as fast as music goes.
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
        *context.inputEventCount = 0;
        const std::vector<ParameterChange> changes = editor.takeChanges();
        *context.parameterChangeCount =
            std::min(static_cast<int32_t>(changes.size()), context.parameterChangeCapacity);
        std::copy_n(changes.begin(), *context.parameterChangeCount, context.parameterChanges);
        const bool playing = left > 0;
        left = source.fill(context);
        setTransport(*context.transport, sampleRate, position);
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

void render(const Arguments& arguments, const std::string& hostProgram) {
    RemotePluginHostProxy::setManager(new WaitingProxyManager);
    const Ref<RemotePluginHostProxy> proxy(new RemotePluginHostProxy(hostProgram.c_str()));

    const Ref<OpenEditor> editor(new OpenEditor);
    const Ref<ReplyWaiter> created(new ReplyWaiter(*proxy));
    const int32_t instanceId = proxy->createPluginInstance(
        arguments.plugin.c_str(), {}, arguments.identifier.c_str(), false, editor, created);
    const auto plugin = created->waitFor<CreatePluginInstanceReply>(patience);
    const int32_t sampleRate = proxy->getSampleRate();
    const std::unique_ptr<Source> source = makeSource(arguments, *plugin, sampleRate);
    if (source->getSampleRate() != sampleRate)
        std::printf("The input has %d Hz and is rendered as if it had %d Hz.\n", source->getSampleRate(),
                    sampleRate);

    Recording recording(arguments.output, std::max(plugin->outputChannelCount, 1), source->getSampleRate());
    if (plugin->outputChannelCount < 1)
        throw std::runtime_error("The plug-in has no audio outputs");
    const Ref<RemotePluginAudioContextProxy> context(new RemotePluginAudioContextProxy(proxy, *plugin));
    context->startProcessing();
    Player player(*context, *source, recording, *editor, sampleRate);
    if (arguments.editor) {
        if (!plugin->hasEditor)
            throw std::runtime_error("The plug-in has no editor");
        const std::string title = std::filesystem::path(arguments.plugin).stem();
        proxy->openGUI(instanceId, 0, false, title.c_str());
        player.playWhileEditorIsOpen();
    } else {
        player.playToTheEnd();
    }
    player.printMeasurements();
    context->stopProcessing();
    context->drain();
    proxy->destroyPluginInstance(instanceId);
    proxy->removePluginInstance(instanceId);
    proxy->shutdown();
    std::printf("written           %s\n", arguments.output.c_str());
}

} // namespace

int main(int argc, char** argv) {
    try {
        const Arguments arguments = readArguments(argc, argv);
        const auto directory = std::filesystem::read_symlink("/proc/self/exe").parent_path();
        render(arguments, directory / "plugin-host");
        return 0;
    } catch (const Exception& exception) {
        std::fprintf(stderr, "render: %s\n", exception.getMessage().toStdString().c_str());
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "render: %s\n", exception.what());
    }
    return 1;
}
