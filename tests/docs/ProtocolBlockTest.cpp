// The names and the audio block of docs/protocol.md: if these fail, a client that was written after the
// document waits at a FIFO that nobody opens, or reads and writes its audio in the wrong place.

#include "MarkdownDocument.h"
#include "WireFields.h"

#include "core/NamedPipe.h"
#include "core/SharedMemory.h"
#include "plugin/AudioBlock.h"
#include "plugin/Channels.h"
#include "plugin/PluginAudioContext.h"
#include "plugin/PluginInstance.h"
#include "support/ScopedEnvironment.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>

using namespace test_support;
using Row = DocumentTable::Row;
using base::core::namedPipePath;

namespace {

const MarkdownDocument& protocol() {
    static const MarkdownDocument document("docs/protocol.md");
    return document;
}

/// The layout alone, in memory of its own.
class BlockInMemory : public PluginAudioContext {
public:
    using PluginAudioContext::PluginAudioContext;

    void* allocate(int32_t size) override {
        block.reset(std::aligned_alloc(16, static_cast<size_t>(size)));
        return block.get();
    }
    void startProcessing() override {}
    int32_t process(int32_t, bool, bool) override { return 0; }
    void stopProcessing() override {}

    int32_t offsetOf(const void* region) const {
        return static_cast<int32_t>(static_cast<const uint8_t*>(region) -
                                    static_cast<const uint8_t*>(regions.memory));
    }

private:
    std::unique_ptr<void, void (*)(void*)> block{nullptr, std::free};
};

Ref<BlockInMemory> exampleBlock() {
    Ref<BlockInMemory> block(new BlockInMemory(256, 2, 2, 10));
    block->layOut();
    return block;
}

std::string mask(uint32_t bits) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%02X", bits);
    return text;
}

std::string offset(size_t value) {
    return std::to_string(value);
}

template <class Record>
std::string recordBytes(const Record& record) {
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

} // namespace

TEST(ProtocolDocument, NamesTheFifosThatBothSidesOpen) {
    const ScopedEnvironment user("USER", "alice");
    const auto path = [](const String& name, bool toClient) {
        return namedPipePath(name, toClient).toStdString();
    };
    const auto name = [](const String& text) { return text.toStdString(); };
    expectRows(
        protocol().table("Channels", "Channel"),
        {"Channel", "Logical name", "Written by the client", "Read by the client"},
        {{"main", name(mainChannelName(7)), path(mainChannelName(7), true), path(mainChannelName(7), false)},
         {"asynchronous", name(asyncChannelName(7)), "none", path(asyncChannelName(7), false)},
         {"worker 0", name(workerChannelName(7, 0)), path(workerChannelName(7, 0), true),
          path(workerChannelName(7, 0), false)}});
}

TEST(ProtocolDocument, NamesTheSharedMemoryThatBothSidesMap) {
    const ScopedEnvironment user("USER", "alice");
    std::vector<Row> rows;
    for (const int32_t instanceId : {1, 3}) {
        const String name = audioBlockName(7, instanceId);
        rows.push_back({"alice", name.toStdString(), base::core::sharedMemoryName(name)});
    }
    expectRows(protocol().table("Shared memory name", "USER"), {"USER", "Logical name", "POSIX name"}, rows);
}

