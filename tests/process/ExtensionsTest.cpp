// Extensions in a real host: if these fail, a plug-in with a symbol in its name still ends its host, or puts
// the stream to its client out of step; or a host without them isn't what it was.

#include "process/ProcessTest.h"

#include <sys/wait.h>

namespace {

constexpr const char* withText = "TANVEX_PLUGIN_HOST_EXTENSIONS=text";
const std::string effectPath = TEST_PLUGIN_DIRECTORY "/texts-beyond-the-wire.so";
const std::string modulePath = TEST_PLUGIN_DIRECTORY "/texts-beyond-the-wire.vst3";
const std::string missesPath = TEST_PLUGIN_DIRECTORY "/misses-a-latin1-symbol.so";

const Bytes noText = bytes("00 00 00 00");
const Bytes wing = bytes("80 00 00 06 00 46 00 6C 00 FC 00 67 00 65 00 6C"); // the Latin-1 of 'Flügel'
const Bytes replaced = bytes("80 00 00 02 FF FD 00 21");                     // U+FFFD and an exclamation mark
const Bytes micro = bytes("80 00 00 01 00 B5");

Bytes times(size_t count, const Bytes& part) {
    Bytes all;
    for (size_t i = 0; i < count; ++i)
        all = all + part;
    return all;
}

/// What stands behind the texts of a parameter at 0 with this id.
Bytes parameterAtZero(int32_t id) {
    return bytes("00 00 00 00") + little(id) + bytes("01 00 00") + little(0) + little(0);
}

void expectDeath(RawClient& client) {
    const int status = client.waitForEnd();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 255) << client.standardError();
}

} // namespace

TEST(TextExtension, LetsAnEffectsTextsArriveAndItsHostLive) {
    RawClient client({.environment = {withText}});
    client.send(createFrame(1, 7, effectPath));
    expectAsync(client, bytes("01 00 00 00 01") + little(7) + little(0) + little(1) + little(0) +
                            bytes("00") + little(0) +                                 // inputs
                            little(1) + replaced + bytes("00 00 00 01 00 00 00 00") + // output
                            little(2) + wing + noText + replaced + micro + noText + parameterAtZero(0) + //
                            replaced + noText + replaced + micro + replaced + parameterAtZero(1) + little(1) +
                            wing +                                    // program
                            bytes("01") + times(127, noText) + wing + // keys
                            little(0) + bytes("00 00 00"));
    EXPECT_EQ(client.threadNames().front(), "Fl\xC3\xBCgel");
    expectNothingMore(client);
}

TEST(TextExtension, LetsAnEffectsDisplaysArrive) {
    RawClient client({.environment = {withText}});
    createInstance(client, 7, effectPath);
    RawBlock block(client.getHostId(), 7, 0, 1, 2);
    block.watch(0);
    block.addChange(0, 0.5F);
    client.process(0, 7, 256);
    expectAsync(client, little(0) + bytes("01") + little(7) + little(0) + wing + replaced);
    expectNothingMore(client);
}

TEST(TextExtension, LetsAModulesTextsArriveAndItsHostLive) {
    RawClient client({.environment = {"TANVEX_PLUGIN_HOST_EXTENSIONS= bundle , text,"}});
    client.send(createFrame(1, 7, modulePath));
    const Bytes stereo = replaced + bytes("00 00 00 02 00 00 00 00 00 00 00 01");
    const Bytes twoReplaced = bytes("80 00 00 02 FF FD FF FD");
    const Bytes euros = bytes("80 00 00 55") + times(85, bytes("20 AC"));
    expectAsync(client, bytes("01 00 00 00 01") + little(7) + little(2) + little(2) + little(0) +
                            bytes("00") + little(1) + stereo + little(1) + stereo + little(2) + replaced +
                            replaced + twoReplaced + replaced + noText + parameterAtZero(0) + euros +
                            replaced + twoReplaced + replaced + noText + parameterAtZero(1) + little(0) +
                            bytes("00") + little(0) + bytes("00 00 00"));
    expectNothingMore(client);
}

TEST(TextExtension, LetsAFailureArriveThatNamesAMissingSymbol) {
    RawClient client({.environment = {withText}});
    client.send(createFrame(1, 7, missesPath));
    EXPECT_EQ(readable(client.readAsync(5)), "01 00 00 00 00 ");
    client.synchronise();
    const Bytes message = client.takeAsync();
    const Bytes end = bytes("00 66 00 6C 00 FC 00 67 00 65 00 6C");
    ASSERT_GT(message.size(), end.size());
    EXPECT_EQ(readable({message.end() - static_cast<ptrdiff_t>(end.size()), message.end()}), readable(end));
    createInstance(client, 8, effectPath);
}

TEST(TextExtension, OffLeavesSuchTextsAsTheyWere) {
    for (const std::string& path : {effectPath, modulePath}) {
        RawClient client({.environment = {"TANVEX_PLUGIN_HOST_EXTENSIONS=bundle"}});
        client.send(createFrame(1, 7, path));
        expectDeath(client);
    }
    RawClient client;
    client.send(createFrame(1, 7, missesPath));
    expectAsync(client, failureFrame(1, "Invalid UTF8 encoding"));
    client.send(createFrame(1, 7, effectPath));
    expectDeath(client);
}

TEST(Extensions, ThatAreUnknownAreOneLineOfTheHostsLogEach) {
    RawClient client({.environment = {"TANVEX_PLUGIN_HOST_EXTENSIONS=texts,,texts,TEXT"}});
    createInstance(client, 1, echoPath);
    createInstance(client, 2, echoPath);
    client.waitForError("TEXT\n");
    const std::string log = client.standardError();
    EXPECT_EQ(log.find("Unknown extension in TANVEX_PLUGIN_HOST_EXTENSIONS: texts\n"
                       "Unknown extension in TANVEX_PLUGIN_HOST_EXTENSIONS: TEXT\n"),
              0U)
        << log;
    EXPECT_EQ(log.find("Unknown extension", log.find("TEXT\n")), std::string::npos) << log;
}
