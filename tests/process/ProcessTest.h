#pragma once

#include "process/Bytes.h"
#include "process/RawBlock.h"
#include "process/RawClient.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

inline const std::string echoPath = EXAMPLE_PLUGIN_DIRECTORY "/echo.so";
inline const std::string tonePath = EXAMPLE_PLUGIN_DIRECTORY "/tone.so";
inline const std::string trioPath = EXAMPLE_PLUGIN_DIRECTORY "/trio.so";
inline const std::string upsideDownIdentifier = "1416779120"; // the bytes 'TrUp', highest first
inline const std::string reportsPath = TEST_PLUGIN_DIRECTORY "/reports-when-asked.so";

/// What the echo says of itself, as it stands in each reply.
inline const Bytes echoState =
    bytes("01 00 00 00") +                                                  // input buses
    bytes("00 00 00 09 'Stereo In' 00 00 00 02 00 00 00 00 00 00 00 01") +  // its channels
    bytes("01 00 00 00") +                                                  // output buses
    bytes("00 00 00 0A 'Stereo Out' 00 00 00 02 00 00 00 00 00 00 00 01") + // its channels
    bytes("03 00 00 00") +                                                  // parameters
    bytes("00 00 00 05 'Delay' 00 00 00 00 00 00 00 03 '250' 00 00 00 02 'ms' 00 00 00 00") +
    bytes("00 00 80 3E 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00") + // 0.25, id 0
    bytes("00 00 00 08 'Feedback' 00 00 00 00 00 00 00 02 '50' 00 00 00 01 '%' 00 00 00 00") +
    bytes("00 00 00 3F 01 00 00 00 01 00 00 00 00 00 00 00 00 00 00") + // 0.5, id 1
    bytes("00 00 00 03 'Mix' 00 00 00 00 00 00 00 02 '40' 00 00 00 01 '%' 00 00 00 00") +
    bytes("CD CC CC 3E 02 00 00 00 01 00 00 00 00 00 00 00 00 00 00") + // 0.4, id 2
    bytes("00 00 00 00") +                                              // programs
    bytes("00 00 00 00 00 00 00 00"); // no note names, latency 0, no MPE, no mapping, no note output

inline void expectAsync(RawClient& client, const Bytes& expected) {
    EXPECT_EQ(readable(client.readAsync(expected.size())), readable(expected));
}

/// After a ping, so that all that was asked for has been written.
inline void expectNothingMore(RawClient& client) {
    client.synchronise();
    EXPECT_EQ(readable(client.takeAsync()), "");
}

/// Creates an instance and drops the reply, which must be a success.
inline void createInstance(RawClient& client, int32_t instanceId, std::string_view path,
                           std::string_view identifier = "") {
    client.send(createFrame(1, instanceId, path, identifier));
    EXPECT_EQ(readable(client.readAsync(5)), "01 00 00 00 01 ");
    client.synchronise();
    client.takeAsync();
}
