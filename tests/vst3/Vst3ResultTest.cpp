// If these fail, users and developers read a wrong reason for a plug-in that doesn't come up.

#include "vst3/Vst3Result.h"
#include "plugin/PluginException.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

std::string messageOf(tresult code) {
    return resultCodeMessage(code, "\"Somewhere::call()\"", "Vst3Somewhere.cpp", 42).toStdString();
}

std::string expectedMessage(const std::string& code, const std::string& name) {
    return "\"Somewhere::call()\" returned error code: " + code + " (" + name +
           ")\n in Vst3Somewhere.cpp : 42";
}

} // namespace

TEST(Vst3Result, SuccessHasNoMessage) {
    EXPECT_EQ(messageOf(0), "");
}

TEST(Vst3Result, EachCodeIsNamed) {
    EXPECT_EQ(messageOf(-1), expectedMessage("-1", "kNoInterface"));
    EXPECT_EQ(messageOf(1), expectedMessage("1", "kResultFalse"));
    EXPECT_EQ(messageOf(2), expectedMessage("2", "kInvalidArgument"));
    EXPECT_EQ(messageOf(3), expectedMessage("3", "kNotImplemented"));
    EXPECT_EQ(messageOf(4), expectedMessage("4", "kInternalError"));
    EXPECT_EQ(messageOf(5), expectedMessage("5", "kNotInitialized"));
    EXPECT_EQ(messageOf(6), expectedMessage("6", "kOutOfMemory"));
}

TEST(Vst3Result, AnyOtherCodeIsAnUnknownResult) {
    EXPECT_EQ(messageOf(7), expectedMessage("7", "Unknown result!"));
    EXPECT_EQ(messageOf(-2), expectedMessage("-2", "Unknown result!"));
    EXPECT_EQ(messageOf(std::numeric_limits<tresult>::max()),
              expectedMessage("2147483647", "Unknown result!"));
    EXPECT_EQ(messageOf(std::numeric_limits<tresult>::min()),
              expectedMessage("-2147483648", "Unknown result!"));
}

TEST(Vst3Result, OnlyTheNameOfTheSourceFileIsTold) {
    EXPECT_EQ(resultCodeMessage(1, "\"A\"", "/where/it/was/Built.cpp", 7),
              "\"A\" returned error code: 1 (kResultFalse)\n in Built.cpp : 7");
}

TEST(Vst3Result, ACodeWithoutANameHasNone) {
    EXPECT_STREQ(resultCodeName(kResultOk), "kResultOk");
    EXPECT_STREQ(resultCodeName(kOutOfMemory), "kOutOfMemory");
    EXPECT_EQ(resultCodeName(7), nullptr);
    EXPECT_EQ(resultCodeName(-2), nullptr);
}

TEST(Vst3Result, AFailureIsThrownWithItsMessageAndItsPlace) {
    EXPECT_NO_THROW(throwUnlessOk(kResultOk, "\"A\""));
    int line = 0;
    try {
        line = __LINE__ + 1;
        throwUnlessOk(kNotImplemented, "\"A\"");
        ADD_FAILURE() << "no exception";
    } catch (const PluginException& exception) {
        EXPECT_EQ(exception.getMessage().toStdString(),
                  "\"A\" returned error code: 3 (kNotImplemented)\n in Vst3ResultTest.cpp : " +
                      std::to_string(line));
    }
}