TEST(ProtocolDocument, GivesTheRegionsOfTheBlockInTheirOrder) {
    const Ref<BlockInMemory> block = exampleBlock();
    const std::string guardBytes = std::to_string(PluginAudioContext::guardSize);
    const std::string count = std::to_string(sizeof(int32_t));
    const auto records = [](int32_t capacity) {
        return std::to_string(capacity) + " * " + std::to_string(sizeof(EventRecord));
    };
    const struct {
        std::string name;
        std::string bytes;
        const void* start;
    } regions[] = {
        {"guard 0", guardBytes, block->getRegions().guards[0]},
        {"transport", std::to_string(sizeof(TransportBlock)), block->getRegions().transport},
        {"guard 1", guardBytes, block->getRegions().guards[1]},
        {"input audio", "inputs * paddedBlockSize * 4", block->getRegions().inputAudio},
        {"guard 2", guardBytes, block->getRegions().guards[2]},
        {"output audio", "outputs * paddedBlockSize * 4", block->getRegions().outputAudio},
        {"guard 3", guardBytes, block->getRegions().guards[3]},
        {"input event count", count, block->getRegions().inputEventCount},
        {"input events", records(block->getRegions().inputEventCapacity), block->getRegions().inputEvents},
        {"guard 4", guardBytes, block->getRegions().guards[4]},
        {"output event count", count, block->getRegions().outputEventCount},
        {"output events", records(block->getRegions().outputEventCapacity), block->getRegions().outputEvents},
        {"guard 5", guardBytes, block->getRegions().guards[5]},
        {"parameter change count", count, block->getRegions().parameterChangeCount},
        {"parameter changes", records(block->getRegions().parameterChangeCapacity),
         block->getRegions().parameterChanges},
        {"guard 6", guardBytes, block->getRegions().guards[6]},
        {"parameter flags", "parameters", block->getRegions().parameterFlags},
        {"guard 7", guardBytes, block->getRegions().guards[7]},
    };
    std::vector<Row> rows;
    for (size_t i = 0; i < std::size(regions); ++i) {
        const int32_t begin = block->offsetOf(regions[i].start);
        const int32_t end = i + 1 < std::size(regions) ? block->offsetOf(regions[i + 1].start)
                                                       : block->getRegions().memorySize;
        rows.push_back(
            {regions[i].name, regions[i].bytes, std::to_string(begin), std::to_string(end - begin)});
    }
    rows.push_back({"end", "", std::to_string(block->getRegions().memorySize), ""});
    expectRows(protocol().table("Regions", "Region"), {"Region", "Bytes before rounding", "Offset", "Size"},
               rows);
    EXPECT_EQ(block->getRegions().memorySize, 138016);
}

TEST(ProtocolDocument, TellsTheGuardsThatTheHostFills) {
    const Ref<BlockInMemory> block = exampleBlock();
    block->fillGuards();
    for (const uint8_t* guard : block->getRegions().guards)
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(guard), 16), std::string(16, '\xBB'));
    EXPECT_NE(protocol().getText().find("Each guard is 16 bytes of 0xBB"), std::string::npos);
}

TEST(ProtocolDocument, GivesTheFieldsOfTheTransport) {
    expectRows(
        protocol().table("Transport fields", "Offset"), {"Offset", "Type", "Field"},
        {{offset(offsetof(TransportBlock, sampleRate)), "double", "sampleRate"},
         {offset(offsetof(TransportBlock, tempo)), "double", "tempo"},
         {offset(offsetof(TransportBlock, position)), "double", "position"},
         {offset(offsetof(TransportBlock, reservedTime)), "double", "reservedTime"},
         {offset(offsetof(TransportBlock, systemTime)), "double", "systemTime"},
         {offset(offsetof(TransportBlock, barStart)), "double", "barStart"},
         {offset(offsetof(TransportBlock, loopStart)), "double", "loopStart"},
         {offset(offsetof(TransportBlock, loopEnd)), "double", "loopEnd"},
         {offset(offsetof(TransportBlock, inputLatency)), "int32", "inputLatency"},
         {offset(offsetof(TransportBlock, outputLatency)), "int32", "outputLatency"},
         {offset(offsetof(TransportBlock, samplePosition)), "uint64", "samplePosition"},
         {offset(offsetof(TransportBlock, flags)), "uint32", "flags"},
         {offset(offsetof(TransportBlock, timeSignatureNumerator)), "uint16", "timeSignatureNumerator"},
         {offset(offsetof(TransportBlock, timeSignatureDenominator)), "uint16", "timeSignatureDenominator"},
         {offset(offsetof(TransportBlock, reserved)), "uint8[8]", "reserved"}});
    TransportBlock transport{};
    transport.sampleRate = 44100;
    transport.tempo = 120;
    transport.position = 4;
    transport.barStart = 4;
    transport.inputLatency = 256;
    transport.outputLatency = 512;
    transport.samplePosition = 88200;
    transport.flags = transportPlaying;
    transport.timeSignatureNumerator = 4;
    transport.timeSignatureDenominator = 8;
    EXPECT_EQ(toHex(protocol().dump("transport")), toHex(recordBytes(transport)));
}

