// What a client's calls become on the pipes, and what they answer. If these fail, clients and hosts of
// different builds no longer understand each other, or a host starts with the wrong numbers or the wrong
// libraries.

#include "ClientTest.h"

#include "plugin/PluginException.h"
#include "support/FailureText.h"

#include <csignal>
#include <fstream>
#include <functional>

using namespace test_support;

namespace {

constexpr const char* shutdownFrame = "0c";

struct Operation {
    const char* name;
    std::function<void(RemotePluginHostProxy&)> call;
    const char* frame;
};

void PrintTo(const Operation& operation, std::ostream* stream) {
    *stream << operation.name;
}

class ProxyRequestTest : public ClientTest, public testing::WithParamInterface<Operation> {};

TEST_P(ProxyRequestTest, TheOperationIsThisFrame) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    GetParam().call(*proxy);
    shutDown(*proxy);
    EXPECT_EQ(standIn.received("main"), std::string(GetParam().frame) + shutdownFrame);
}

/// Each place of a text in a request.
const Operation textOperations[] = {
    {"CreateWithPath",
     [](auto& proxy) { proxy.createPluginInstance("/\U0001F600.so", "", "", false, nullptr, nullptr); }, ""},
    {"CreateWithPreset",
     [](auto& proxy) { proxy.createPluginInstance("", "\U0001F600", "", false, nullptr, nullptr); }, ""},
    {"CreateWithIdentifier",
     [](auto& proxy) { proxy.createPluginInstance("", "", "\U0001F600", false, nullptr, nullptr); }, ""},
    {"OpenGui", [](auto& proxy) { proxy.openGUI(5, 0, true, "\U0001F600"); }, ""},
    {"LoadPreset", [](auto& proxy) { proxy.loadPreset(5, "\U0001F600", nullptr); }, ""},
    {"SavePreset", [](auto& proxy) { proxy.savePreset(5, "\U0001F600", nullptr); }, ""},
    {"SetWindowTitle", [](auto& proxy) { proxy.setWindowTitle(5, "\U0001F600"); }, ""},
};

class TextRequestTest : public ProxyRequestTest {};

