// If these fail, a sound that the user has saved is lost, or no other program can read it.

#include "vst3-processing/Vst3PresetTest.h"

#include <csignal>
#include <fcntl.h>
#include <public.sdk/source/common/memorystream.h>
#include <public.sdk/source/vst/vstpresetfile.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace test_support;
using testing::ElementsAre;

namespace {

class Vst3SavePreset : public Vst3PresetTest {};

/// A disk that is full as soon as a file has so many bytes, until it is freed.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &former);
        const rlimit full{bytes, former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
    }
    ~FullDisk() {
        free();
        std::signal(SIGXFSZ, formerAction);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

    void free() const { setrlimit(RLIMIT_FSIZE, &former); }

private:
    rlimit former{};
    // So that a write fails instead of ending the process.
    void (*formerAction)(int) = std::signal(SIGXFSZ, SIG_IGN);
};

} // namespace

TEST_F(Vst3SavePreset, AFileIsWrittenByteByByteAsItIsLaidOut) {
    createForPresets();
    using namespace std::string_literals;
    EXPECT_EQ(save(), "VST3"s + "\x01\x00\x00\x00"s +                     // version
                          "00112233445566778899AABBCCDDEEFF"s +           // class
                          "\x3E\x00\x00\x00\x00\x00\x00\x00"s +           // the list's offset
                          "component!"s +                                 // 48
                          "ctrl"s +                                       // 58
                          "List"s + "\x02\x00\x00\x00"s +                 // 62
                          "Comp"s + "\x30\x00\x00\x00\x00\x00\x00\x00"s + // offset 48
                          "\x0A\x00\x00\x00\x00\x00\x00\x00"s +           // 10 bytes
                          "Cont"s + "\x3A\x00\x00\x00\x00\x00\x00\x00"s + // offset 58
                          "\x04\x00\x00\x00\x00\x00\x00\x00"s);           // 4 bytes
}

TEST_F(Vst3SavePreset, AControllerInsideOfTheComponentHasAChunkOfItsOwn) {
    component.controllerClass = FUID();
    component.inside = &controller;
    createForPresets();
    EXPECT_EQ(save(), goodPreset());
}

TEST_F(Vst3SavePreset, WithoutAControllerThereIsOneChunk) {
    component.controllerClass = FUID();
    createForPresets();
    EXPECT_EQ(save(), presetFile({.chunks = "component!", .entries = {{"Comp", 48, 10}}}));
}

TEST_F(Vst3SavePreset, AComponentThatKeepsNoStateHasAnEmptyChunk) {
    component.state.bytes = "";
    component.state.getAnswer = kNotImplemented;
    createForPresets();
    EXPECT_EQ(save(), presetFile({.chunks = "ctrl", .entries = {{"Comp", 48, 0}, {"Cont", 48, 4}}}));
}

TEST_F(Vst3SavePreset, AControllerThatKeepsNoStateHasAnEmptyChunk) {
    controller.state.bytes = "";
    controller.state.getAnswer = kNotImplemented;
    createForPresets();
    EXPECT_EQ(save(), presetFile({.chunks = "component!", .entries = {{"Comp", 48, 10}, {"Cont", 58, 0}}}));
}

TEST_F(Vst3SavePreset, ALargeStateIsKeptWhole) {
    std::string state;
    for (int32_t i = 0; i < 300000; ++i)
        state += static_cast<char>(i * 7);
    component.state.bytes = state;
    createForPresets();
    EXPECT_EQ(save(),
              presetFile({.chunks = state + "ctrl", .entries = {{"Comp", 48, 300000}, {"Cont", 300048, 4}}}));
}

TEST_F(Vst3SavePreset, AnOlderFileIsReplaced) {
    createForPresets();
    writeFile(path, std::string(10000, 'x'));
    EXPECT_EQ(save(), goodPreset());
}

TEST_F(Vst3SavePreset, APathIsUtf8) {
    createForPresets();
    saveTo(folder / "Größe €.vstpreset");
    EXPECT_EQ(readFile(folder / "Größe €.vstpreset"), goodPreset());
}

TEST_F(Vst3SavePreset, APathThatCannotBeMadeIsToldWithTheFile) {
    createForPresets();
    const std::string missing = folder / "missing/some.vstpreset";
    EXPECT_EQ(failureOf([&] { saveTo(missing); }), "Error opening VST3 preset for writing: " + missing);
    EXPECT_EQ(failureOf([&] { saveTo(folder / ""); }),
              "Error opening VST3 preset for writing: " + folder / "");
    EXPECT_EQ(failureOf([&] { saveTo(""); }), "Error opening VST3 preset for writing: ");
}

TEST_F(Vst3SavePreset, AComponentThatRefusesLeavesThePartOfTheFileThatWasWritten) {
    component.state.getAnswer = kResultFalse;
    createForPresets();
    writeFile(path, std::string(10000, 'x'));
    EXPECT_EQ(failureOf([&] { saveTo(path); }), "Error saving VST3 preset: " + path);
    EXPECT_EQ(readFile(path),
              "VST3" + int32Bytes(1) + "00112233445566778899AABBCCDDEEFF" + int64Bytes(0) + "component!");
}

