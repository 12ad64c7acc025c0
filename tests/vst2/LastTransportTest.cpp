// The last block's transport, its writer and its reader stopped behind each of their machine instructions. If
// these fail, a plug-in's own thread sees a tempo of one moment and a position of another.

#include "vst2/LastTransport.h"
#include "support/Stepping.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

using namespace test_support;

// A sanitizer's own instructions are too many.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

namespace {

TransportBlock filledWith(uint8_t byte) {
    TransportBlock transport{};
    std::memset(&transport, byte, sizeof transport);
    return transport;
}

bool isAll(const TransportBlock& transport, uint8_t byte) {
    const auto bytes = std::bit_cast<std::array<uint8_t, sizeof transport>>(transport);
    return std::all_of(bytes.begin(), bytes.end(), [byte](uint8_t each) { return each == byte; });
}

constexpr int mostInstructions = 100000;

} // namespace

TEST(LastTransportTest, AReaderThatMeetsAWriteGetsNothing) {
    TransportBlock block = filledWith(0);
    const TransportBlock older = filledWith(1);
    const TransportBlock newer = filledWith(2);
    int before = 0;
    int missed = 0;
    int behind = 0;
    for (int instructions = 0;; ++instructions) {
        ASSERT_LT(instructions, mostInstructions) << "the write does not end";
        LastTransport last;
        last.publish(older);
        Stepping stepping([&] {
            const std::optional<TransportBlock> found = last.tryRead(block);
            missed += !found;
            before += found && isAll(*found, 1);
            behind += found && isAll(*found, 2);
        });
        if (!stepping.run(instructions, [&] { last.publish(newer); }))
            break;
        ASSERT_EQ(before + missed + behind, instructions + 1) << "half a write was read";
    }
    EXPECT_GT(before, 0);
    EXPECT_GT(missed, 0);
    EXPECT_GT(behind, 0);
}

TEST(LastTransportTest, AReadDuringWhichAWriteCameHasAllOfOne) {
    TransportBlock block = filledWith(0);
    const TransportBlock older = filledWith(1);
    const TransportBlock newer = filledWith(2);
    int before = 0;
    int behind = 0;
    for (int instructions = 0;; ++instructions) {
        ASSERT_LT(instructions, mostInstructions) << "the read does not end";
        LastTransport last;
        last.publish(older);
        Stepping stepping([&] { last.publish(newer); });
        TransportBlock found{};
        if (!stepping.run(instructions, [&] { found = last.read(block); }))
            break;
        before += isAll(found, 1);
        behind += isAll(found, 2);
        ASSERT_EQ(before + behind, instructions + 1) << "a half of each was read";
    }
    EXPECT_GT(before, 0);
    EXPECT_GT(behind, 0);
}

#endif