TEST_P(TextRequestTest, ACharacterAboveTheSixteenBitsOfTheWireIsRefusedBeforeAnythingIsSent) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    EXPECT_EQ(lossText([&] { GetParam().call(*proxy); }),
              "Text can't be sent to plug-in host: it has the character U+1F600, which is above U+FFFF");
    EXPECT_EQ(lossText([&] { proxy->loadPreset(5, "\U00010000", nullptr); }),
              "Text can't be sent to plug-in host: it has the character U+10000, which is above U+FFFF");
    EXPECT_FALSE(proxy->isClosed());
    EXPECT_FALSE(proxy->findInstance(1)) << "the refused instance is kept";
    // The highest that can be sent. The refused request has taken no number and waits for no reply.
    proxy->loadPreset(5, "\uFFFF", nullptr);
    shutDown(*proxy);
    EXPECT_EQ(standIn.received("main"), "05"
                                        "01000000"
                                        "05000000"
                                        "80000001ffff0c");
    EXPECT_EQ(manager->count(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Places, TextRequestTest, testing::ValuesIn(textOperations),
                         [](const auto& suite) { return suite.param.name; });

const Operation operations[] = {
    {"CreatePluginInstance",
     [](auto& proxy) { proxy.createPluginInstance("/p.so", "/b", "-7", true, nullptr, nullptr); },
     "00"
     "01000000" // requestId
     "01000000" // instanceId
     "00000005"
     "2f702e736f" // path
     "00000002"
     "2d37" // identifier
     "00000002"
     "2f62" // preset
     "01"},
    {"DestroyPluginInstance", [](auto& proxy) { proxy.destroyPluginInstance(5); }, "0105000000"},
    {"OpenGui", [](auto& proxy) { proxy.openGUI(5, 0x1122334455667788, true, "T"); },
     "0205000000"
     "8877665544332211"
     "01"
     "0000000154"},
    {"CloseGui", [](auto& proxy) { proxy.closeGUI(5); }, "0305000000"},
    {"UpdateIo", [](auto& proxy) { proxy.updateIO(3, nullptr); },
     "04"
     "01000000"
     "03000000"},
    {"LoadPreset", [](auto& proxy) { proxy.loadPreset(5, "/a", nullptr); },
     "05"
     "01000000"
     "05000000"
     "000000022f61"},
    {"SavePreset", [](auto& proxy) { proxy.savePreset(5, "/a", nullptr); },
     "06"
     "01000000"
     "05000000"
     "000000022f61"},
    {"SetCurrentProgram", [](auto& proxy) { proxy.setCurrentProgram(5, 2); }, "070500000002000000"},
    {"ShowAllGuis", [](auto& proxy) { proxy.showAllGUIs(); }, "08"},
    {"HideAllGuis", [](auto& proxy) { proxy.hideAllGUIs(); }, "09"},
    {"ActivateAppGui", [](auto& proxy) { proxy.activateAppGUI(); }, "0a"},
    {"DeactivateAppGui", [](auto& proxy) { proxy.deactivateAppGUI(); }, "0b"},
    {"SetWindowTitle", [](auto& proxy) { proxy.setWindowTitle(5, "\u00e9"); },
     "0e05000000"
     "8000000100e9"},
    {"SetWindowPosition", [](auto& proxy) { proxy.setWindowPosition(5, 10, 20, 300, 200); },
     "0f05000000"
     "0000000a"
     "00000014"
     "0000012c"
     "000000c8"},
    {"RemovePluginInstanceWhichSendsNothing", [](auto& proxy) { proxy.removePluginInstance(5); }, ""},
    {"ShutdownWhichIsSentOnce", [](auto& proxy) { proxy.shutdown(); }, ""},
};

INSTANTIATE_TEST_SUITE_P(Each, ProxyRequestTest, testing::ValuesIn(operations),
                         [](const auto& instance) { return std::string(instance.param.name); });

class ProxyRequestsTest : public ClientTest {};

TEST_F(ProxyRequestsTest, APingIsOneByteAndReturnsWithItsAnswer) {
    const StandIn standIn("connect read:main:1 write:main:01");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    proxy->ping();
    EXPECT_EQ(standIn.received("main"), "0d");
}

TEST_F(ProxyRequestsTest, ASynchronousFailureHasTheHostsWordsAndLeavesTheConnectionUp) {
    const StandIn standIn("connect read:main:1 write:main:00000000046e6f7065 read:main:1 write:main:01");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    try {
        proxy->ping();
        ADD_FAILURE() << "no failure";
    } catch (const PluginException& exception) {
        EXPECT_EQ(exception.getMessage().toStdString(), "nope");
    }
    EXPECT_FALSE(proxy->isClosed());
    proxy->ping();
    EXPECT_EQ(manager->count(), 0u);
}

TEST_F(ProxyRequestsTest, AnAnswerThatIsNeitherTrueNorFalseLosesTheConnection) {
    const StandIn standIn("connect read:main:1 write:main:02 wait");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    EXPECT_EQ(lossText([&] { proxy->ping(); }), lostText);
    EXPECT_TRUE(proxy->isClosed());
    EXPECT_EQ(manager->count(), 1u);
}

TEST_F(ProxyRequestsTest, InstancesAndRequestsAreCountedFromOneForEachProxy) {
    const StandIn standIn("connect");
    for (int round = 0; round < 2; ++round) {
        const Ref<RemotePluginHostProxy> proxy = startStandIn();
        EXPECT_EQ(proxy->createPluginInstance("", "", "", false, nullptr, nullptr), 1);
        EXPECT_EQ(proxy->createPluginInstance("", "", "", false, nullptr, nullptr), 2);
        proxy->updateIO(2, nullptr);
        shutDown(*proxy);
    }
    const std::string oneRound = "00"
                                 "01000000"
                                 "01000000"
                                 "000000000000000000000000"
                                 "00"
                                 "00"
                                 "02000000"
                                 "02000000"
                                 "000000000000000000000000"
                                 "00"
                                 "04"
                                 "03000000"
                                 "02000000"
                                 "0c";
    EXPECT_EQ(standIn.received("main"), oneRound + oneRound);
}

TEST_F(ProxyRequestsTest, RequestsWithoutAReplyUseUpNoRequestId) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    proxy->showAllGUIs();
    proxy->updateIO(1, nullptr);
    shutDown(*proxy);
    EXPECT_EQ(standIn.received("main"), "08"
                                        "04"
                                        "01000000"
                                        "01000000"
                                        "0c");
}

TEST_F(ProxyRequestsTest, EachProxyGetsTheNextHostIdOfTheProcess) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> first = startStandIn();
    const Ref<RemotePluginHostProxy> second = startStandIn();
    EXPECT_GE(first->getHostId(), 1);
    EXPECT_EQ(second->getHostId(), first->getHostId() + 1);
}

TEST_F(ProxyRequestsTest, AnInstanceIsKnownUntilItIsRemoved) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<RecordingListener> listener(new RecordingListener);
    const int32_t id = proxy->createPluginInstance("", "", "", false, listener, nullptr);
    ASSERT_TRUE(proxy->findInstance(id));
    EXPECT_EQ(proxy->findInstance(id)->instanceId, id);
    EXPECT_EQ(proxy->findInstance(id)->listener.get(), listener.get());
    EXPECT_FALSE(proxy->findInstance(id + 1));
    proxy->removePluginInstance(id);
    EXPECT_FALSE(proxy->findInstance(id));
}

std::string contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The variables of a running process, each as "NAME=value" between line feeds.
std::string environmentOf(pid_t process) {
    std::string text = "\n" + contents("/proc/" + std::to_string(process) + "/environ");
    for (char& character : text)
        character = character == '\0' ? '\n' : character;
    return text;
}

