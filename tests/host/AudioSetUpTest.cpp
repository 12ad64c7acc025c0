// Making the audio block of a new instance. If these fail, a client can't open the block of its instance, or
// takes a plug-in for one that writes outside of its buffers, or the first block of audio waits for the
// system.

#include "core/SharedMemory.h"
#include "host/RemotePluginAudioContext.h"
#include "host/RemotePluginHostProxyHandler.h"
#include "support/TestHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <fcntl.h>
#include <limits>
#include <sys/prctl.h>
#include <unistd.h>

using namespace test_support;
using base::core::SharedMemory;
using testing::ElementsAre;

namespace {

class AudioSetUpTest : public testing::Test {
protected:
    AudioSetUpTest() {
        prctl(PR_GET_NAME, threadName);
        instance->inputs = 2;
        instance->outputs = 2;
        instance->parameters.resize(10);
    }
    ~AudioSetUpTest() override {
        handler->host = nullptr;
        prctl(PR_SET_NAME, threadName);
    }

    char threadName[32] = {};
    TestHost test;
    Ref<FakePluginInstance> instance = test.addInstance(3);
    Ref<RemotePluginHostProxyHandler> handler{new RemotePluginHostProxyHandler(test.host, 7)};
};

constexpr int32_t blockBytes = 138016;

/// Which pages this process can reach without a fault.
class PageMap {
public:
    PageMap() { EXPECT_GE(file, 0) << "the system doesn't show its page map"; }
    ~PageMap() { close(file); }
    PageMap(const PageMap&) = delete;
    PageMap& operator=(const PageMap&) = delete;

    bool isPresent(const void* address) const {
        uint64_t entry = 0;
        const auto page = reinterpret_cast<uintptr_t>(address) / static_cast<uintptr_t>(pageSize);
        EXPECT_EQ(pread64(file, &entry, sizeof entry, static_cast<off64_t>(page * sizeof entry)),
                  static_cast<ssize_t>(sizeof entry));
        return entry >> 63 != 0;
    }

    const long pageSize = sysconf(_SC_PAGESIZE);

private:
    const int file = open("/proc/self/pagemap", O_RDONLY | O_CLOEXEC);
};

} // namespace

TEST_F(AudioSetUpTest, TheBlockHasItsNameSizeAndGuardsAndIsZeroElsewhere) {
    handler->setUpAudio(*instance);
    const Ref<SharedMemory> seen = SharedMemory::open("tanvex-plugin-host7-3", blockBytes);
    std::string expected(blockBytes, '\0');
    for (const size_t guard : {0U, 112U, 2176U, 4240U, 11696U, 19152U, 137968U, 138000U})
        expected.replace(guard, 16, 16, '\xBB');
    EXPECT_TRUE(std::string_view(static_cast<char*>(seen->getData()), blockBytes) == expected);
    EXPECT_EQ(instance->audio.getContext()->getRegions().memorySize, blockBytes);
}

TEST_F(AudioSetUpTest, NoPageOfTheBlockIsLeftToBeMappedByTheFirstAudio) {
    handler->setUpAudio(*instance);
    const PageMap map;
    const auto* memory = static_cast<const char*>(instance->audio.getContext()->getRegions().memory);
    int absent = 0;
    for (int32_t offset = 0; offset < blockBytes; offset += static_cast<int32_t>(map.pageSize))
        absent += map.isPresent(memory + offset) ? 0 : 1;
    EXPECT_EQ(absent, 0);
}

TEST_F(AudioSetUpTest, BothSidesSeeTheSameBytes) {
    handler->setUpAudio(*instance);
    const Ref<SharedMemory> seen = SharedMemory::open("tanvex-plugin-host7-3", blockBytes);
    auto* bytes = static_cast<uint8_t*>(seen->getData());
    instance->audio.getOutputChannels()[1][0] = 0.5F;
    EXPECT_EQ(hexOf(bytes + 2192 + 1024, 4), golden("00 00 00 3F"));
    bytes[137984 + 9] = 1;
    EXPECT_TRUE(instance->audio.getContext()->hasParameterFlag(9, parameterWatched));
    bytes[16 + 80] = 1;
    EXPECT_EQ(instance->audio.getTransport()->flags, 1U);
}

TEST_F(AudioSetUpTest, TheInstanceGetsItsContextChannelsAndTransport) {
    handler->setUpAudio(*instance);
    const PluginAudioContext* context = instance->audio.getContext();
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->blockSize, 256);
    EXPECT_EQ(context->parameterCount, 10);
    EXPECT_EQ(instance->audio.getInputChannelCount(), 2);
    EXPECT_EQ(instance->audio.getInputChannels()[1], context->getRegions().inputAudio + 256);
    EXPECT_EQ(instance->audio.getOutputChannelCount(), 2);
    EXPECT_EQ(instance->audio.getOutputChannels()[1], context->getRegions().outputAudio + 256);
    EXPECT_EQ(instance->audio.getTransport(), context->getRegions().transport);
}

TEST_F(AudioSetUpTest, AnInstanceWithoutInputsHasNullInputs) {
    instance->inputs = 0;
    handler->setUpAudio(*instance);
    EXPECT_EQ(instance->audio.getInputChannels(), nullptr);
    EXPECT_EQ(instance->audio.getInputChannelCount(), 0);
    EXPECT_NE(instance->audio.getOutputChannels(), nullptr);
}

TEST_F(AudioSetUpTest, TheMainThreadIsNamedAfterThePluginAsFarAsTheKernelKeepsIt) {
    instance->name = "A plug-in of a long name";
    handler->setUpAudio(*instance);
    char name[32] = {};
    prctl(PR_GET_NAME, name);
    EXPECT_STREQ(name, "A plug-in of a ");
}

TEST_F(AudioSetUpTest, TheBlockGoesWithItsInstance) {
    handler->setUpAudio(*instance);
    test.host->instances.remove(3);
    instance = nullptr;
    EXPECT_THROW(SharedMemory::open("tanvex-plugin-host7-3", blockBytes), IOException);
}

TEST_F(AudioSetUpTest, ABlockThatCannotBeMadeThrowsAndLeavesTheInstanceWithoutOne) {
    instance->inputs = std::numeric_limits<int32_t>::max();
    EXPECT_THROW(handler->setUpAudio(*instance), IOException);
    EXPECT_EQ(instance->audio.getContext(), nullptr);
    EXPECT_EQ(instance->audio.getInputChannels(), nullptr);
}

TEST_F(AudioSetUpTest, TheHostsContextForwardsToItsInstance) {
    RemotePluginAudioContext context(*instance, 7, 256);
    retain(&context);
    context.startProcessing();
    EXPECT_EQ(context.process(64, true, false), 2);
    EXPECT_EQ(context.process(32, false, true), 2);
    context.stopProcessing();
    EXPECT_THAT(test.log.all(), ElementsAre("startProcessing", "process 64 keepActive", "process 32 realtime",
                                            "stopProcessing"));
}
