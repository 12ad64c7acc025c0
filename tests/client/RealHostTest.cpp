// A client and a host at work together: the plug-ins of the tree, loaded, rendered, changed and let go. If
// these fail, the product doesn't do what it is for. A 64-bit client does all of it with the 32-bit host too.

#include "RealHost.h"

#include "client/AudioThreadProxy.h"
#include "plugin/PluginException.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

using namespace test_support;

namespace {

class RealHostTest : public RealHost, protected PlayingInstance {
protected:
    void TearDown() override {
        letGo();
        RealHost::TearDown();
    }

    void load(const std::string& name, const char* identifier = "") {
        play(proxy, createInstance(*proxy, plugin(name), identifier, listener));
    }

    float peak(int32_t from, int32_t to) const {
        float highest = 0;
        for (int32_t frame = from; frame < to; ++frame)
            highest = std::max(highest, std::abs(context->outputChannel(0)[frame]));
        return highest;
    }

    void letGo() {
        PlayingInstance::letGo(*proxy);
        EXPECT_EQ(manager->count(), 0u);
    }

    const Ref<RecordingListener> listener{new RecordingListener};
};

INSTANTIATE_TEST_SUITE_P(TheHost, RealHostTest, testing::ValuesIn(hostPrograms), hostProgramName);

TEST_P(RealHostTest, AnswersAPing) {
    proxy->ping();
    proxy->ping();
}

TEST_P(RealHostTest, TellsWhatAPluginIsWhenItIsUp) {
    load("echo");
    EXPECT_EQ(reply->instanceId, 1);
    EXPECT_EQ(reply->inputChannelCount, 2);
    EXPECT_EQ(reply->outputChannelCount, 2);
    EXPECT_EQ(reply->latency, 0);
    EXPECT_TRUE(reply->hasEditor);
    const auto& parameters = reply->state->parameters;
    ASSERT_EQ(parameters.size(), 3u);
    EXPECT_EQ(parameters[0]->name.toStdString(), "Delay");
    EXPECT_EQ(parameters[0]->label.toStdString(), "ms");
    EXPECT_EQ(parameters[0]->display.toStdString(), "250");
    EXPECT_EQ(parameters[0]->value, 0.25F);
    EXPECT_EQ(parameters[2]->name.toStdString(), "Mix");
    ASSERT_EQ(reply->state->inputBuses.size(), 1u);
    EXPECT_EQ(reply->state->inputBuses[0]->name.toStdString(), "Stereo In");
}

TEST_P(RealHostTest, SaysWhyAPluginDoesNotComeUpAndGoesOn) {
    try {
        createInstance(*proxy, "/no/such/plug-in.so");
        ADD_FAILURE() << "no failure";
    } catch (const PluginException& exception) {
        const std::string text = exception.getMessage().toStdString();
        EXPECT_EQ(text.rfind("Failed to load VST plug-in /no/such/plug-in.so: ", 0), 0u) << text;
    }
    proxy->ping();
    EXPECT_EQ(createInstance(*proxy, plugin("echo"))->instanceId, 2);
}

/// The formula of the example effect "echo".
class Echo {
public:
    float operator()(float dry) {
        const float frames = delay * 1.0F * 44100.0F;
        const auto distance = static_cast<size_t>(std::clamp(frames, 1.0F, 44100.0F));
        const float wet = line[(position + line.size() - distance) % line.size()];
        line[position] = dry + wet * feedback;
        position = (position + 1) % line.size();
        return dry * (1.0F - mix) + wet * mix;
    }

