#include "process/RawBlock.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <md5.h>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uint8_t watchedFlag = 1;
constexpr size_t eventSize = 29;
constexpr size_t changeSize = 8;

size_t padded(size_t size, size_t unit) {
    return (size + unit - 1) / unit * unit;
}

} // namespace

RawBlock::RawBlock(int32_t hostId, int32_t instanceId, size_t inputs, size_t outputs, size_t parameters,
                   size_t blockSize)
    : paddedBlockSize(padded(blockSize, 4)) {
    size_t next = 0;
    size_t guard = 0;
    const auto region = [&next](size_t size) {
        const size_t start = next;
        next += padded(size, 16);
        return start;
    };
    const auto addGuard = [&] { offsets.guards[guard++] = region(16); };
    addGuard();
    offsets.transport = region(96);
    addGuard();
    offsets.inputAudio = region(inputs * paddedBlockSize * 4);
    addGuard();
    offsets.outputAudio = region(outputs * paddedBlockSize * 4);
    addGuard();
    offsets.inputEventCount = region(16);
    offsets.inputEvents = region(256 * eventSize);
    addGuard();
    offsets.outputEventCount = region(16);
    offsets.outputEvents = region(256 * eventSize);
    addGuard();
    offsets.parameterChangeCount = region(16);
    offsets.parameterChanges = region(4096 * eventSize);
    addGuard();
    offsets.parameterFlags = region(parameters);
    addGuard();
    offsets.size = next;

    const std::string name = blockName(hostId, instanceId);
    const int file = shm_open(name.c_str(), O_RDWR, 0600);
    if (file < 0)
        throw std::runtime_error("no audio block of the name " + name);
    struct stat status {};
    fstat(file, &status);
    if (static_cast<size_t>(status.st_size) != offsets.size) {
        close(file);
        throw std::runtime_error("the audio block has " + std::to_string(status.st_size) + " bytes and not " +
                                 std::to_string(offsets.size));
    }
    void* mapping = mmap(nullptr, offsets.size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (mapping == MAP_FAILED)
        throw std::runtime_error("the audio block can't be mapped");
    memory = static_cast<uint8_t*>(mapping);
}

RawBlock::~RawBlock() {
    munmap(memory, offsets.size);
}

std::vector<float> RawBlock::output(size_t channel, size_t frames) const {
    std::vector<float> samples(frames);
    std::memcpy(samples.data(), memory + offsets.outputAudio + channel * paddedBlockSize * 4, frames * 4);
    return samples;
}

void RawBlock::setInput(size_t channel, const std::vector<float>& samples) {
    std::memcpy(memory + offsets.inputAudio + channel * paddedBlockSize * 4, samples.data(),
                samples.size() * 4);
}

void RawBlock::clearLists() {
    writeCount(offsets.inputEventCount, 0);
    writeCount(offsets.outputEventCount, 0);
    writeCount(offsets.parameterChangeCount, 0);
}

void RawBlock::addMidi(uint16_t frame, uint8_t status, uint8_t data1, uint8_t data2) {
    const int32_t count = readCount(offsets.inputEventCount);
    uint8_t* record = memory + offsets.inputEvents + static_cast<size_t>(count) * eventSize;
    std::memset(record, 0, eventSize);
    std::memcpy(record + 2, &frame, sizeof frame);
    record[12] = status;
    record[13] = data1;
    record[14] = data2;
    writeCount(offsets.inputEventCount, count + 1);
}

void RawBlock::addChange(uint16_t parameter, float value) {
    const int32_t count = readCount(offsets.parameterChangeCount);
    uint8_t* record = memory + offsets.parameterChanges + static_cast<size_t>(count) * changeSize;
    std::memset(record, 0, changeSize);
    std::memcpy(record, &value, sizeof value);
    std::memcpy(record + 4, &parameter, sizeof parameter);
    writeCount(offsets.parameterChangeCount, count + 1);
}

void RawBlock::watch(size_t parameter, bool watched) {
    std::atomic_ref(memory[offsets.parameterFlags + parameter]).store(watched ? watchedFlag : 0);
}

uint8_t RawBlock::flags(size_t parameter) const {
    return std::atomic_ref(memory[offsets.parameterFlags + parameter]).load();
}

bool RawBlock::guardsAreWhole() const {
    for (const size_t guard : offsets.guards) {
        for (size_t i = 0; i < 16; ++i) {
            if (memory[guard + i] != 0xBB)
                return false;
        }
    }
    return true;
}

int32_t RawBlock::readCount(size_t offset) const {
    int32_t count = 0;
    std::memcpy(&count, memory + offset, sizeof count);
    return count;
}

void RawBlock::writeCount(size_t offset, int32_t count) {
    std::memcpy(memory + offset, &count, sizeof count);
}

std::string blockName(int32_t hostId, int32_t instanceId) {
    const char* user = getenv("USER");
    const std::string name = std::string(user != nullptr ? user : "") + "-tanvex-plugin-host" +
                             std::to_string(hostId) + "-" + std::to_string(instanceId);
    uint8_t digest[18] = {}; // two more, so that three bytes make four characters throughout
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, reinterpret_cast<const uint8_t*>(name.data()), name.size());
    MD5Final(digest, &context);
    constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-";
    std::string result = "/";
    for (size_t i = 0; i < sizeof digest; i += 3) {
        const uint32_t three = static_cast<uint32_t>(digest[i] << 16 | digest[i + 1] << 8 | digest[i + 2]);
        for (int shift = 18; shift >= 0; shift -= 6)
            result += alphabet[three >> shift & 63];
    }
    return result.substr(0, 23) + "==";
}

bool blockExists(int32_t hostId, int32_t instanceId) {
    const int file = shm_open(blockName(hostId, instanceId).c_str(), O_RDWR, 0600);
    if (file >= 0)
        close(file);
    return file >= 0;
}

void removeBlock(int32_t hostId, int32_t instanceId) {
    shm_unlink(blockName(hostId, instanceId).c_str());
}

void removeBlocks(int32_t hostId) {
    constexpr int32_t usedByTests = 100;
    for (int32_t instanceId = 0; instanceId < usedByTests; ++instanceId)
        removeBlock(hostId, instanceId);
}
