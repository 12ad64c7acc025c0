// Failures of plug-ins. If these fail, what a thread keeps of one for another to report has lost its words or
// its kind.

#include "plugin/PluginException.h"
#include "plugin/PluginHostAsyncReplyHandler.h"

#include <gtest/gtest.h>

TEST(PluginExceptionTest, ACloneIsAgainAFailureOfAPlugInWithTheSameWords) {
    PluginException original("Couldn't load");
    original.setCause(new IOException("no such file"));
    const Ref<Exception> clone(original.clone());
    ASSERT_NE(dynamic_cast<PluginException*>(clone.get()), nullptr);
    EXPECT_NE(clone.get(), &original);
    EXPECT_EQ(clone->getMessage().toStdString(), "Couldn't load");
    EXPECT_TRUE(clone->getCause() == original.getCause());
}

TEST(AsyncReplyHandlerTest, AReceiverThatSaysNothingElseIsForNoInstance) {
    class Receiver : public PluginHostAsyncReplyHandler {
    public:
        void onReply(PluginHostReply*) override {}
        void onError(const String&) override {}
    };
    Receiver receiver;
    EXPECT_FALSE(receiver.isForInstance(0));
    EXPECT_FALSE(receiver.isForInstance(1));
}
