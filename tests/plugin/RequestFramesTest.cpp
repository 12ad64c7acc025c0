// The frame of every request, byte by byte. If these fail, a client in another language, or of another
// build, sends requests that this host takes for something else.

#include "support/RequestFrames.h"
#include "plugin/Frames.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginHostRequests.h"
#include "support/WireBytes.h"

#include <gtest/gtest.h>

using namespace test_support;

namespace {

// Reads a frame and holds it as the class that its type byte stands for.
template <class Request>
Ref<Request> readAs(std::string_view frame) {
    GoldenStream stream(frame);
    const Ref<PluginHostRequest> request = readRequest(nullptr, stream);
    EXPECT_EQ(stream.available(), 0U) << "bytes of the frame were left";
    auto* read = dynamic_cast<Request*>(request.get());
    if (read == nullptr)
        throw IOException("the frame made a request of another class");
    return read;
}

// Writes a request with the requestId 9, where its frame has any.
std::string frameOf(PluginHostRequest&& request) {
    request.requestId = 9;
    return writtenFrame(request);
}

} // namespace

TEST(RequestFramesTest, CreatePutsTheIdentifierBeforeThePreset) {
    EXPECT_EQ(frameOf(CreatePluginInstanceRequest(3, "/p/a.so", "s.fxp", "1é", true)), golden(createFrame));
}

TEST(RequestFramesTest, CreateIsReadInItsWireOrder) {
    const Ref<CreatePluginInstanceRequest> request = readAs<CreatePluginInstanceRequest>(createFrame);
    EXPECT_EQ(request->requestId, 9);
    EXPECT_EQ(request->instanceId, 3);
    EXPECT_EQ(request->path, "/p/a.so");
    EXPECT_EQ(request->identifier, "1é");
    EXPECT_EQ(request->presetPath, "s.fxp");
    EXPECT_TRUE(request->dpiAware);
}

TEST(RequestFramesTest, DestroyIsItsInstanceAlone) {
    EXPECT_EQ(frameOf(DestroyPluginInstanceRequest(258)), golden("01 02 01 00 00"));
    EXPECT_EQ(readAs<DestroyPluginInstanceRequest>("01 02 01 00 00")->instanceId, 258);
}

TEST(RequestFramesTest, OpenGuiCarriesSixtyFourBitsOfTheParentWindow) {
    EXPECT_EQ(frameOf(OpenGUIRequest(-2, 0x0ABBCCDD12345678, true, "T€é!")), golden(openFrame));
}

TEST(RequestFramesTest, OpenGuiIsReadInItsWireOrder) {
    const Ref<OpenGUIRequest> request = readAs<OpenGUIRequest>(openFrame);
    EXPECT_EQ(request->instanceId, -2);
    EXPECT_EQ(request->parentWindow, 0x0ABBCCDD12345678);
    EXPECT_TRUE(request->openEditorFlag);
    EXPECT_EQ(request->title, "T€é!");
}

TEST(RequestFramesTest, CloseGuiIsItsInstanceAlone) {
    EXPECT_EQ(frameOf(CloseGUIRequest(3)), golden("03 03 00 00 00"));
    EXPECT_EQ(readAs<CloseGUIRequest>("03 03 00 00 00")->instanceId, 3);
}

TEST(RequestFramesTest, UpdateIoIsNineBytes) {
    EXPECT_EQ(frameOf(UpdateIORequest(3)), golden("04 09 00 00 00 03 00 00 00"));
    const Ref<UpdateIORequest> request = readAs<UpdateIORequest>("04 09 00 00 00 03 00 00 00");
    EXPECT_EQ(request->requestId, 9);
    EXPECT_EQ(request->instanceId, 3);
}

TEST(RequestFramesTest, LoadPresetCarriesItsPath) {
    constexpr char frame[] = "05 09 00 00 00 03 00 00 00 80 00 00 02 00 E9 00 2F";
    EXPECT_EQ(frameOf(LoadPresetRequest(3, "é/")), golden(frame));
    const Ref<LoadPresetRequest> request = readAs<LoadPresetRequest>(frame);
    EXPECT_EQ(request->requestId, 9);
    EXPECT_EQ(request->instanceId, 3);
    EXPECT_EQ(request->path, "é/");
}

TEST(RequestFramesTest, SavePresetCarriesItsPath) {
    constexpr char frame[] = "06 09 00 00 00 03 00 00 00 00 00 00 06 '/a.fxp'";
    EXPECT_EQ(frameOf(SavePresetRequest(3, "/a.fxp")), golden(frame));
    const Ref<SavePresetRequest> request = readAs<SavePresetRequest>(frame);
    EXPECT_EQ(request->requestId, 9);
    EXPECT_EQ(request->instanceId, 3);
    EXPECT_EQ(request->path, "/a.fxp");
}

TEST(RequestFramesTest, SetCurrentProgramCarriesItsProgram) {
    constexpr char frame[] = "07 03 00 00 00 80 00 00 00";
    EXPECT_EQ(frameOf(SetCurrentProgramRequest(3, 128)), golden(frame));
    const Ref<SetCurrentProgramRequest> request = readAs<SetCurrentProgramRequest>(frame);
    EXPECT_EQ(request->instanceId, 3);
    EXPECT_EQ(request->program, 128);
}

TEST(RequestFramesTest, RequestsWithoutAPayloadAreOneByte) {
    EXPECT_EQ(frameOf(ShowAllGUIsRequest()), golden("08"));
    EXPECT_EQ(frameOf(HideAllGUIsRequest()), golden("09"));
    EXPECT_EQ(frameOf(ActivateAppGUIRequest()), golden("0A"));
    EXPECT_EQ(frameOf(DeactivateAppGUIRequest()), golden("0B"));
    EXPECT_EQ(frameOf(ShutdownRequest()), golden("0C"));
    readAs<ShowAllGUIsRequest>("08");
    readAs<HideAllGUIsRequest>("09");
    readAs<ActivateAppGUIRequest>("0A");
    readAs<DeactivateAppGUIRequest>("0B");
    readAs<ShutdownRequest>("0C");
}

TEST(RequestFramesTest, APingIsTheOneByte0D) {
    EXPECT_EQ(frameOf(PingRequest()), golden("0D"));
    readAs<PingRequest>("0D");
}

TEST(RequestFramesTest, SetWindowTitleCarriesItsTitle) {
    EXPECT_EQ(frameOf(SetWindowTitleRequest(3, "Synth")), golden(titleFrame));
    EXPECT_EQ(frameOf(SetWindowTitleRequest(3, "€")), golden(wideTitleFrame));
    EXPECT_EQ(readAs<SetWindowTitleRequest>(titleFrame)->title, "Synth");
    const Ref<SetWindowTitleRequest> request = readAs<SetWindowTitleRequest>(wideTitleFrame);
    EXPECT_EQ(request->instanceId, 3);
    EXPECT_EQ(request->title, "€");
}

TEST(RequestFramesTest, TheGeometryOfSetWindowPositionIsBigEndian) {
    EXPECT_EQ(frameOf(SetWindowPositionRequest(3, 10, -20, 300, 200)), golden(positionFrame));
}

TEST(RequestFramesTest, TheGeometryOfSetWindowPositionIsReadAsBigEndian) {
    const Ref<SetWindowPositionRequest> request = readAs<SetWindowPositionRequest>(positionFrame);
    EXPECT_EQ(request->instanceId, 3);
    EXPECT_EQ(request->x, 10);
    EXPECT_EQ(request->y, -20);
    EXPECT_EQ(request->width, 300);
    EXPECT_EQ(request->height, 200);
}
