// If these fail, a bundle with a library for this architecture is loaded from another one's folder, or a wide
// text of a module ends its host.

#include "plugin/Extensions.h"
#include "support/TestDirectory.h"
#include "vst3/Vst3Fixture.h"
#include "vst3/Vst3Text.h"

#include <filesystem>
#include <string_view>

using namespace test_support;

namespace {

namespace fs = std::filesystem;

constexpr bool is32Bit = sizeof(void*) == 4;
constexpr const char* ownFolder = is32Bit ? "i386-linux" : "x86_64-linux";
constexpr const char* replacement = "\xEF\xBF\xBD";

class Vst3BundleExtension : public Vst3Test {
protected:
    std::string addLibrary(const std::string& folder) {
        const std::string path = libraryIn(folder);
        fs::create_directories(fs::path(path).parent_path());
        fs::create_symlink(testModule("without-entry"), path);
        return path;
    }

    std::string libraryIn(const std::string& folder) const {
        return bundle + "/Contents/" + folder + "/Foo.so";
    }

    std::string loadedPath() { return getPlugin(bundle)->getPath().toStdString(); }

    TestDirectory directory;
    const std::string bundle = directory / "Foo.vst3";
    const ScopedExtensions extensions{ExtensionSet{Extension::bundle}};
};

std::string textOf(std::u16string_view units) {
    Vst::String128 text = {};
    units.copy(text, std::size(text));
    return pluginText(text).toStdString();
}

std::string copied(std::u16string_view units, int32_t room) {
    Vst::String128 text = {};
    units.copy(text, std::size(text));
    char buffer[16] = {};
    copyPluginText(text, buffer, room);
    return {buffer, strnlen(buffer, sizeof buffer)};
}

} // namespace

TEST_F(Vst3BundleExtension, TheFolderOfTheOwnArchitectureComesFirst) {
    addLibrary("x86_64-linux");
    EXPECT_EQ(loadedPath(), libraryIn("x86_64-linux"));
    if (!is32Bit) {
        addLibrary("i386-linux");
        addLibrary("i686-linux");
        EXPECT_EQ(loadedPath(), libraryIn("x86_64-linux"));
        return;
    }
    addLibrary("i686-linux");
    EXPECT_EQ(loadedPath(), libraryIn("i686-linux"));
    addLibrary("i386-linux");
    EXPECT_EQ(loadedPath(), libraryIn("i386-linux"));
}

TEST_F(Vst3BundleExtension, OnlyARegularFileCounts) {
    fs::create_directories(libraryIn("i386-linux"));
    fs::create_directories(fs::path(libraryIn("i686-linux")).parent_path());
    fs::create_symlink("nothing", libraryIn("i686-linux"));
    addLibrary("x86_64-linux");
    EXPECT_EQ(loadedPath(), libraryIn("x86_64-linux"));
}

TEST_F(Vst3BundleExtension, ABundleWithoutALibraryFailsAsWithoutTheExtension) {
    const std::string library = libraryIn("x86_64-linux");
    EXPECT_EQ(failureOf([&] { getPlugin(bundle); }),
              "Failed to load VST plug-in " + library + ": " + library +
                  ": cannot open shared object file: No such file or directory");
}

TEST_F(Vst3BundleExtension, AFileIsLoadedAsItStandsAlsoBesideABundlesFolders) {
    const std::string path = directory / "File.vst3";
    fs::copy_file(testModule("without-entry"), path);
    EXPECT_EQ(getPlugin(path)->getPath(), path.c_str());
}

TEST_F(Vst3BundleExtension, OffIsTheFixedFolderAlone) {
    const ScopedExtensions none(ExtensionSet{Extension::text});
    addLibrary(ownFolder);
    addLibrary("i686-linux");
    if (is32Bit)
        addLibrary("x86_64-linux");
    EXPECT_EQ(loadedPath(), libraryIn("x86_64-linux"));
}

TEST(Vst3TextExtension, ReplacesACharacterAboveTheBasicPlaneOnce) {
    const ScopedExtensions extensions(ExtensionSet{Extension::text});
    EXPECT_EQ(textOf(u"\U0001F3B9!"), std::string(replacement) + "!");
    EXPECT_EQ(textOf(u"\xD83C\xD83C\xDFB9"), std::string(replacement) + replacement);
    EXPECT_EQ(textOf(u"\U00010000!"), std::string(replacement) + "!") << "the first one there is";
    EXPECT_EQ(textOf(u"a\xDFB9"), "a" + std::string(replacement));
    EXPECT_EQ(textOf(u"\u00DC\uE000\uFFFF"), "\xC3\x9C\xEE\x80\x80\xEF\xBF\xBF");
}

TEST(Vst3TextExtension, CutsACopiedTextBetweenCharacters) {
    const ScopedExtensions extensions(ExtensionSet{Extension::text});
    EXPECT_EQ(copied(u"\u20AC\u20AC", 5), "\xE2\x82\xAC");
    EXPECT_EQ(copied(u"\u20AC\u20AC", 6), "\xE2\x82\xAC\xE2\x82\xAC");
    EXPECT_EQ(copied(u"\u20AC", 2), "");
    EXPECT_EQ(copied(u"a\u00FC", 2), "a");
    EXPECT_EQ(copied(u"abc", 2), "ab");
    EXPECT_EQ(copied(u"abc", 0), "");
}

TEST(Vst3TextExtension, OffCutsACopiedTextByItsBytes) {
    const ScopedExtensions none((ExtensionSet()));
    EXPECT_EQ(copied(u"\u20AC\u20AC", 5), "\xE2\x82\xAC\xE2\x82");
    EXPECT_EQ(textOf(u"\U0001F3B9!"), "\xF0\x9F\x8E\xB9!");
}
