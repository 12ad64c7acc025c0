// Texts of plug-ins: if these fail, a name with an umlaut or a symbol ends a host, or is shown as another
// one.

#include "plugin/PluginText.h"

#include "core/MemoryInputStream.h"
#include "core/StdStreams.h"
#include "plugin/Extensions.h"
#include "support/FailureText.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

using namespace test_support;

namespace {

constexpr const char* replacement = "\xEF\xBF\xBD";

std::string textOf(std::string_view bytes) {
    return pluginText(bytes.data(), static_cast<int32_t>(bytes.size())).toStdString();
}

/// The text after a way over the wire with another one behind it, which shows whether the reader is in step.
std::string received(const String& text) {
    std::string frame;
    base::core::StdStringOutputStream sent(&frame);
    retain(&sent);
    sent.writeString(text);
    sent.writeString("next");
    base::core::MemoryInputStream stream(frame.data(), frame.size());
    retain(&stream);
    String arrived = stream.readString();
    EXPECT_EQ(stream.readString(), "next");
    return arrived.toStdString();
}

class PluginText : public testing::Test {
protected:
    const ScopedExtensions extensions{ExtensionSet{Extension::text}};
};

class PluginTextWithoutExtension : public testing::Test {
protected:
    const ScopedExtensions extensions{ExtensionSet{Extension::bundle}};
};

} // namespace

TEST_F(PluginTextWithoutExtension, IsUtf8AndAFailureOtherwise) {
    EXPECT_EQ(textOf("Gain"), "Gain");
    EXPECT_EQ(textOf("\xC3\x9C"), "\xC3\x9C");
    EXPECT_EQ(failureText<IOException>([] { textOf("Fl\xFCgel"); }), "Invalid UTF8 encoding");
    EXPECT_EQ(failureText<IOException>([] { textOf("\xC3("); }), "Invalid UTF8 encoding");
    EXPECT_EQ(failureText<base::core::EOSException>([] { textOf("Caf\xE9"); }), "End of stream");
    EXPECT_EQ(failureText<IOException>([] { pluginText("Fl\xFCgel"); }), "Invalid UTF8 encoding");
}

TEST_F(PluginTextWithoutExtension, KeepsEachCharacter) {
    EXPECT_EQ(textOf("\xF0\x9F\x8E\xB9!"), "\xF0\x9F\x8E\xB9!");
    EXPECT_EQ(textOf("a\xED\xA0\xBD"), "a\xED\xA0\xBD");
    EXPECT_EQ(pluginText("\xF0\x9F\x8E\xB9!").toStdString(), "\xF0\x9F\x8E\xB9!");
}

TEST_F(PluginText, ThatIsUtf8StaysAsItIs) {
    for (const char* text : {"", "Gain",
                             "\xC3\x9C"
                             "bersteuerung \xE2\x99\xAA",
                             "\xEF\xBF\xBF", "\xEE\x80\x80", "\xED\x9F\xBF"}) {
        EXPECT_EQ(textOf(text), text);
        EXPECT_EQ(pluginText(text).toStdString(), text);
    }
}

TEST_F(PluginText, ThatIsNoUtf8IsReadAsLatin1) {
    EXPECT_EQ(textOf("Fl\xFCgel"), "Fl\xC3\xBCgel");
    EXPECT_EQ(textOf("Caf\xE9"), "Caf\xC3\xA9") << "a sequence that the end cuts off";
    EXPECT_EQ(textOf("\x80\xFF"), "\xC2\x80\xC3\xBF");
    EXPECT_EQ(textOf("\xC3("), "\xC3\x83(");
    EXPECT_EQ(textOf("\xC3\xBC \xFC"), "\xC3\x83\xC2\xBC \xC3\xBC") << "the whole text, not a part";
    EXPECT_EQ(pluginText("Fl\xFCgel").toStdString(), "Fl\xC3\xBCgel");
}

TEST_F(PluginText, EndsAtItsTerminatorOrWithItsBuffer) {
    EXPECT_EQ(textOf(std::string_view("\xFC\0\xE9", 3)), "\xC3\xBC");
    EXPECT_EQ(textOf(std::string(256, '\xE9')).size(), 512U);
    EXPECT_EQ(pluginText(nullptr).toStdString(), "");
}

TEST_F(PluginText, AboveTheBasicPlaneBecomesTheReplacement) {
    EXPECT_EQ(textOf("\xF0\x9F\x8E\xB9 Key"), std::string(replacement) + " Key");
    EXPECT_EQ(textOf("\xF0\x90\x80\x80"), replacement);
    EXPECT_EQ(textOf("\xF7\xBF\xBF\xBF"), replacement) << "above what Unicode has";
}

TEST_F(PluginText, SurrogatesInUtf8BecomeTheReplacement) {
    EXPECT_EQ(textOf("a\xED\xA0\xBD"), "a" + std::string(replacement));
    EXPECT_EQ(textOf("\xED\xB8\x80z"), std::string(replacement) + "z");
    EXPECT_EQ(textOf("\xED\xA0\xBD\xED\xB8\x80z"), std::string(replacement) + "z") << "one character";
    EXPECT_EQ(textOf("\xED\xA0\xBD\xED\xA0\xBD\xED\xB8\x80"), std::string(replacement) + replacement);
}

TEST_F(PluginText, ArrivesAndLeavesTheReaderInStep) {
    for (const char* text : {"Fl\xFCgel", "\xF0\x9F\x8E\xB9 Key", "a\xED\xA0\xBD",
                             "\xED\xA0\xBD\xED\xB8\x80z", "\xED\xA0\x80", "\xF7\xBF\xBF\xBF", "\xFF\xFE"}) {
        const String own = pluginText(text);
        EXPECT_EQ(received(own), own.toStdString()) << text;
    }
}

TEST_F(PluginText, ThatCanBeSentIsTheSameText) {
    const String text("\xC3\x9C"
                      "ber");
    EXPECT_EQ(sendableText(text), text);
    EXPECT_TRUE(sendableText(String()).isEmpty());
}