TEST_F(Vst3SavePreset, AControllerThatRefusesLeavesThePartOfTheFileThatWasWritten) {
    controller.state.getAnswer = Steinberg::kInternalError;
    createForPresets();
    EXPECT_EQ(failureOf([&] { saveTo(path); }), "Error saving VST3 preset: " + path);
    EXPECT_EQ(readFile(path),
              "VST3" + int32Bytes(1) + "00112233445566778899AABBCCDDEEFF" + int64Bytes(0) + "component!ctrl");
}

TEST_F(Vst3SavePreset, AFullDiskIsToldWithTheFile) {
    createForPresets();
    EXPECT_EQ(failureOf([&] { saveTo("/dev/full"); }), "Error saving VST3 preset: /dev/full");
}

TEST_F(Vst3SavePreset, ADiskThatFillsWithTheListIsToldWithTheFile) {
    createForPresets();
    const size_t whole = goodPreset().size();
    for (const size_t room : {size_t{100}, whole - 1}) {
        const FullDisk disk(room);
        EXPECT_EQ(failureOf([&] { saveTo(path); }), "Error saving VST3 preset: " + path);
        EXPECT_EQ(readFile(path), goodPreset().substr(0, room));
    }
    const FullDisk disk(whole);
    EXPECT_EQ(save(), goodPreset());
}

TEST_F(Vst3SavePreset, AStateThatFilledTheDiskIsToldAlsoIfThereIsRoomAgain) {
    component.state.bytes = std::string(300000, 'x');
    createForPresets();
    const FullDisk disk(100);
    // Called behind the component's state, whose component ignores that it was cut.
    controller.state.onGet = [&] { disk.free(); };
    EXPECT_EQ(failureOf([&] { saveTo(path); }), "Error saving VST3 preset: " + path);
}

// The sanitizer's check of dynamic types opens a pipe to look at an object, and takes a failure for a broken
// object.
#ifndef __SANITIZE_ADDRESS__

TEST_F(Vst3SavePreset, AFileIsSavedAlsoIfNoDescriptorIsLeftBesideItsOwn) {
    createForPresets();
    rlimit former{};
    getrlimit(RLIMIT_NOFILE, &former);
    const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(next);
    const rlimit oneMore{static_cast<rlim_t>(next) + 1, former.rlim_max};
    setrlimit(RLIMIT_NOFILE, &oneMore);
    const std::string failure = failureOf([&] { saveTo(path); });
    setrlimit(RLIMIT_NOFILE, &former);
    EXPECT_EQ(failure, "no failure");
    EXPECT_EQ(readFile(path), goodPreset());
}

#endif

TEST_F(Vst3SavePreset, AnInstanceWithoutAComponentCannotBeSaved) {
    create();
    const Ref<Vst3PluginInstance> closed(new Vst3PluginInstance(host.get(), plugin.get(), 8, "", false));
    EXPECT_EQ(failureOf([&] { closed->savePreset(path.c_str()); }), "Error saving VST3 preset: " + path);
    closed->loadPreset(path.c_str());
}

TEST_F(Vst3SavePreset, SavingLeavesThePluginAsItIs) {
    startProcessing();
    announce();
    save();
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::processing);
    EXPECT_THAT(calls, testing::IsEmpty());
    EXPECT_THAT(handler->notifications, testing::IsEmpty());
}

TEST_F(Vst3SavePreset, TheSdksOwnReaderFindsWhatWasSaved) {
    createForPresets();
    save();
    const IPtr<Steinberg::IBStream> stream = Steinberg::owned(Vst::FileStream::open(path.c_str(), "rb"));
    Vst::PresetFile file(stream);
    ASSERT_TRUE(file.readChunkList());
    EXPECT_TRUE(file.getClassID() == RecordingFactory::componentClass);
    ASSERT_EQ(file.getEntryCount(), 2);
    const IPtr<Vst::ReadOnlyBStream> componentState =
        Steinberg::owned(new Vst::ReadOnlyBStream(stream, file.at(0).offset, file.at(0).size));
    EXPECT_EQ(KeptState::readAll(componentState), "component!");
    ASSERT_TRUE(file.contains(Vst::kControllerState));
    const Vst::PresetFile::Entry& entry = *file.getEntry(Vst::kControllerState);
    const IPtr<Vst::ReadOnlyBStream> controllerState =
        Steinberg::owned(new Vst::ReadOnlyBStream(stream, entry.offset, entry.size));
    EXPECT_EQ(KeptState::readAll(controllerState), "ctrl");
}

TEST_F(Vst3SavePreset, TheSdksOwnWriterWritesTheSameFile) {
    const IPtr<Steinberg::IBStream> componentState =
        Steinberg::owned(new Steinberg::MemoryStream(component.state.bytes.data(), 10));
    const IPtr<Steinberg::IBStream> controllerState =
        Steinberg::owned(new Steinberg::MemoryStream(controller.state.bytes.data(), 4));
    {
        const IPtr<Steinberg::IBStream> file = Steinberg::owned(Vst::FileStream::open(path.c_str(), "wb"));
        ASSERT_TRUE(Vst::PresetFile::savePreset(file, RecordingFactory::componentClass, componentState,
                                                controllerState));
    }
    const std::string theirs = readFile(path);
    createForPresets();
    EXPECT_EQ(save(), theirs);
}
