#include "RealHost.h"

#include <filesystem>

void PrintTo(const HostProgram& program, std::ostream* stream) {
    *stream << program.name;
}

std::string hostProgramName(const testing::TestParamInfo<HostProgram>& program) {
    return program.param.name;
}

void PlayingInstance::play(const Ref<RemotePluginHostProxy>& host,
                           const Ref<CreatePluginInstanceReply>& newReply) {
    reply = newReply;
    context = new RemotePluginAudioContextProxy(host, *reply);
    context->getTransport().sampleRate = 44100;
    context->getTransport().tempo = 120;
    context->startProcessing();
}

int32_t PlayingInstance::render(bool keepActive) {
    const int32_t result = context->process(context->blockSize, keepActive, false);
    context->beginBlock();
    return result;
}

void PlayingInstance::change(uint16_t parameter, float value) {
    context->addParameterChange(parameter, value);
}

void PlayingInstance::add(const EventRecord& event) {
    context->addEvent(event);
}

void PlayingInstance::midi(uint8_t status, uint8_t data1, uint8_t data2, uint16_t offset) {
    context->addMidiEvent(offset, status, data1, data2);
}

void PlayingInstance::letGo(RemotePluginHostProxy& host) {
    if (!context)
        return;
    EXPECT_TRUE(context->areGuardsIntact());
    context->stopProcessing();
    context->drain();
    host.destroyPluginInstance(reply->instanceId);
    host.removePluginInstance(reply->instanceId);
    host.ping();
    context = nullptr;
}

void RealHost::SetUp() {
    ClientTest::SetUp();
    for (const std::string& file : {std::string(GetParam().executable), plugin("echo"), plugin("tone")})
        ASSERT_TRUE(std::filesystem::exists(file))
            << file << " is not there: build the preset " << GetParam().name << " first";
    proxy = start(GetParam().executable);
}

void RealHost::TearDown() {
    end(proxy);
    ClientTest::TearDown();
}

std::string RealHost::plugin(const std::string& name, const std::string& suffix) {
    return std::string(GetParam().examples) + "/" + name + suffix;
}
