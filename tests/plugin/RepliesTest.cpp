// The payloads of replies. If these fail, a client gets wrong channel counts for a new instance, maps an
// audio block of the wrong size, or loses step with its host.

#include "plugin/PluginHostReplies.h"
#include "plugin/PluginHostRequests.h"
#include "support/StateBytes.h"
#include "support/TestHost.h"
#include "tests/plugin/RichInstance.h"

#include <gtest/gtest.h>

using namespace test_support;

namespace {

const std::string createReply =
    "03 00 00 00 02 00 00 00 04 00 00 00 40 01 00 00 01" + richState(); // the bool is hasEditor
const std::string defineIoReply = "03 00 00 00 02 00 00 00 04 00 00 00 40 01 00 00" + richState();

class RepliesTest : public testing::Test {
protected:
    RepliesTest() {
        makeRich(*instance);
        instance->inputs = 2;
        instance->outputs = 4;
        instance->editor = true;
    }

    TestHost host;
    Ref<FakePluginInstance> instance = host.addInstance(3);
};

// Reads a reply the way in which the client does: through the request that it answers.
template <class Reply>
Ref<Reply> readThrough(PluginHostRequest&& request, std::string_view payload) {
    GoldenStream stream(payload);
    const Ref<PluginHostReply> reply = request.readReply(stream);
    EXPECT_EQ(stream.available(), 0U) << "bytes of the reply were left";
    auto* read = dynamic_cast<Reply*>(reply.get());
    if (read == nullptr)
        throw IOException("the request made a reply of another class");
    return read;
}

} // namespace

TEST_F(RepliesTest, CreateReplyTellsTheEditorBehindTheCounts) {
    const CreatePluginInstanceReply reply(*instance);
    EXPECT_EQ(reply.getType(), 0);
    EXPECT_EQ(written(reply), golden(createReply));
    instance->editor = false;
    const std::string without = written(CreatePluginInstanceReply(*instance));
    EXPECT_EQ(without.substr(0, 17 * 3), golden("03 00 00 00 02 00 00 00 04 00 00 00 40 01 00 00 00"));
}

TEST_F(RepliesTest, CreateReplyIsReadThroughItsRequest) {
    const auto reply = readThrough<CreatePluginInstanceReply>(CreatePluginInstanceRequest(), createReply);
    EXPECT_EQ(reply->instanceId, 3);
    EXPECT_EQ(reply->inputChannelCount, 2);
    EXPECT_EQ(reply->outputChannelCount, 4);
    EXPECT_EQ(reply->latency, 320);
    EXPECT_TRUE(reply->hasEditor);
    ASSERT_TRUE(reply->state);
    EXPECT_EQ(written(*reply->state), golden(richState()));
}

TEST_F(RepliesTest, DefineIoReplyHasNoEditor) {
    const DefineIoReply reply(*instance);
    EXPECT_EQ(reply.getType(), 3);
    EXPECT_EQ(written(reply), golden(defineIoReply));
}

TEST_F(RepliesTest, DefineIoReplyIsReadThroughItsRequest) {
    const auto reply = readThrough<DefineIoReply>(UpdateIORequest(3), defineIoReply);
    EXPECT_EQ(reply->instanceId, 3);
    EXPECT_EQ(reply->inputChannelCount, 2);
    EXPECT_EQ(reply->outputChannelCount, 4);
    EXPECT_EQ(reply->latency, 320);
    ASSERT_TRUE(reply->state);
    EXPECT_EQ(written(*reply->state), golden(richState()));
}

TEST_F(RepliesTest, NothingOfAPresetReplyCrossesThePipe) {
    EXPECT_EQ(written(LoadPresetReply(3, "a.fxp")), "");
    EXPECT_EQ(written(SavePresetReply(3, "a.fxp")), "");
}

TEST_F(RepliesTest, ThePresetRepliesAreMadeFromTheirRequests) {
    const auto loaded = readThrough<LoadPresetReply>(LoadPresetRequest(3, "a.fxp"), "");
    EXPECT_EQ(loaded->getType(), 2);
    EXPECT_EQ(loaded->instanceId, 3);
    EXPECT_EQ(loaded->path, "a.fxp");
    const auto saved = readThrough<SavePresetReply>(SavePresetRequest(4, "b.fxp"), "");
    EXPECT_EQ(saved->getType(), 1);
    EXPECT_EQ(saved->instanceId, 4);
    EXPECT_EQ(saved->path, "b.fxp");
}

TEST_F(RepliesTest, AReplyThatEndsInItsMiddleThrowsTheEndOfTheStream) {
    const std::string bytes = bytesOf(createReply);
    for (size_t size = 0; size < bytes.size(); ++size) {
        GoldenStream stream(bytes, size);
        EXPECT_THROW(CreatePluginInstanceRequest().readReply(stream), EOSException)
            << "cut to " << size << " bytes";
    }
}
