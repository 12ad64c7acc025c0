#include "rigs/ProcessRig.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>

namespace {

/// An audio block in this process's own memory.
class LocalAudioContext : public PluginAudioContext {
public:
    explicit LocalAudioContext(PluginInstance& instance)
        : PluginAudioContext(ProcessRig::frames, instance.getInputChannelCount(),
                             instance.getOutputChannelCount(), instance.getParameterCount()),
          instance(&instance) {}
    ~LocalAudioContext() override { std::free(block); }

    void* allocate(int32_t size) override {
        block = std::calloc(static_cast<size_t>(size), 1);
        if (block == nullptr)
            throw std::bad_alloc();
        return block;
    }
    void startProcessing() override { instance->startProcessing(); }
    int32_t process(int32_t count, bool keepActive, bool realtime) override {
        return instance->process(count, keepActive, realtime);
    }
    void stopProcessing() override { instance->stopProcessing(); }

private:
    PluginInstance* instance;
    void* block = nullptr;
};

} // namespace

ProcessRig::ProcessRig() : host(new PluginHost(sampleRate, frames)) {}

ProcessRig::~ProcessRig() {
    instance->terminate();
}

void ProcessRig::setUp(const Ref<PluginInstance>& newInstance) {
    instance = newInstance;
    instance->initialize();
    context = new LocalAudioContext(*instance);
    context->layOut();
    instance->setAudioContext(context);
    instance->startProcessing();
    for (int32_t i = 0; i < context->getRegions().inputEventCapacity; ++i) {
        EventRecord& record = context->getRegions().inputEvents[i];
        record.kind = EventKind::midi;
        record.sampleOffset = static_cast<uint16_t>(i);
        record.midi[0] = 0x90;
    }
    const int32_t parameters = instance->getParameterCount();
    for (int32_t i = 0; i < changes; ++i)
        context->getRegions().parameterChanges[i] = {0.5F, static_cast<uint16_t>(i % parameters), 0};
}

void ProcessRig::renderByInstance(const Work& work) {
    *context->getRegions().inputEventCount = work.events;
    *context->getRegions().parameterChangeCount = work.changes;
    benchmark::DoNotOptimize(instance->process(frames, true, true));
}

void ProcessRig::expectWork(const Work& work, int64_t blocks) {
    const int64_t changeCount = blocks * work.changes;
    const WorkDone expected{blocks, blocks * work.events, changeCount, changeCount * getQuestionsPerChange()};
    const WorkDone done = getDone();
    getDone() = {};
    if (done != expected)
        throw std::runtime_error(std::string("Work got lost on its way to the plug-in: ") + work.name);
}
