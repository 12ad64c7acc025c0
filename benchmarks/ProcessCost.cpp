// What `process` of a VST 2 instance costs beyond the effect itself, in one process: each kind of block is
// rendered by the instance and by direct calls of the same effect with the same work.

#include "host/PluginHost.h"
#include "plugin/PluginAudioContext.h"
#include "plugins/Vst2Effect.h"
#include "support/BenchmarkProgram.h"
#include "vst2/Vst2PluginInstance.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int32_t sampleRate = 44100;
constexpr int32_t frames = 256;
constexpr int32_t parameters = 1024;

VstIntPtr silentHost(AEffect*, VstInt32, VstInt32, VstIntPtr, void*, float) {
    return 0;
}

/// Does nothing but count what reaches it.
class CountingEffect : public Vst2Effect {
public:
    CountingEffect()
        : Vst2Effect(silentHost, {.uniqueId = 0x436f756e, .name = "Counting", .parameters = parameters}) {}

    int64_t blocks = 0;
    int64_t events = 0;
    int64_t changes = 0;

protected:
    void processReplacing(float**, float**, int32_t) override { ++blocks; }
    void processEvents(const VstEvents& list) override { events += list.numEvents; }
    void setParameter(int32_t, float) override { ++changes; }
    bool canDo(const char* ability) override { return std::strcmp(ability, "receiveVstMidiEvent") == 0; }
};

/// An audio block in this process's own memory.
class LocalAudioContext : public PluginAudioContext {
public:
    explicit LocalAudioContext(PluginInstance& instance)
        : PluginAudioContext(frames, instance.getInputChannelCount(), instance.getOutputChannelCount(),
                             instance.getParameterCount()),
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

/// The work that comes with a block.
struct Work {
    const char* name;
    int32_t events;
    int32_t changes;
    /// Microseconds beyond the effect's own time.
    std::optional<double> goal;
};

constexpr Work works[] = {
    {"empty block", 0, 0, 0.2},
    {"256 events", 256, 0, {}},
    {"1,024 parameter changes", 0, parameters, {}},
};

/// One effect behind an instance, with the same work at hand for the instance and for direct calls.
class Rig {
public:
    Rig() : host(new PluginHost(sampleRate, frames)), effect(new CountingEffect) {
        instance = new Vst2PluginInstance(host.get(), 1, false, nullptr, 0);
        instance->attach(effect->getEffect());
        instance->initialize();
        context = new LocalAudioContext(*instance);
        context->layOut();
        instance->setAudioContext(context);
        instance->startProcessing();
        fillBlock();
        fillEventList();
    }
    ~Rig() { instance->terminate(); }

    void renderByInstance(const Work& work) {
        *context->inputEventCount = work.events;
        *context->parameterChangeCount = work.changes;
        benchmark::DoNotOptimize(instance->process(frames, true, true));
    }

    void renderDirectly(const Work& work) {
        AEffect* const target = effect->getEffect();
        for (int32_t i = 0; i < work.changes; ++i)
            target->setParameter(target, context->parameterChanges[i].parameterIndex,
                                 context->parameterChanges[i].value);
        if (work.events > 0)
            target->dispatcher(target, effProcessEvents, 0, 0, eventList, 0);
        target->processReplacing(target, instance->inputChannels, instance->outputChannels, frames);
    }

    /// Throws unless all work of `blocks` blocks has reached the effect since the last call.
    void expectWork(const Work& work, int64_t blocks) {
        const bool whole = effect->blocks == blocks && effect->events == blocks * work.events &&
                           effect->changes == blocks * work.changes;
        effect->blocks = effect->events = effect->changes = 0;
        if (!whole)
            throw std::runtime_error(std::string("Work got lost on its way to the effect: ") + work.name);
    }

private:
    void fillBlock() {
        for (int32_t i = 0; i < context->inputEventCapacity; ++i) {
            EventRecord& record = context->inputEvents[i];
            record.kind = EventKind::midi;
            record.sampleOffset = static_cast<uint16_t>(i);
            record.midi[0] = 0x90;
        }
        for (int32_t i = 0; i < parameters; ++i)
            context->parameterChanges[i] = {0.5F, static_cast<uint16_t>(i), 0};
    }

    void fillEventList() {
        const auto count = static_cast<size_t>(context->inputEventCapacity);
        events.assign(count, {});
        listMemory.assign(offsetof(VstEvents, events) + count * sizeof(VstEvent*), 0);
        eventList = reinterpret_cast<VstEvents*>(listMemory.data());
        eventList->numEvents = static_cast<VstInt32>(count);
        for (size_t i = 0; i < count; ++i)
            eventList->events[i] = reinterpret_cast<VstEvent*>(&events[i]);
    }

    Ref<PluginHost> host;
    /// Closed, and so deleted, by the instance.
    CountingEffect* effect;
    Ref<Vst2PluginInstance> instance;
    Ref<LocalAudioContext> context;
    std::vector<VstMidiEvent> events;
    std::vector<uint8_t> listMemory;
    VstEvents* eventList = nullptr;
};

/// Gathers the time of a call in microseconds, one sample for each repetition, by the benchmark's name.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration)
                samples[run.run_name.function_name].push_back(run.real_accumulated_time /
                                                              static_cast<double>(run.iterations) * 1e6);
        }
    }

    std::map<std::string, std::vector<double>> samples;
};

void registerBenchmark(Rig& rig, const Work& work, const char* way, void (Rig::*render)(const Work&)) {
    const auto body = [&rig, &work, render](benchmark::State& state) {
        rig.expectWork({}, 0);
        for (auto _ : state)
            (rig.*render)(work);
        rig.expectWork(work, static_cast<int64_t>(state.iterations()));
    };
    benchmark::RegisterBenchmark((std::string(work.name) + way).c_str(), body);
}

void measure(Report& report) {
    constexpr const char* byInstance = ", instance";
    constexpr const char* directly = ", effect";
    // In random order, so that the noise of the machine meets both ways.
    std::vector<std::string> options{"process-cost", "--benchmark_repetitions=25",
                                     "--benchmark_min_time=0.02",
                                     "--benchmark_enable_random_interleaving=true"};
    std::vector<char*> arguments;
    for (std::string& option : options)
        arguments.push_back(option.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());

    Rig rig;
    for (const Work& work : works) {
        registerBenchmark(rig, work, byInstance, &Rig::renderByInstance);
        registerBenchmark(rig, work, directly, &Rig::renderDirectly);
    }
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    for (const Work& work : works) {
        const std::string name = work.name;
        report.add({name, "us", Figures::of(collector.samples[name + byInstance]),
                    Figures::of(collector.samples[name + directly]), Judgement::difference, work.goal});
    }
}

} // namespace

int main(int argc, char** argv) {
    return runBenchmarkProgram(argc, argv, "process-cost", measure);
}
