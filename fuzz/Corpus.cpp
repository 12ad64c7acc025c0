// Writes the fuzzers' initial corpus, the golden bytes of the tests:
//
//     fuzz-corpus DIRECTORY        makes DIRECTORY/READER/NAME

#include "support/FileBytes.h"
#include "support/PresetBytes.h"
#include "support/RequestFrames.h"
#include "support/Vst2PresetBytes.h"

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

using namespace test_support;

namespace {

/// All requests in sequence, as a client sends them.
std::string allRequests() {
    std::string frames;
    for (const RequestRow& row : requestRows)
        frames += bytesOf(row.frame);
    return frames;
}

struct Seed {
    std::string path;
    std::string bytes;
};

std::vector<Seed> seeds() {
    using namespace vst2Values;
    return {
        {"fxb/FxCk", program("Bright", half + quarter)},
        {"fxb/FPCh", chunkProgram("00 00 00 03 'abc'")},
        {"fxb/FxBk", bankOfThree()},
        {"fxb/FBCh", chunkBank()},
        {"fxb/little-endian", littleEndianBank()},
        {"h2p/scaled", scaledText()},
        {"nksf/program", riffFile(riffProgram)},
        {"nksf/bank", riffFile(riffBank)},
        {"raw/text", scaledText()},
        {"vst3/two-states", goodPreset()},
        {"requests/all", allRequests()},
        {"requests/create", bytesOf(createFrame)},
        {"requests/open", bytesOf(openFrame)},
        {"requests/wide-title", bytesOf(wideTitleFrame)},
        {"requests/position", bytesOf(positionFrame)},
    };
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fprintf(stderr, "Usage: %s DIRECTORY\n", arguments[0]);
        return 2;
    }
    const std::filesystem::path directory = arguments[1];
    for (const Seed& seed : seeds()) {
        const std::filesystem::path path = directory / seed.path;
        std::filesystem::create_directories(path.parent_path());
        writeFile(path, seed.bytes);
    }
}
