#pragma once

#include "plugin/PluginAudioContext.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace test_support {

/// An audio block in the test's own memory.
class LocalAudioContext : public PluginAudioContext {
public:
    LocalAudioContext(int32_t blockSize, int32_t inputs, int32_t outputs, int32_t parameters,
                      int32_t eventCapacity = 256)
        : PluginAudioContext(blockSize, inputs, outputs, parameters) {
        regions.inputEventCapacity = eventCapacity;
        layOut();
        fillGuards();
    }
    ~LocalAudioContext() override { std::free(regions.memory); }

    void* allocate(int32_t size) override {
        void* block = std::aligned_alloc(16, static_cast<size_t>(size));
        std::memset(block, 0, static_cast<size_t>(size));
        return block;
    }
    void startProcessing() override {}
    int32_t process(int32_t, bool, bool) override { return 0; }
    void stopProcessing() override {}

    void addParameterChange(int32_t index, float value) {
        PluginAudioContext::addParameterChange(static_cast<uint16_t>(index), value);
    }
    void addNote(int32_t sampleOffset, uint8_t status, uint8_t data1, uint8_t data2) {
        addMidiEvent(static_cast<uint16_t>(sampleOffset), status, data1, data2);
    }
    void addSystemExclusive(int32_t sampleOffset, const std::vector<uint8_t>& bytes) {
        EventRecord& record = addEvent(EventKind::systemExclusive, sampleOffset);
        std::copy(bytes.begin(), bytes.end(), record.systemExclusive);
        record.systemExclusiveSize = static_cast<uint8_t>(bytes.size());
    }
    EventRecord& addEvent(EventKind kind, int32_t sampleOffset) {
        EventRecord& record = regions.inputEvents[(*regions.inputEventCount)++];
        record = {};
        record.kind = kind;
        record.sampleOffset = static_cast<uint16_t>(sampleOffset);
        return record;
    }
};

} // namespace test_support
