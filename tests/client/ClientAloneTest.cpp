// What a client carries. If these fail, an application links what it isolates itself from: the host, the X
// libraries, the formats' loaders.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

namespace {

/// What a command prints.
std::string outputOf(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> stream(popen(command.c_str(), "r"), pclose);
    std::string output;
    for (int byte = 0; stream && (byte = std::fgetc(stream.get())) != EOF;)
        output += static_cast<char>(byte);
    return output;
}

} // namespace

TEST(ClientAloneTest, TheSmallestClientHasNothingOfAHost) {
    const std::string names = outputOf("nm -C " SMALLEST_CLIENT_PROGRAM);
    EXPECT_THAT(names, testing::HasSubstr(" RemotePluginHostProxy::shutdown()"));
    for (const char* host : {" PluginHost::", " PluginWindows::", " XConnection::", " Vst2Plugin",
                             " Vst3Plugin", "Steinberg::", " RemoteAudioThread::", " xcb_"})
        EXPECT_THAT(names, testing::Not(testing::HasSubstr(host)));
}

TEST(ClientAloneTest, TheSmallestClientNeedsNoLibraryOfAHost) {
    const std::string libraries = outputOf("readelf -d " SMALLEST_CLIENT_PROGRAM);
    EXPECT_THAT(libraries, testing::HasSubstr("[libstdc++.so"));
    EXPECT_THAT(libraries, testing::Not(testing::HasSubstr("xcb")));
}