    float delay = 0.25F;
    float feedback = 0.5F;
    float mix = 0.4F;

private:
    std::vector<float> line = std::vector<float>(44101);
    size_t position = 0;
};

TEST_P(RealHostTest, RendersAnEffectBitByBit) {
    load("echo");
    Echo left;
    Echo right;
    change(0, 0.01F);
    change(1, 0.75F);
    change(2, 0.6F);
    for (Echo* echo : {&left, &right}) {
        echo->delay = 0.01F;
        echo->feedback = 0.75F;
        echo->mix = 0.6F;
    }
    uint32_t random = 1;
    for (int block = 0; block < 40; ++block) {
        if (block == 20) {
            change(0, 0.003F);
            left.delay = right.delay = 0.003F;
        }
        std::vector<float> expectedLeft;
        std::vector<float> expectedRight;
        for (int32_t frame = 0; frame < 256; ++frame) {
            random = random * 1664525 + 1013904223;
            const float sample = static_cast<float>(random >> 8) / 8388608.0F - 1.0F;
            context->inputChannel(0)[frame] = sample;
            context->inputChannel(1)[frame] = sample * 0.25F;
            expectedLeft.push_back(left(sample));
            expectedRight.push_back(right(sample * 0.25F));
        }
        ASSERT_EQ(render(), 1);
        ASSERT_TRUE(std::equal(expectedLeft.begin(), expectedLeft.end(), context->outputChannel(0))) << block;
        ASSERT_TRUE(std::equal(expectedRight.begin(), expectedRight.end(), context->outputChannel(1)))
            << block;
    }
}

TEST_P(RealHostTest, RendersABlockOfFewerFramesThanItHolds) {
    load("echo");
    change(2, 0.0F);
    context->inputChannel(0)[0] = 1.0F;
    context->inputChannel(0)[99] = 0.5F;
    context->inputChannel(0)[100] = 0.25F;
    context->outputChannel(0)[100] = 7.0F;
    EXPECT_EQ(context->process(100, true, false), 1);
    EXPECT_EQ(context->outputChannel(0)[0], 1.0F);
    EXPECT_EQ(context->outputChannel(0)[99], 0.5F);
    EXPECT_EQ(context->outputChannel(0)[100], 7.0F);
}

TEST_P(RealHostTest, SaysWhenTheTailOfAnEffectHasEnded) {
    load("echo");
    change(0, 0.01F);
    EXPECT_EQ(render(true), 1);
    EXPECT_EQ(render(false), 2);
    int blocks = 1;
    while (blocks < 100 && render(false) == 2)
        ++blocks;
    EXPECT_LT(blocks, 100) << "the tail never ends";
}

TEST_P(RealHostTest, PlaysNotesOnAnInstrumentAtTheirPlaceInTheBlock) {
    load("tone");
    EXPECT_EQ(reply->inputChannelCount, 0);
    EXPECT_EQ(reply->outputChannelCount, 2);
    change(1, 0.01F);
    EXPECT_EQ(render(), 1);
    EXPECT_EQ(peak(0, 256), 0.0F);
    midi(0x90, 69, 127, 100);
    render();
    EXPECT_EQ(peak(0, 100), 0.0F);
    EXPECT_GT(peak(100, 256), 0.1F);
    EXPECT_TRUE(
        std::equal(context->outputChannel(0), context->outputChannel(0) + 256, context->outputChannel(1)));
    render();
    EXPECT_GT(peak(0, 256), 0.2F);
    midi(0x80, 69, 0, 0);
    render();
    int blocks = 1;
    while (blocks < 100 && peak(0, 256) > 0) {
        render(false);
        ++blocks;
    }
    EXPECT_LT(blocks, 100) << "the note never ends";
}

TEST_P(RealHostTest, MakesThePluginOfAShellThatIsAskedFor) {
    char identifier[20];
    std::snprintf(identifier, sizeof identifier, "%d", 0x54725570);
    load("trio", identifier);
    for (int32_t frame = 0; frame < 256; ++frame)
        context->inputChannel(1)[frame] = static_cast<float>(frame);
    EXPECT_EQ(render(), 1);
    for (int32_t frame = 0; frame < 256; ++frame)
        ASSERT_EQ(context->outputChannel(1)[frame], -static_cast<float>(frame));
}

TEST_P(RealHostTest, TellsTheTextOfAParameterThatIsWatched) {
    load("echo");
    context->setParameterFlag(1, parameterWatched);
    change(0, 0.5F);
    change(1, 0.25F);
    render();
    // Only the watched one.
    EXPECT_EQ(listener->waitForLines(1), std::vector<std::string>{"1: display 1 Feedback 25"});
    change(1, 0.75F);
    render();
    EXPECT_EQ(listener->waitForLines(2).at(1), "1: display 1 Feedback 75");
}

TEST_P(RealHostTest, AnswersWhatAnInstanceIsNow) {
    load("echo");
    change(2, 1.0F);
    render();
    const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
    proxy->updateIO(reply->instanceId, waiter);
    const auto now = waiter->waitFor<DefineIoReply>(patience);
    EXPECT_EQ(now->instanceId, reply->instanceId);
    EXPECT_EQ(now->outputChannelCount, 2);
    ASSERT_EQ(now->state->parameters.size(), 3u);
    EXPECT_EQ(now->state->parameters[2]->value, 1.0F);
    EXPECT_EQ(now->state->parameters[2]->display.toStdString(), "100");
}

TEST_P(RealHostTest, RendersABlockEvenBeforeTheClientHasOpenedItsMemory) {
    reply = createInstance(*proxy, plugin("echo"));
    // Command 2 for instance 1: 256 frames, to be kept active, not in real time. Nothing was started, so
    // nothing is rendered, and the answer is the tail rule's.
    const AudioThreadProxy& worker = proxy->getAudioThread(0);
    const uint8_t command[] = {2, 1, 0, 0, 0, 0, 1, 0, 0, 1, 0};
    worker.getOutput()->write(command, sizeof command);
    worker.getOutput()->flush();
    EXPECT_EQ(worker.getInput()->readInt32(), 1);
    context = new RemotePluginAudioContextProxy(proxy, *reply);
}

TEST_P(RealHostTest, TakesSeveralInstancesOnOneWorker) {
    load("echo");
    const auto second = createInstance(*proxy, plugin("tone"));
    const Ref<RemotePluginAudioContextProxy> other(new RemotePluginAudioContextProxy(proxy, *second));
    other->startProcessing();
    change(2, 0.0F);
    context->inputChannel(0)[5] = 0.5F;
    EXPECT_EQ(other->process(256, true, false), 1);
    EXPECT_EQ(render(), 1);
    EXPECT_EQ(context->outputChannel(0)[5], 0.5F);
    EXPECT_EQ(other->outputChannel(0)[5], 0.0F);
    other->stopProcessing();
    other->drain();
    proxy->destroyPluginInstance(second->instanceId);
    EXPECT_EQ(render(), 1);
}

TEST_P(RealHostTest, LetsGoOfAnInstanceRightAfterItsDrain) {
    for (int i = 0; i < 20; ++i) {
        load("echo");
        render();
        letGo();
    }
}

#ifdef SMALLEST_CLIENT_EXECUTABLE

TEST_P(RealHostTest, TakesTheSmallestClient) {
    const std::string command =
        std::string(SMALLEST_CLIENT_EXECUTABLE) + " '" + GetParam().executable + "' '" + plugin("echo") + "'";
    FILE* output = popen(command.c_str(), "r");
    ASSERT_NE(output, nullptr);
    std::string text;
    for (int character = std::fgetc(output); character != EOF; character = std::fgetc(output))
        text += static_cast<char>(character);
    EXPECT_EQ(pclose(output), 0);
    // The echo comes later, so this is the dry part alone.
    EXPECT_EQ(occurrences(text, "peak 0.6\n"), 1u) << text;
}

#endif

} // namespace
