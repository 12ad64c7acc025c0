#pragma once

#include "Chain.h"
#include "library/PluginTest.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A chain with buffers like a server's.
class ChainTest : public PluginTest {
protected:
    static constexpr uint32_t blockSize = 64;
    static constexpr int32_t sampleRate = 48000;

    /// Whether plug-ins come back. Callbacks come in `dispatch` alone then.
    explicit ChainTest(bool restores = false) {
        plugin_host::session_options chosen = options();
        chosen.separate_hosts = true;
        chosen.sample_rate = sampleRate;
        chosen.block_size = blockSize;
        chosen.restore = restores;
        chosen.dispatch = restores;
        session.emplace(std::move(chosen));
    }
    ~ChainTest() override { chain.reset(); }

    // Other processes of the machine make no block late.
    void make(const std::vector<PluginChoice>& plugins, bool pipeline = false,
              std::chrono::nanoseconds deadline = std::chrono::seconds(10)) {
        chain = std::make_unique<Chain>(*session, plugins,
                                        Chain::Settings{pipeline, deadline, sampleRate, blockSize, restored});
    }

    void makeUpsideDown(size_t count, bool pipeline) {
        make(std::vector<PluginChoice>(count, {examplePlugin("trio.so"), "54725570", ""}), pipeline);
    }

    /// Renders a period of `input` on both channels.
    void render(std::vector<float> input, const std::vector<MidiMessage>& midi = {}) {
        period.frames = static_cast<uint32_t>(input.size());
        left.assign(input.size(), 7);
        right.assign(input.size(), 7);
        const float* const inputs[] = {input.data(), input.data()};
        float* const outputs[] = {left.data(), right.data()};
        period.inputs = inputs;
        period.outputs = outputs;
        period.midi = midi;
        period.begin = ChainPlugin::Clock::now();
        chain->render(period);
    }

    /// Returns once all of its threads stand still.
    static void stop(pid_t host) {
        kill(host, SIGSTOP);
        EXPECT_TRUE(test_support::eventually([&] {
            for (const auto& thread :
                 std::filesystem::directory_iterator("/proc/" + std::to_string(host) + "/task")) {
                std::ifstream file(thread.path() / "status");
                const std::string status{std::istreambuf_iterator<char>(file), {}};
                if (status.find("State:\tT") == std::string::npos)
                    return false;
            }
            return true;
        }));
    }

    static MidiMessage note(uint32_t frame, uint8_t key = 60) { return {frame, 3, {0x90, key, 100}}; }

    ChainPlugin& plugin(size_t index) const { return *chain->getPlugins()[index]; }
    pid_t hostOf(size_t index) const { return plugin(index).getPlugin().host_info().process_id; }

    std::vector<uint32_t> sentFrames() const {
        std::vector<uint32_t> frames;
        for (const MidiMessage& message : chain->getMidiOutput())
            frames.push_back(message.frame);
        return frames;
    }

    ChainPlugin::Restored restored;
    std::optional<plugin_host::session> session;
    std::unique_ptr<Chain> chain;
    Period period;
    std::vector<float> left;
    std::vector<float> right;
};

inline std::vector<float> level(float value, size_t frames) {
    return std::vector<float>(frames, value);
}
