#pragma once

#include "vst3/Vst3Names.h"

#include <optional>
#include <ostream>
#include <pluginterfaces/vst/ivstaudioprocessor.h>
#include <pluginterfaces/vst/ivstevents.h>
#include <pluginterfaces/vst/ivstparameterchanges.h>
#include <pluginterfaces/vst/ivstprocesscontext.h>
#include <string>
#include <vector>

namespace test_support {

struct RecordedPoint {
    int32_t sampleOffset;
    double value;

    bool operator==(const RecordedPoint&) const = default;
};

struct RecordedQueue {
    Vst::ParamID id;
    std::vector<RecordedPoint> points;

    bool operator==(const RecordedQueue&) const = default;
};

struct RecordedBus {
    int32_t channelCount;
    uint64_t silenceFlags;
    float** channels;

    bool operator==(const RecordedBus&) const = default;
};

/// All that a plug-in is given for a block, copied.
struct RecordedBlock {
    explicit RecordedBlock(const Vst::ProcessData& data);

    int32_t processMode;
    int32_t sampleSize;
    int32_t frames;
    std::vector<RecordedBus> inputs;
    std::vector<RecordedBus> outputs;
    bool hasAlignedBuses;
    std::vector<RecordedQueue> changes;
    /// Of the list that is passed for what a plug-in changes by itself, before it does.
    std::optional<int32_t> outputChangeCount;
    /// Nothing where no list is passed.
    std::optional<std::vector<Vst::Event>> inputEvents;
    /// What the pointers of the data events among them lead to, in order.
    std::vector<std::string> systemExclusive;
    std::optional<int32_t> outputEventCount;
    Vst::ProcessContext context;
};

inline std::ostream& operator<<(std::ostream& stream, const RecordedPoint& point) {
    return stream << point.value << " at " << point.sampleOffset;
}

inline std::ostream& operator<<(std::ostream& stream, const RecordedQueue& queue) {
    stream << "parameter " << queue.id << ":";
    for (const RecordedPoint& point : queue.points)
        stream << " " << point;
    return stream;
}

inline std::ostream& operator<<(std::ostream& stream, const RecordedBus& bus) {
    return stream << bus.channelCount << " channels from " << bus.channels << ", silent " << bus.silenceFlags;
}

} // namespace test_support
