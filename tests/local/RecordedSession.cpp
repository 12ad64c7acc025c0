#include "local/RecordedSession.h"

#include "plugin/PluginException.h"
#include "plugin/PluginHostNotifications.h"
#include "support/Eventually.h"
#include "support/WireBytes.h"

#include <gtest/gtest.h>

using namespace test_support;

void RecordingListener::onUpdateParameter(const UpdateParameterNotification& notification) {
    add(notification);
}

void RecordingListener::onUpdateParameterDisplay(const UpdateParameterDisplayNotification& notification) {
    add(notification);
}

void RecordingListener::onUpdateAllParameters(const UpdateAllParametersNotification& notification) {
    add(notification);
}

void RecordingListener::onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification& notification) {
    add(notification);
}

void RecordingListener::onPluginWindowMoved(const PluginWindowMovedNotification& notification) {
    add(notification);
}

void RecordingListener::onPluginWindowClosed(const PluginWindowClosedNotification& notification) {
    add(notification);
}

std::vector<std::string> RecordingListener::all() const {
    const std::lock_guard scope(mutex);
    return entries;
}

std::vector<std::string> RecordingListener::waitFor(size_t count) const {
    EXPECT_TRUE(eventually([&] { return all().size() >= count; }))
        << "fewer than " << count << " notifications have come";
    return all();
}

void RecordingListener::add(const PluginHostNotification& notification) {
    const std::lock_guard scope(mutex);
    entries.push_back(written(notification));
}

RecordedSession::RecordedSession(const Ref<PluginHostProxy>& proxy) : proxy(proxy) {}

RecordedSession::~RecordedSession() {
    try {
        letGo();
    } catch (const IOException&) {
        // The test has ended the host.
    }
}

void RecordedSession::load(const std::string& path, const char* identifier) {
    const Ref<TestReplyHandler> created(new TestReplyHandler);
    instanceId = proxy->createPluginInstance(path.c_str(), {}, identifier, false, listener, created);
    reply = static_cast<CreatePluginInstanceReply*>(answer(*created).get());
}

void RecordedSession::play() {
    context = proxy->createAudioContext(*reply);
    context->getTransport().sampleRate = 44100;
    context->getTransport().tempo = 120;
    context->startProcessing();
}

void RecordedSession::letGo() {
    if (!reply)
        return;
    const Ref<CreatePluginInstanceReply> former = reply;
    reply = nullptr;
    if (context) {
        EXPECT_TRUE(context->areGuardsIntact());
        context->stopProcessing();
        context->drain();
    }
    context = nullptr;
    proxy->destroyPluginInstance(former->instanceId);
    proxy->ping();
    proxy->removePluginInstance(former->instanceId);
}

int32_t RecordedSession::render(bool keepActive) {
    const int32_t result = context->process(context->blockSize, keepActive, false);
    const auto samples = static_cast<size_t>(context->outputChannelCount * context->paddedBlockSize);
    const auto events = static_cast<size_t>(*context->getRegions().outputEventCount);
    blocks.push_back(std::to_string(result) + ": " +
                     hexOf(context->getRegions().outputAudio, samples * sizeof(float)) + "events " +
                     hexOf(context->getRegions().outputEvents, events * sizeof(EventRecord)));
    context->beginBlock();
    return result;
}

void RecordedSession::change(uint16_t parameter, float value) {
    context->addParameterChange(parameter, value);
}

void RecordedSession::note(uint8_t status, uint8_t key, uint8_t velocity, uint16_t offset) {
    context->addMidiEvent(offset, status, key, velocity);
}

void RecordedSession::fillInputs(uint32_t block) {
    uint32_t random = block + 1;
    for (int32_t channel = 0; channel < context->inputChannelCount; ++channel) {
        for (int32_t frame = 0; frame < context->blockSize; ++frame) {
            random = random * 1664525 + 1013904223;
            context->inputChannel(channel)[frame] = static_cast<float>(random >> 8) / 16777216.0F - 0.5F;
        }
    }
}

Ref<DefineIoReply> RecordedSession::updateIo() {
    const Ref<TestReplyHandler> handler(new TestReplyHandler);
    proxy->updateIO(instanceId, handler);
    return static_cast<DefineIoReply*>(answer(*handler).get());
}

std::string RecordedSession::savePreset(const std::string& path) {
    const Ref<TestReplyHandler> handler(new TestReplyHandler);
    proxy->savePreset(instanceId, path.c_str(), handler);
    return outcome(*handler);
}

std::string RecordedSession::loadPreset(const std::string& path) {
    const Ref<TestReplyHandler> handler(new TestReplyHandler);
    proxy->loadPreset(instanceId, path.c_str(), handler);
    return outcome(*handler);
}

Ref<PluginHostReply> RecordedSession::answer(TestReplyHandler& handler) {
    Ref<PluginHostReply> answered = handler.wait();
    answers.push_back(std::to_string(answered->getType()) + ": " + written(*answered));
    return answered;
}

std::string RecordedSession::outcome(TestReplyHandler& handler) {
    try {
        answer(handler);
        return {};
    } catch (const PluginException& exception) {
        answers.push_back(exception.getMessage().toStdString());
        return answers.back();
    }
}
