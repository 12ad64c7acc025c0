// docs/extensions.md: if these fail, users don't learn of an extension, or switch one on that no host has.

#include "docs/MarkdownDocument.h"
#include "plugin/Extensions.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const MarkdownDocument& document() {
    static const MarkdownDocument page("docs/extensions.md");
    return page;
}

} // namespace

TEST(ExtensionsDocument, ListsTheExtensionsOfTheCodeInTheirOrder) {
    std::vector<DocumentTable::Row> expected;
    for (const auto& [extension, name] : extensionNames)
        expected.push_back({name});
    expectRows(document().table("The extensions", "Name"), {"Name"}, expected);
}

TEST(ExtensionsDocument, DescribesEachUnderAHeadingOfItsName) {
    for (const auto& [extension, name] : extensionNames)
        EXPECT_NE(document().getText().find("\n### " + std::string(name) + "\n"), std::string::npos) << name;
}

TEST(ExtensionsDocument, ShowsTheVariableWithNamesThatAHostHas) {
    const std::string variable = "TANVEX_PLUGIN_HOST_EXTENSIONS=";
    const std::string& text = document().getText();
    const size_t start = text.find(variable) + variable.size();
    const ParsedExtensions parsed = parseExtensions(text.substr(start, text.find('\n', start) - start));
    EXPECT_NE(parsed.enabled, ExtensionSet());
    EXPECT_TRUE(parsed.unknown.empty());
}
