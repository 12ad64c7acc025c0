// If these fail, plug-ins hear something else from their host than they were written against: they refuse to
// load, run at the wrong rate, or crash before they are linked to an instance and after they were closed.

#include "vst2/Vst2Fixture.h"

#include <csignal>
#include <sys/mman.h>
#include <sys/resource.h>
#include <thread>

using namespace test_support;

namespace {

class Vst2HostCallback : public Vst2Test {
protected:
    // What the pointer of each call refers to: a text that `audioMasterCanDo` knows, with room for others.
    char text[64] = "sizeWindow";

    VstIntPtr askFor(AEffect* asking, VstInt32 opcode) {
        std::strcpy(text, "sizeWindow");
        return vst2HostCallback(asking, opcode, 0, 0, text, 0);
    }
};

constexpr int32_t shellId = -4242;

// What any effect hears, by opcode; 0 for the rest.
const std::map<VstInt32, VstIntPtr> unlinkedAnswers{
    {1, 2400}, {2, shellId}, {13, 1}, {15, 1}, {16, 48000}, {17, 64}, {32, 1},
    {33, 1},   {34, 2202},   {37, 1}, {38, 1}, {42, 1},     {43, 1},  {44, 1},
};

void setCurrentShellPluginId(PluginHost& host) {
    const Ref<Plugin> plugin = host.getPlugin(testPlugin("gives-no-effect"));
    EXPECT_THROW(plugin->createInstance(1, "-4242", false), PluginException);
}

VstIntPtr expectedAnswer(VstInt32 opcode) {
    const auto row = unlinkedAnswers.find(opcode);
    return row != unlinkedAnswers.end() ? row->second : 0;
}

// The child ends by the signal itself, without the report of a sanitizer and without a core file.
void takeSignalAsItComes(int signal) {
    std::signal(signal, SIG_DFL);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

} // namespace

TEST_F(Vst2HostCallback, ANullEffectIsAnsweredByTheTable) {
    setCurrentShellPluginId(*host);
    for (VstInt32 opcode = -2; opcode <= 60; ++opcode) {
        if (opcode != audioMasterGetTime) {
            EXPECT_EQ(askFor(nullptr, opcode), expectedAnswer(opcode)) << "opcode " << opcode;
        }
    }
}

TEST_F(Vst2HostCallback, AnUnlinkedEffectIsAnsweredByTheTable) {
    setCurrentShellPluginId(*host);
    AEffect unlinked{};
    for (VstInt32 opcode = -2; opcode <= 60; ++opcode)
        EXPECT_EQ(askFor(&unlinked, opcode), expectedAnswer(opcode)) << "opcode " << opcode;
}

TEST_F(Vst2HostCallback, ALinkedEffectIsAnsweredByTheTable) {
    setCurrentShellPluginId(*host);
    std::map<VstInt32, VstIntPtr> answers = unlinkedAnswers;
    // On the main thread. Time and latencies are 0 without an audio block.
    answers[audioMasterGetCurrentProcessLevel] = 1;
    for (VstInt32 opcode = -2; opcode <= 60; ++opcode) {
        if (opcode != audioMasterProcessEvents) {
            EXPECT_EQ(askFor(&effect.effect, opcode), answers[opcode]) << "opcode " << opcode;
        }
    }
    VstEvents none{};
    EXPECT_EQ(ask(audioMasterProcessEvents, 0, 0, &none), 1);
}

TEST_F(Vst2HostCallback, AnOpcodeAboveTheLastIsAnsweredWithZeroInAllThreeCases) {
    AEffect unlinked{};
    for (AEffect* asking : {static_cast<AEffect*>(nullptr), &unlinked, &effect.effect}) {
        EXPECT_EQ(askFor(asking, 45), 0);
        EXPECT_EQ(askFor(asking, 0x7FFFFFFF), 0);
    }
}

TEST_F(Vst2HostCallback, ANegativeOpcodeIsAnsweredWithZeroInAllThreeCases) {
    AEffect unlinked{};
    for (AEffect* asking : {static_cast<AEffect*>(nullptr), &unlinked, &effect.effect}) {
        EXPECT_EQ(askFor(asking, -1), 0);
        EXPECT_EQ(askFor(asking, -0x7FFFFFFF - 1), 0);
    }
}

TEST_F(Vst2HostCallback, AnOpcodeThatIsNoneIsAnsweredWithoutALookAtTheEffect) {
    // An effect in memory that can't be read, as one that was freed.
    void* gone = mmap(nullptr, sizeof(AEffect), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(gone, MAP_FAILED);
    for (const VstInt32 opcode : {-0x7FFFFFFF - 1, -1, 45, 0x7FFFFFFF})
        EXPECT_EQ(askFor(static_cast<AEffect*>(gone), opcode), 0) << "opcode " << opcode;
    munmap(gone, sizeof(AEffect));
}

TEST(Vst2HostCallbackDeathTest, ANullEffectThatAsksForTheTimeFaults) {
    EXPECT_EXIT(
        {
            takeSignalAsItComes(SIGSEGV);
            vst2HostCallback(nullptr, audioMasterGetTime, 0, 0, nullptr, 0);
        },
        testing::KilledBySignal(SIGSEGV), "");
}

TEST(Vst2HostCallbackWithoutHost, RateAndBlockSizeAreZeroWhenThereIsNoHost) {
    ASSERT_EQ(PluginHost::getCurrent(), nullptr);
    EXPECT_EQ(vst2HostCallback(nullptr, audioMasterGetSampleRate, 0, 0, nullptr, 0), 0);
    EXPECT_EQ(vst2HostCallback(nullptr, audioMasterGetBlockSize, 0, 0, nullptr, 0), 0);
    EXPECT_EQ(vst2HostCallback(nullptr, audioMasterVersion, 0, 0, nullptr, 0), 2400);
}

TEST_F(Vst2HostCallback, RateAndBlockSizeAreThoseOfTheLatestHostAlsoForALinkedEffect) {
    const Ref<PluginHost> later(new PluginHost(96000, 512));
    EXPECT_EQ(ask(audioMasterGetSampleRate), 96000);
    EXPECT_EQ(ask(audioMasterGetBlockSize), 512);
    EXPECT_EQ(vst2HostCallback(nullptr, audioMasterGetSampleRate, 0, 0, nullptr, 0), 96000);
}

TEST_F(Vst2HostCallback, TheVendorIsWrittenInFull) {
    AEffect unlinked{};
    for (AEffect* asking : {static_cast<AEffect*>(nullptr), &unlinked, &effect.effect}) {
        char vendor[64];
        std::memset(vendor, 'x', sizeof vendor);
        EXPECT_EQ(vst2HostCallback(asking, audioMasterGetVendorString, 0, 0, vendor, 0), 1);
        EXPECT_STREQ(vendor, "Tanvex");
        EXPECT_EQ(vendor[7], 'x');
    }
}

TEST_F(Vst2HostCallback, TheProductIsWrittenInFull) {
    AEffect unlinked{};
    for (AEffect* asking : {static_cast<AEffect*>(nullptr), &unlinked, &effect.effect}) {
        char product[64];
        std::memset(product, 'x', sizeof product);
        EXPECT_EQ(vst2HostCallback(asking, audioMasterGetProductString, 0, 0, product, 0), 1);
        EXPECT_STREQ(product, "Tanvex Studio");
        EXPECT_EQ(product[14], 'x');
    }
}

TEST_F(Vst2HostCallback, EveryKnownAbilityIsAnsweredWithOneInAllThreeCases) {
    AEffect unlinked{};
    for (AEffect* asking : {static_cast<AEffect*>(nullptr), &unlinked, &effect.effect}) {
        for (const char* ability :
             {"sendVstEvents", "sendVstMidiEvent", "sendVstSysexEvent", "sendVstTimeInfo", "receiveVstEvents",
              "receiveVstMidiEvent", "receiveVstSysexEvent", "startStopProcess", "sizeWindow", "supportShell",
              "shellCategory"}) {
            EXPECT_EQ(vst2HostCallback(asking, audioMasterCanDo, 0, 0, const_cast<char*>(ability), 0), 1)
                << ability;
        }
    }
}

TEST_F(Vst2HostCallback, AbilitiesAreCaseSensitiveAndWhole) {
    AEffect unlinked{};
    for (AEffect* asking : {static_cast<AEffect*>(nullptr), &unlinked, &effect.effect}) {
        for (const char* ability : {"SizeWindow", "sizewindow", "SIZEWINDOW", "sizeWindow ", "sizeWindo", "",
                                    "offline", "acceptIOChanges", "openFileSelector"}) {
            EXPECT_EQ(vst2HostCallback(asking, audioMasterCanDo, 0, 0, const_cast<char*>(ability), 0), 0)
                << ability;
        }
    }
}

TEST_F(Vst2HostCallback, QuestionsWithoutAPlaceForTheAnswerAreHarmless) {
    EXPECT_EQ(ask(audioMasterCanDo), 0);
    EXPECT_EQ(ask(audioMasterGetVendorString), 1);
    EXPECT_EQ(ask(audioMasterGetProductString), 1);
}

TEST_F(Vst2HostCallback, LatenciesAreThoseOfTheTransport) {
    makeAudio();
    context->getTransport().inputLatency = 111;
    context->getTransport().outputLatency = 222;
    EXPECT_EQ(ask(audioMasterGetInputLatency), 111);
    EXPECT_EQ(ask(audioMasterGetOutputLatency), 222);
    AEffect unlinked{};
    EXPECT_EQ(vst2HostCallback(&unlinked, audioMasterGetInputLatency, 0, 0, nullptr, 0), 0);
}

TEST_F(Vst2HostCallback, TheProcessLevelIsUserOnTheMainThread) {
    EXPECT_EQ(ask(audioMasterGetCurrentProcessLevel), 1);
}

TEST_F(Vst2HostCallback, TheProcessLevelOfAnotherThreadIsRealtimeFromTheStart) {
    VstIntPtr level = 0;
    std::thread([&] { level = ask(audioMasterGetCurrentProcessLevel); }).join();
    EXPECT_EQ(level, 2);
}

TEST_F(Vst2HostCallback, TheProcessLevelOfAnotherThreadFollowsTheLatestBlock) {
    makeAudio();
    startProcessing();
    std::vector<VstIntPtr> levels;
    effect.onProcess = [&](float**, float**, VstInt32) {
        levels.push_back(ask(audioMasterGetCurrentProcessLevel));
    };
    std::thread([&] {
        instance->process(16, true, false);
        levels.push_back(ask(audioMasterGetCurrentProcessLevel));
        instance->process(16, true, true);
        levels.push_back(ask(audioMasterGetCurrentProcessLevel));
    }).join();
    EXPECT_EQ(levels, (std::vector<VstIntPtr>{4, 4, 2, 2}));
}

TEST_F(Vst2HostCallback, AWindowSizeIsKeptForAWindowThatIsYetToOpen) {
    EXPECT_EQ(ask(audioMasterSizeWindow, 640, 480), 1);
    EXPECT_EQ(instance->windowWidth, 640);
    EXPECT_EQ(instance->windowHeight, 480);
}

TEST_F(Vst2HostCallback, AWindowSizeIsAppliedToAnOpenWindow) {
    openWindow();
    EXPECT_EQ(ask(audioMasterSizeWindow, 640, 480), 1);
    EXPECT_EQ(ask(audioMasterSizeWindow, 10, 10), 1);
    EXPECT_EQ(windowSizes, (TinyWindow::Sizes{{640, 480}, {10, 10}}));
}

TEST_F(Vst2HostCallback, AWindowSizeBelowTenIsStoredAndNotApplied) {
    openWindow();
    EXPECT_EQ(ask(audioMasterSizeWindow, 9, 300), 1);
    EXPECT_EQ(instance->windowWidth, 9);
    EXPECT_EQ(instance->windowHeight, 300);
    EXPECT_EQ(ask(audioMasterSizeWindow, 300, 9), 1);
    EXPECT_EQ(ask(audioMasterSizeWindow, 300, -300), 1);
    EXPECT_EQ(instance->windowHeight, -300);
    EXPECT_TRUE(windowSizes.empty());
}

TEST_F(Vst2HostCallback, AnyThreadMaySizeTheWindow) {
    openWindow();
    std::thread([&] { ask(audioMasterSizeWindow, 50, 60); }).join();
    EXPECT_EQ(windowSizes, (TinyWindow::Sizes{{50, 60}}));
}
