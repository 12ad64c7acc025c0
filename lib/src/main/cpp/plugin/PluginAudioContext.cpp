#include "plugin/PluginAudioContext.h"

#include <algorithm>
#include <limits>

namespace {

constexpr int64_t regionAlignment = 16;
/// A count has a region of its own.
constexpr int64_t countSize = sizeof(int32_t);
constexpr int64_t largestInt32 = std::numeric_limits<int32_t>::max();
/// Oddity parameter-change-room: changes have the room of event records, of which they use a part.
constexpr int64_t changeRoom = sizeof(EventRecord);

int64_t alignRegion(int64_t size) {
    return (size + regionAlignment - 1) / regionAlignment * regionAlignment;
}

int64_t padBlockSize(int64_t blockSize) {
    return blockSize % 4 == 0 ? blockSize : blockSize + 4 - blockSize % 4;
}

/// Assigns the regions of a block in order. Without a block it only adds up their sizes.
class RegionWalk {
public:
    explicit RegionWalk(void* block) : block(static_cast<uint8_t*>(block)) {}

    template <class T>
    T* take(int64_t size) {
        uint8_t* region = block != nullptr ? block + offset : nullptr;
        offset += alignRegion(size);
        return reinterpret_cast<T*>(region);
    }

    template <class T>
    T* takeList(int64_t capacity, int64_t recordSize) {
        T* list = take<T>(capacity * recordSize);
        return capacity > 0 ? list : nullptr;
    }

    int64_t size() const { return offset; }

private:
    uint8_t* block;
    int64_t offset = 0;
};

RegionWalk walkRegions(const PluginAudioContext& context, AudioBlockRegions& regions, void* block) {
    RegionWalk walk(block);
    auto* nextGuard = regions.guards;
    const auto takeGuard = [&] { *nextGuard++ = walk.take<uint8_t>(PluginAudioContext::guardSize); };
    const auto audioSize = [&](int64_t channels) {
        // Capped, so that the size in bytes doesn't overflow: a block of so many samples is refused in any
        // case.
        const int64_t samples = std::min(channels * context.paddedBlockSize, largestInt32);
        return samples * static_cast<int64_t>(sizeof(float));
    };
    takeGuard();
    regions.transport = walk.take<TransportBlock>(sizeof(TransportBlock));
    takeGuard();
    regions.inputAudio = walk.take<float>(audioSize(context.inputChannelCount));
    takeGuard();
    regions.outputAudio = walk.take<float>(audioSize(context.outputChannelCount));
    takeGuard();
    regions.inputEventCount = walk.take<int32_t>(countSize);
    regions.inputEvents = walk.takeList<EventRecord>(regions.inputEventCapacity, sizeof(EventRecord));
    takeGuard();
    regions.outputEventCount = walk.take<int32_t>(countSize);
    regions.outputEvents = walk.takeList<EventRecord>(regions.outputEventCapacity, sizeof(EventRecord));
    takeGuard();
    regions.parameterChangeCount = walk.take<int32_t>(countSize);
    regions.parameterChanges = walk.takeList<ParameterChange>(regions.parameterChangeCapacity, changeRoom);
    takeGuard();
    regions.parameterFlags = walk.take<uint8_t>(context.parameterCount);
    takeGuard();
    return walk;
}

template <class Record>
bool append(Record* records, int32_t& count, int32_t capacity, const Record& record) {
    if (count < 0 || count >= capacity)
        return false;
    records[count++] = record;
    return true;
}

} // namespace

PluginAudioContext::PluginAudioContext(int32_t blockSize, int32_t inputChannelCount,
                                       int32_t outputChannelCount, int32_t parameterCount)
    : blockSize(std::max(blockSize, 0)),
      paddedBlockSize(static_cast<int32_t>(std::min(padBlockSize(this->blockSize), largestInt32))),
      inputChannelCount(std::max(inputChannelCount, 0)), outputChannelCount(std::max(outputChannelCount, 0)),
      parameterCount(std::max(parameterCount, 0)) {}

PluginAudioContext::~PluginAudioContext() = default;

void PluginAudioContext::drain() {
    beginBlock();
    process(0, false, false);
}

void PluginAudioContext::beginBlock() {
    *regions.inputEventCount = 0;
    *regions.parameterChangeCount = 0;
}

bool PluginAudioContext::addEvent(const EventRecord& event) {
    return append(regions.inputEvents, *regions.inputEventCount, regions.inputEventCapacity, event);
}

bool PluginAudioContext::addMidiEvent(uint16_t sampleOffset, uint8_t status, uint8_t data1, uint8_t data2) {
    EventRecord event{};
    event.kind = EventKind::midi;
    event.sampleOffset = sampleOffset;
    event.midi[0] = status;
    event.midi[1] = data1;
    event.midi[2] = data2;
    return addEvent(event);
}

bool PluginAudioContext::addParameterChange(uint16_t parameterIndex, float value, uint16_t sampleOffset) {
    return append(regions.parameterChanges, *regions.parameterChangeCount, regions.parameterChangeCapacity,
                  {value, parameterIndex, sampleOffset});
}

void PluginAudioContext::layOut() {
    const int64_t size = walkRegions(*this, regions, nullptr).size();
    if (size > largestInt32 || padBlockSize(blockSize) > largestInt32)
        throw IOException(concat("Audio block is too large for ", blockSize, " frames of ", inputChannelCount,
                                 " inputs and ", outputChannelCount, " outputs, and ", parameterCount,
                                 " parameters"));
    regions.memorySize = static_cast<int32_t>(size);
    regions.memory = allocate(regions.memorySize);
    walkRegions(*this, regions, regions.memory);
}

void PluginAudioContext::fillGuards() {
    for (uint8_t* guard : regions.guards)
        std::fill_n(guard, guardSize, guardByte);
}

bool PluginAudioContext::areGuardsIntact() const {
    return std::all_of(std::begin(regions.guards), std::end(regions.guards), [](const uint8_t* guard) {
        return std::all_of(guard, guard + guardSize, [](uint8_t byte) { return byte == guardByte; });
    });
}
