#pragma once

#include "ClientTest.h"

#include "client/RemotePluginAudioContextProxy.h"

#include <ostream>

/// A host program, with the examples of its build.
struct HostProgram {
    const char* name;
    const char* executable;
    const char* examples;
};

void PrintTo(const HostProgram& program, std::ostream* stream);
std::string hostProgramName(const testing::TestParamInfo<HostProgram>& program);

/// The host of this build; a 64-bit client drives the 32-bit one too.
inline constexpr HostProgram hostPrograms[] = {
    {"OfThisBuild", PLUGIN_HOST_EXECUTABLE, EXAMPLE_PLUGIN_DIRECTORY},
#ifdef PLUGIN_HOST_I386_EXECUTABLE
    {"i386", PLUGIN_HOST_I386_EXECUTABLE, EXAMPLE_PLUGIN_I386_DIRECTORY},
#endif
};

/// An instance that plays, from `play` to `letGo`.
class PlayingInstance {
public:
    void play(const Ref<RemotePluginHostProxy>& host, const Ref<CreatePluginInstanceReply>& newReply);
    /// The order that makes destroying safe. Nothing, if nothing plays.
    void letGo(RemotePluginHostProxy& host);

    /// A block with the events and changes that stand in the block, which are then forgotten.
    int32_t render(bool keepActive = true);
    void change(uint16_t parameter, float value);
    void add(const EventRecord& event);
    void midi(uint8_t status, uint8_t data1, uint8_t data2, uint16_t offset);

    Ref<CreatePluginInstanceReply> reply;
    Ref<RemotePluginAudioContextProxy> context;
};

/// The base of tests with a host at work, see `HostProgram`.
class RealHost : public ClientTest, public testing::WithParamInterface<HostProgram> {
protected:
    void SetUp() override;
    void TearDown() override;

    /// A file of the examples, of the VST 2 ones unless `suffix` says otherwise.
    static std::string plugin(const std::string& name, const std::string& suffix = ".so");

    Ref<RemotePluginHostProxy> proxy;
};