TEST_F(ProxyRequestsTest, TheHostGetsItsNumbersOnTheCommandLine) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    std::string expected = STAND_IN_HOST_EXECUTABLE;
    for (const std::string& argument : {std::string("host"), std::string("44100"), std::string("256"),
                                        std::to_string(proxy->getHostId()), std::string("1")})
        expected += '\0' + argument;
    EXPECT_EQ(contents("/proc/" + std::to_string(proxy->getChildPid()) + "/cmdline"), expected + '\0');
    EXPECT_EQ(proxy->getSampleRate(), 44100);
    EXPECT_EQ(proxy->getBlockSize(), 256);
}

constexpr const char* libraryPath = "TANVEX_PLUGIN_HOST_LIBRARY_PATH";

TEST_F(ProxyRequestsTest, WithoutALibraryPathTheHostInheritsTheEnvironment) {
    const ScopedEnvironment none(libraryPath, nullptr);
    const ScopedEnvironment own("LD_LIBRARY_PATH", "/own/libraries");
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const std::string environment = environmentOf(proxy->getChildPid());
    EXPECT_EQ(occurrences(environment, "\nLD_LIBRARY_PATH=/own/libraries\n"), 1u);
    EXPECT_EQ(occurrences(environment, libraryPath), 0u);
}

TEST_F(ProxyRequestsTest, TheLibraryPathReachesTheHostUnderTheLoadersNameOnly) {
    const ScopedEnvironment set(libraryPath, "/plug-in/libraries:/m\xc3\xb6re");
    const ScopedEnvironment own("LD_LIBRARY_PATH", "/own/libraries");
    const ScopedEnvironment other("PLUGIN_HOST_TEST_VARIABLE", "a=b=\xff");
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const std::string environment = environmentOf(proxy->getChildPid());
    EXPECT_EQ(occurrences(environment, "\nLD_LIBRARY_PATH=/plug-in/libraries:/m\xc3\xb6re\n"), 1u);
    EXPECT_EQ(occurrences(environment, "\nLD_LIBRARY_PATH="), 1u);
    EXPECT_EQ(occurrences(environment, libraryPath), 0u);
    EXPECT_EQ(occurrences(environment, "\nPLUGIN_HOST_TEST_VARIABLE=a=b=\xff\n"), 1u);
}

TEST_F(ProxyRequestsTest, AnEmptyLibraryPathGivesTheHostAnEmptyOne) {
    const ScopedEnvironment set(libraryPath, "");
    const ScopedEnvironment own("LD_LIBRARY_PATH", "/own/libraries");
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const std::string environment = environmentOf(proxy->getChildPid());
    EXPECT_EQ(occurrences(environment, "\nLD_LIBRARY_PATH=\n"), 1u);
    EXPECT_EQ(occurrences(environment, "/own/libraries"), 0u);
    EXPECT_EQ(occurrences(environment, libraryPath), 0u);
}

TEST(HostEnvironmentTest, AnEntryWithoutAnEqualsSignIsANameWithAnEmptyValue) {
    const char* const entries[] = {"A=1", "NO_VALUE", "B=x=y", "EMPTY=", nullptr};
    EXPECT_EQ(hostEnvironment(entries), (std::map<std::string, std::string>{
                                            {"A", "1"}, {"NO_VALUE", ""}, {"B", "x=y"}, {"EMPTY", ""}}));
}

TEST(HostEnvironmentTest, TheLibraryPathTakesThePlaceOfTheLoadersOwn) {
    const char* const entries[] = {"LD_LIBRARY_PATH=/own", "TANVEX_PLUGIN_HOST_LIBRARY_PATH=/plug-ins",
                                   nullptr};
    EXPECT_EQ(hostEnvironment(entries),
              (std::map<std::string, std::string>{{"LD_LIBRARY_PATH", "/plug-ins"}}));
}

/// Restores what SIGPIPE did before.
class ScopedBrokenPipeAction {
public:
    explicit ScopedBrokenPipeAction(void (*handler)(int)) : former(std::signal(SIGPIPE, handler)) {}
    ~ScopedBrokenPipeAction() { std::signal(SIGPIPE, former); }
    ScopedBrokenPipeAction(const ScopedBrokenPipeAction&) = delete;
    ScopedBrokenPipeAction& operator=(const ScopedBrokenPipeAction&) = delete;

    static auto current() {
        struct sigaction action {};
        sigaction(SIGPIPE, nullptr, &action);
        return action.sa_handler;
    }

private:
    void (*former)(int);
};

TEST_F(ProxyRequestsTest, ABrokenPipeIsIgnoredWhereItStillHadItsDefault) {
    const ScopedBrokenPipeAction action(SIG_DFL);
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    EXPECT_EQ(ScopedBrokenPipeAction::current(), SIG_IGN);
}

void ownHandler(int) {}

TEST_F(ProxyRequestsTest, AHandlerOfTheClientForBrokenPipesStays) {
    const ScopedBrokenPipeAction action(ownHandler);
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    EXPECT_EQ(ScopedBrokenPipeAction::current(), ownHandler);
}

} // namespace
