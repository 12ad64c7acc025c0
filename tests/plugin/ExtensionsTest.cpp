// If these fail, a user's extensions stay off or others come on, or a misspelt one goes unnoticed.

#include "plugin/Extensions.h"

#include "host/PluginHost.h"
#include "support/CapturedOutput.h"
#include "support/ScopedEnvironment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <unistd.h>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr ExtensionSet none;
constexpr ExtensionSet both{Extension::text, Extension::bundle};

} // namespace

TEST(Extensions, EachHasOneNameAndOneBit) {
    std::set<std::string> names;
    ExtensionSet all;
    for (const auto& [extension, name] : extensionNames) {
        EXPECT_FALSE(all.contains(extension)) << name;
        all.insert(extension);
        names.insert(name);
    }
    EXPECT_EQ(names.size(), std::size(extensionNames));
}

TEST(Extensions, AreReadFromNamesBetweenCommas) {
    EXPECT_EQ(parseExtensions("").enabled, none);
    EXPECT_EQ(parseExtensions("text").enabled, ExtensionSet{Extension::text});
    EXPECT_EQ(parseExtensions("bundle").enabled, ExtensionSet{Extension::bundle});
    EXPECT_EQ(parseExtensions("text,bundle").enabled, both);
    EXPECT_EQ(parseExtensions("bundle,text,bundle").enabled, both);
    EXPECT_THAT(parseExtensions("text,bundle").unknown, IsEmpty());
}

TEST(Extensions, BlanksAroundNamesAndEmptyNamesAreIgnored) {
    for (const char* text :
         {" text , bundle ", ",,text,,bundle,,", "\ttext\n,\v\f\rbundle", " , text,bundle, ,"}) {
        EXPECT_EQ(parseExtensions(text).enabled, both) << text;
        EXPECT_THAT(parseExtensions(text).unknown, IsEmpty()) << text;
    }
    for (const char* text : {" ", ",", " , ,\t"}) {
        EXPECT_EQ(parseExtensions(text).enabled, none) << text;
        EXPECT_THAT(parseExtensions(text).unknown, IsEmpty()) << text;
    }
}

TEST(Extensions, UnknownNamesAreListedOnceInTheirOrder) {
    const ParsedExtensions parsed = parseExtensions("texts,TEXT, text bundle ,tex,bundle,texts,text\xE9");
    EXPECT_EQ(parsed.enabled, ExtensionSet{Extension::bundle});
    EXPECT_THAT(parsed.unknown, ElementsAre("texts", "TEXT", "text bundle", "tex", "text\xE9"));
}

TEST(Extensions, AreReadOnceInAProcess) {
    const ScopedExtensions extensions({Extension::text});
    const ScopedEnvironment environment("TANVEX_PLUGIN_HOST_EXTENSIONS", "bundle,unheard-of");
    const CapturedOutput errors(STDERR_FILENO);
    const Ref<PluginHost> host(new PluginHost(44100, 64));
    EXPECT_TRUE(isEnabled(Extension::text));
    EXPECT_FALSE(isEnabled(Extension::bundle));
    EXPECT_EQ(errors.text(), "");
}

TEST(Extensions, OfAScopeAreExactlyThoseAndEndWithIt) {
    const bool before = isEnabled(Extension::text);
    {
        const ScopedExtensions outer({Extension::text});
        EXPECT_TRUE(isEnabled(Extension::text));
        EXPECT_FALSE(isEnabled(Extension::bundle));
        {
            const ScopedExtensions inner(ExtensionSet{Extension::bundle});
            EXPECT_FALSE(isEnabled(Extension::text));
            std::thread([] { EXPECT_TRUE(isEnabled(Extension::bundle)); }).join();
        }
        EXPECT_TRUE(isEnabled(Extension::text));
        EXPECT_FALSE(isEnabled(Extension::bundle));
    }
    EXPECT_EQ(isEnabled(Extension::text), before);
}
