// The digest in the name of a shared block: both sides must spell it alike, or they never share a sample.

#include "core/Base64.h"

#include "FailingCalls.h"
#include "support/CapturedOutput.h"

#include <gtest/gtest.h>

#include <array>
#include <unistd.h>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

using Digest = std::array<uint8_t, 16>;

TEST(Base64Test, SixteenZeroBytes) {
    EXPECT_STREQ(encodeBase64(Digest{}).get(), "AAAAAAAAAAAAAAAAAAAAAA==");
}

TEST(Base64Test, BytesAreGroupedByThreesHighBitsFirst) {
    EXPECT_STREQ(encodeBase64(Digest{0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B,
                                     0x0C, 0x0D, 0x0E, 0x0F})
                     .get(),
                 "AAECAwQFBgcICQoLDA0ODw==");
    EXPECT_STREQ(
        encodeBase64(Digest{'M', 'a', 'n', 'M', 'a', 'n', 'M', 'a', 'n', 'M', 'a', 'n', 'M', 'a', 'n', 'M'})
            .get(),
        "TWFuTWFuTWFuTWFuTWFuTQ==");
}

TEST(Base64Test, TheLastCharacterOfTheAlphabetIsADash) {
    Digest ones;
    ones.fill(0xFF);
    EXPECT_STREQ(encodeBase64(ones).get(), "---------------------w==");
    Digest pluses; // the bits 111110 over and over
    for (size_t i = 0; i < pluses.size(); ++i)
        pluses[i] = std::array<uint8_t, 3>{0xFB, 0xEF, 0xBE}[i % 3];
    EXPECT_STREQ(encodeBase64(pluses).get(), "+++++++++++++++++++++w==");
}

TEST(Base64Test, EachCharacterOfTheAlphabetHasItsPlace) {
    // Six bits each: 0 to 19, then 20 in the last byte's upper bits.
    EXPECT_STREQ(encodeBase64(Digest{0x00, 0x10, 0x83, 0x10, 0x51, 0x87, 0x20, 0x92, 0x8B, 0x30, 0xD3, 0x8F,
                                     0x41, 0x14, 0x93, 0x50})
                     .get(),
                 "ABCDEFGHIJKLMNOPQRSTUA==");
    // 44 to 63, then 0.
    EXPECT_STREQ(encodeBase64(Digest{0xB2, 0xDB, 0xAF, 0xC3, 0x1C, 0xB3, 0xD3, 0x5D, 0xB7, 0xE3, 0x9E, 0xBB,
                                     0xF3, 0xDF, 0xBF, 0x00})
                     .get(),
                 "stuvwxyz0123456789+-AA==");
}

TEST(Base64Test, WithoutMemoryItSaysSoOnTheStandardOutput) {
    const CapturedOutput captured(STDOUT_FILENO);
    const FailingAllocation failing(25);
    EXPECT_EQ(encodeBase64(Digest{}), nullptr);
    EXPECT_EQ(captured.text(), "ERROR: base64 could not allocate enough memory.\n"
                               "I must stop because I could not get enough\n");
}

} // namespace