TEST(ProtocolDocument, GivesTheFlagsOfTheTransport) {
    expectRows(protocol().table("Transport flags", "Mask"), {"Mask", "Flag"},
               {{mask(transportPlaying), "playing"},
                {mask(transportChangedMask), "changed: any of three bits"},
                {mask(transportLoopOn), "loop on"},
                {mask(transportRecording), "recording"},
                {mask(transportAutomationWriting), "automation writing"}});
}

TEST(ProtocolDocument, GivesTheFieldsOfAnEvent) {
    using Expression = EventRecord::NoteExpression;
    constexpr size_t expression = offsetof(EventRecord, noteExpression);
    expectRows(protocol().table("Event fields", "Offset"), {"Offset", "Type", "Field"},
               {{offset(offsetof(EventRecord, kind)), "int16", "kind"},
                {offset(offsetof(EventRecord, sampleOffset)), "uint16", "sampleOffset"},
                {offset(offsetof(EventRecord, position)), "double", "position"},
                {offset(offsetof(EventRecord, midi)), "uint8[4]", "midi"},
                {offset(offsetof(EventRecord, systemExclusive)), "uint8[16]", "systemExclusive"},
                {offset(expression + offsetof(Expression, channel)), "uint16", "noteExpression.channel"},
                {offset(expression + offsetof(Expression, key)), "uint16", "noteExpression.key"},
                {offset(expression + offsetof(Expression, value)), "float", "noteExpression.value"},
                {offset(expression + offsetof(Expression, kind)), "uint8", "noteExpression.kind"},
                {offset(offsetof(EventRecord, systemExclusiveSize)), "uint8", "systemExclusiveSize"}});
    EventRecord note{};
    note.kind = EventKind::midi;
    note.sampleOffset = 16;
    note.position = 4;
    note.midi[0] = 0x90;
    note.midi[1] = 60;
    note.midi[2] = 100;
    EXPECT_EQ(toHex(protocol().dump("midi-event")), toHex(recordBytes(note)));
    EventRecord dump{};
    dump.kind = EventKind::systemExclusive;
    constexpr uint8_t message[] = {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7};
    std::copy(std::begin(message), std::end(message), dump.systemExclusive);
    dump.systemExclusiveSize = sizeof message;
    EXPECT_EQ(toHex(protocol().dump("system-exclusive-event")), toHex(recordBytes(dump)));
}

TEST(ProtocolDocument, GivesTheFieldsOfAParameterChange) {
    expectRows(protocol().table("Parameter change fields", "Offset"), {"Offset", "Type", "Field"},
               {{offset(offsetof(ParameterChange, value)), "float", "value"},
                {offset(offsetof(ParameterChange, parameterIndex)), "uint16", "parameterIndex"},
                {offset(offsetof(ParameterChange, sampleOffset)), "uint16", "sampleOffset"}});
    const ParameterChange change{0.5F, 3, 0};
    EXPECT_EQ(toHex(protocol().dump("parameter-change")), toHex(recordBytes(change)));
}

TEST(ProtocolDocument, GivesTheFlagsOfAParameter) {
    expectRows(protocol().table("Parameter flags", "Mask"), {"Mask", "Flag", "Set by"},
               {{mask(parameterWatched), "watched", "client"},
                {mask(parameterDisplayDirty), "display dirty", "host"}});
}

TEST(ProtocolDocument, GivesTheResultsOfABlock) {
    expectRows(protocol().table("Results", "Result"), {"Result", "Name"},
               {{std::to_string(processSilent), "processSilent"},
                {std::to_string(processActive), "processActive"},
                {std::to_string(processTail), "processTail"}});
}
