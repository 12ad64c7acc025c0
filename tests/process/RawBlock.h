#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The client's view of an instance's audio block, by offsets that this class works out for itself.
class RawBlock {
public:
    /// Opens the block; throws `std::runtime_error` if it isn't there or has another size.
    RawBlock(int32_t hostId, int32_t instanceId, size_t inputs, size_t outputs, size_t parameters,
             size_t blockSize = 256);
    ~RawBlock();
    RawBlock(const RawBlock&) = delete;
    RawBlock& operator=(const RawBlock&) = delete;

    struct Offsets {
        std::array<size_t, 8> guards;
        size_t transport;
        size_t inputAudio;
        size_t outputAudio;
        size_t inputEventCount;
        size_t inputEvents;
        size_t outputEventCount;
        size_t outputEvents;
        size_t parameterChangeCount;
        size_t parameterChanges;
        size_t parameterFlags;
        size_t size;
    };
    Offsets offsets{};

    uint8_t byteAt(size_t offset) const { return memory[offset]; }
    std::vector<float> output(size_t channel, size_t frames) const;
    void setInput(size_t channel, const std::vector<float>& samples);
    void clearLists();
    void addMidi(uint16_t frame, uint8_t status, uint8_t data1, uint8_t data2);
    void addChange(uint16_t parameter, float value);
    void watch(size_t parameter, bool watched = true);
    uint8_t flags(size_t parameter) const;
    bool guardsAreWhole() const;

private:
    int32_t readCount(size_t offset) const;
    void writeCount(size_t offset, int32_t count);

    size_t paddedBlockSize;
    uint8_t* memory = nullptr;
};

/// The system name of an instance's audio block.
std::string blockName(int32_t hostId, int32_t instanceId);
bool blockExists(int32_t hostId, int32_t instanceId);
void removeBlock(int32_t hostId, int32_t instanceId);
/// Removes what a host has left that wasn't asked to destroy its instances.
void removeBlocks(int32_t hostId);
