// docs/protocol.md is what the author of a client has: if these fail, it tells him numbers, fields or bytes
// that the host doesn't use, and his client meets a host that closes its pipes without a word.

#include "MarkdownDocument.h"
#include "WireFields.h"

#include "plugin/AudioBlock.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginHostRequests.h"
#include "plugin/PluginInstance.h"

#include <gtest/gtest.h>
#include <map>
#include <set>
#include <stdexcept>

using namespace std::string_literals;
using Row = DocumentTable::Row;

namespace {

const MarkdownDocument& protocol() {
    static const MarkdownDocument document("docs/protocol.md");
    return document;
}

/// A frame of the document: its heading, what stands before the payload, and the payload's fields.
struct DocumentedFrame {
    std::string heading;
    std::string head;
    WireFields fields;
};

const std::string smallestState = "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"s
                                  "\0"s
                                  "\x40\0\0\0"s
                                  "\0\0\0"s;

std::vector<DocumentedFrame> documentedRequests() {
    const WireField instance = int32n("instanceId", 1);
    const std::string wideTitle = "\x80\0\0\4\0\xC9\0\x63\0\x68\0\x6F"s;
    return {
        {"CreatePluginInstanceRequest",
         "\0\1\0\0\0"s,
         {instance, ascii("path", "/p/echo.so"), ascii("identifier", "42"), ascii("presetPath", "/p/a.fxp"),
          boolean("dpiAware", false)}},
        {"DestroyPluginInstanceRequest", "\1"s, {instance}},
        {"OpenGUIRequest",
         "\2"s,
         {instance, int64n("parentWindow", 0x0400001E), boolean("openEditorFlag", true),
          ascii("title", "Echo")}},
        {"CloseGUIRequest", "\3"s, {instance}},
        {"UpdateIORequest", "\4\2\0\0\0"s, {instance}},
        {"LoadPresetRequest", "\5\3\0\0\0"s, {instance, ascii("path", "/p/a.fxp")}},
        {"SavePresetRequest", "\6\4\0\0\0"s, {instance, ascii("path", "/p/b.fxp")}},
        {"SetCurrentProgramRequest", "\7"s, {instance, int32n("program", 5)}},
        {"ShowAllGUIsRequest", "\x08"s, {}},
        {"HideAllGUIsRequest", "\x09"s, {}},
        {"ActivateAppGUIRequest", "\x0A"s, {}},
        {"DeactivateAppGUIRequest", "\x0B"s, {}},
        {"ShutdownRequest", "\x0C"s, {}},
        {"PingRequest", "\x0D"s, {}},
        {"SetWindowTitleRequest", "\x0E"s, {instance, {"title", "string", wideTitle}}},
        {"SetWindowPositionRequest",
         "\x0F"s,
         {instance, int32b("x", 10), int32b("y", 20), int32b("width", 300), int32b("height", 200)}},
    };
}

std::vector<DocumentedFrame> documentedReplies() {
    const WireField instance = int32n("instanceId", 1);
    const WireField inputs = int32n("inputChannelCount", 2);
    const WireField outputs = int32n("outputChannelCount", 2);
    const WireField latency = int32n("latency", 64);
    const WireField state = {"state", "record", smallestState};
    return {
        {"CreatePluginInstanceReply",
         "\1\0\0\0\1"s,
         {instance, inputs, outputs, latency, boolean("hasEditor", false), state}},
        {"DefineIoReply", "\2\0\0\0\1"s, {instance, inputs, outputs, latency, state}},
        {"LoadPresetReply", "\3\0\0\0\1"s, {}},
        {"SavePresetReply", "\4\0\0\0\1"s, {}},
    };
}

std::vector<DocumentedFrame> documentedNotifications() {
    const WireField instance = int32n("instanceId", 2);
    const WireField parameter = int32n("parameterIndex", 3);
    return {
        {"UpdateParameterNotification", "\0\0\0\0\0"s, {instance, parameter, number("value", 0.5F)}},
        {"UpdateParameterDisplayNotification",
         "\0\0\0\0\1"s,
         {instance, parameter, ascii("name", "Gain"), ascii("display", "6 dB")}},
        {"UpdateAllParametersNotification", "\0\0\0\0\2"s, {instance, {"state", "record", smallestState}}},
        {"BeginOrEndEditParameterNotification",
         "\0\0\0\0\3"s,
         {instance, parameter, boolean("isBegin", true)}},
        {"PluginWindowClosedNotification", "\0\0\0\0\4"s, {int32n("instanceId", 5)}},
        {"PluginWindowMovedNotification",
         "\0\0\0\0\5"s,
         {int32n("instanceId", 1), int32b("x", 10), int32b("y", 20), int32b("width", 300),
          int32b("height", 200)}},
    };
}

std::vector<DocumentedFrame> documentedCommands() {
    const WireField instance = int32n("instanceId", 1);
    return {
        {"startProcessing", "\0"s, {instance}},
        {"stopProcessing", "\1"s, {instance}},
        {"process",
         "\2"s,
         {instance, int32n("frames", 256), boolean("keepActive", true), boolean("realtime", true)}},
    };
}

void expectFieldsAndDump(const DocumentedFrame& frame) {
    SCOPED_TRACE(frame.heading);
    if (frame.fields.empty()) {
        EXPECT_FALSE(protocol().hasTable(frame.heading, "Field")) << "It has no payload, yet a table of one";
    } else {
        std::vector<Row> rows;
        for (const WireField& field : frame.fields)
            rows.push_back({field.name, field.primitive});
        expectRows(protocol().table(frame.heading, "Field"), {"Field", "Primitive"}, rows);
    }
    EXPECT_EQ(toHex(protocol().dump(frame.heading)), toHex(frame.head + bytesOf(frame.fields)));
}

/// A request of this type, from zeros; null if there is none.
Ref<PluginHostRequest> requestOfType(int type) {
    std::string bytes(64, '\0');
    bytes[0] = static_cast<char>(type);
    try {
        return readRequest(nullptr, *streamOver(bytes));
    } catch (const IOException&) {
        return nullptr;
    }
}

std::string replyTo(PluginHostRequest& request) {
    if (!request.needsReply())
        return "none";
    if (!request.isAsync())
        return "empty, on the main channel";
    const std::string zeros(64, '\0');
    return className(*request.readReply(*streamOver(zeros)));
}

/// Writes what the tables of the state record say: twice everything that is counted by a field.
class StateFromTables {
public:
    std::string record(const std::string& heading) {
        const DocumentTable& table = protocol().table(heading, "Field");
        std::set<std::string> counts;
        for (const Row& row : table.select({"Times"}))
            counts.insert(row[0]);
        std::string bytes;
        for (const Row& row : table.select({"Field", "Primitive", "Times"})) {
            const int times = row[2].empty() ? 1 : row[2] == "128 if hasNoteNames" ? 128 : 2;
            for (int i = 0; i < times; ++i)
                bytes += primitive(row[1], counts.contains(row[0]));
        }
        return bytes;
    }

private:
    std::string primitive(const std::string& kind, bool isCount) {
        const int32_t value = isCount ? 2 : ++next;
        if (kind == "int32n")
            return int32nBytes(value);
        if (kind == "int32b")
            return int32bBytes(value);
        if (kind == "float")
            return floatBytes(static_cast<float>(value) / 4);
        if (kind == "bool")
            return "\1";
        if (kind == "string")
            return asciiBytes("text " + std::to_string(value));
        if (kind == "bus")
            return record("Bus fields");
        if (kind == "parameter")
            return record("Parameter fields");
        throw std::runtime_error("The state record has a field of the unknown kind " + kind);
    }

    int32_t next = 0;
};

std::string writtenState(const PluginInstanceState& state) {
    return written([&](OutputStream& stream) { state.write(stream); });
}

} // namespace

TEST(ProtocolDocument, ListsTheRequestsThatTheHostReads) {
    std::vector<Row> rows;
    for (int type = 0; type < 256; ++type) {
        const Ref<PluginHostRequest> request = requestOfType(type);
        if (!request)
            continue;
        EXPECT_EQ(request->getType(), type);
        const auto word = [](bool value) { return value ? "true"s : "false"s; };
        rows.push_back({std::to_string(type), className(*request), word(request->needsReply()),
                        word(request->isAsync()), request->hasRequestId() ? "yes" : "no", replyTo(*request)});
    }
    EXPECT_EQ(rows.size(), 16u);
    expectRows(protocol().table("Request types", "Type"),
               {"Type", "Request", "needsReply", "isAsync", "requestId", "Reply"}, rows);
}

TEST(ProtocolDocument, ListsTheRepliesOfTheRequests) {
    std::map<int32_t, Row> byNumber;
    for (int type = 0; type < 256; ++type) {
        const Ref<PluginHostRequest> request = requestOfType(type);
        if (!request || !request->hasRequestId())
            continue;
        const std::string zeros(64, '\0');
        const Ref<PluginHostReply> reply = request->readReply(*streamOver(zeros));
        byNumber[reply->getType()] = {std::to_string(reply->getType()), className(*reply),
                                      className(*request)};
    }
    std::vector<Row> rows;
    for (const auto& [replyNumber, row] : byNumber)
        rows.push_back(row);
    expectRows(protocol().table("Reply types", "Number"), {"Number", "Reply", "To"}, rows);
}

TEST(ProtocolDocument, ListsTheNotificationsThatTheClientReads) {
    std::vector<Row> rows;
    for (int type = 0; type < 256; ++type) {
        std::string bytes(64, '\0');
        bytes[0] = static_cast<char>(type);
        const Ref<PluginHostNotification> notification = readNotification(*streamOver(bytes), nullptr);
        if (!notification)
            continue;
        EXPECT_EQ(notification->getType(), type);
        rows.push_back({std::to_string(type), className(*notification)});
    }
    EXPECT_EQ(rows.size(), 6u);
    expectRows(protocol().table("Notification types", "Type"), {"Type", "Notification"}, rows);
}

TEST(ProtocolDocument, ListsTheCommandsOfAWorker) {
    const auto command = [](WorkerCommand value) { return std::to_string(static_cast<int>(value)); };
    expectRows(protocol().table("Worker commands", "Command"), {"Command", "Name", "Answer"},
               {{command(WorkerCommand::startProcessing), "startProcessing", "none"},
                {command(WorkerCommand::stopProcessing), "stopProcessing", "none"},
                {command(WorkerCommand::process), "process", "int32b result"}});
}

TEST(ProtocolDocument, GivesTheBytesOfEachPrimitive) {
    const auto row = [](const std::string& name, const std::string& example, const auto& write) {
        return Row{name, example, toHex(written(write))};
    };
    expectRows(protocol().table("Primitives", "Name"), {"Name", "Example", "Bytes"},
               {row("byte", "5", [](OutputStream& stream) { stream.writeByte(5); }),
                row("bool", "true", [](OutputStream& stream) { stream.writeByte(true); }),
                row("bool", "false", [](OutputStream& stream) { stream.writeByte(false); }),
                row("int32n", "5", [](OutputStream& stream) { stream.writeNativeInt32(5); }),
                row("int32n", "-1", [](OutputStream& stream) { stream.writeNativeInt32(-1); }),
                row("int32b", "5", [](OutputStream& stream) { stream.writeInt32(5); }),
                row("int32b", "300", [](OutputStream& stream) { stream.writeInt32(300); }),
                row("int64n", "5", [](OutputStream& stream) { writeNative(stream, int64_t{5}); }),
                row("float", "0.5", [](OutputStream& stream) { writeNative(stream, 0.5F); }),
                row("string", "\"abc\"", [](OutputStream& stream) { stream.writeString("abc"); }),
                row("string", "\"\xC3\xA9\"", [](OutputStream& stream) { stream.writeString("\xC3\xA9"); }),
                row("string", "\"\"", [](OutputStream& stream) { stream.writeString(""); })});
}

TEST(ProtocolDocument, GivesTheFieldsAndBytesOfEachRequest) {
    for (const DocumentedFrame& frame : documentedRequests())
        expectFieldsAndDump(frame);
}

TEST(ProtocolDocument, GivesTheFieldsAndBytesOfEachReply) {
    for (const DocumentedFrame& frame : documentedReplies())
        expectFieldsAndDump(frame);
    EXPECT_EQ(toHex(protocol().dump("ping-reply")), "01");
    EXPECT_EQ(toHex(protocol().dump("asynchronous-failure")), toHex("\1\0\0\0\0"s + asciiBytes("Failed")));
}

TEST(ProtocolDocument, GivesTheFieldsAndBytesOfEachNotification) {
    for (const DocumentedFrame& frame : documentedNotifications())
        expectFieldsAndDump(frame);
}

TEST(ProtocolDocument, GivesTheFieldsAndBytesOfEachCommand) {
    for (const DocumentedFrame& frame : documentedCommands())
        expectFieldsAndDump(frame);
    EXPECT_EQ(toHex(protocol().dump("process-answer")), "00 00 00 01");
}

TEST(ProtocolDocument, GivesRequestsThatTheHostReadsToTheLastByte) {
    for (const DocumentedFrame& frame : documentedRequests()) {
        SCOPED_TRACE(frame.heading);
        const std::string dump = protocol().dump(frame.heading);
        const auto stream = streamOver(dump);
        const Ref<PluginHostRequest> request = readRequest(nullptr, *stream);
        EXPECT_EQ(className(*request), frame.heading);
        EXPECT_EQ(stream->available(), 0u) << "The host leaves bytes of the example unread";
        EXPECT_EQ(toHex(written([&](OutputStream& target) { request->write(target); })),
                  toHex(bytesOf(frame.fields)));
    }
}

TEST(ProtocolDocument, GivesNotificationsThatTheClientReadsToTheLastByte) {
    for (const DocumentedFrame& frame : documentedNotifications()) {
        SCOPED_TRACE(frame.heading);
        const std::string dump = protocol().dump(frame.heading).substr(4);
        const auto stream = streamOver(dump);
        const Ref<PluginHostNotification> notification = readNotification(*stream, nullptr);
        ASSERT_TRUE(notification);
        EXPECT_EQ(className(*notification), frame.heading);
        EXPECT_EQ(stream->available(), 0u) << "The client leaves bytes of the example unread";
        EXPECT_EQ(toHex(written([&](OutputStream& target) { notification->write(target); })), toHex(dump));
    }
}

TEST(ProtocolDocument, GivesAStateRecordThatTheCodeWrites) {
    const Ref<PluginInstanceState> state(new PluginInstanceState(*streamOver(smallestState)));
    EXPECT_EQ(toHex(writtenState(*state)), toHex(smallestState));
    state->inputBuses.emplace_back(new PluginAudioBus("In", {0, 1}));
    state->outputBuses.emplace_back(new PluginAudioBus("Out", {0, 1}));
    const Ref<ParameterInfo> gain(new ParameterInfo);
    gain->name = "Gain";
    gain->display = "6.0";
    gain->label = "dB";
    gain->value = 0.75F;
    gain->canBeAutomated = true;
    gain->usesIntegerRange = true;
    gain->minInteger = -12;
    gain->maxInteger = 12;
    state->parameters.push_back(gain);
    state->programs.emplace_back(new Program("Init"));
    state->hasNoteOutput = true;
    EXPECT_EQ(toHex(protocol().dump("state-record")), toHex(writtenState(*state)));
}

TEST(ProtocolDocument, GivesTheFieldsOfTheStateRecord) {
    expectRows(protocol().table("State fields", "Field"), {"Field", "Primitive", "Times"},
               {{"inputBusCount", "int32n", ""},
                {"inputBus", "bus", "inputBusCount"},
                {"outputBusCount", "int32n", ""},
                {"outputBus", "bus", "outputBusCount"},
                {"parameterCount", "int32n", ""},
                {"parameter", "parameter", "parameterCount"},
                {"programCount", "int32n", ""},
                {"programName", "string", "programCount"},
                {"hasNoteNames", "bool", ""},
                {"noteName", "string", "128 if hasNoteNames"},
                {"latency", "int32n", ""},
                {"supportsMpe", "bool", ""},
                {"hasMidiControllerMapping", "bool", ""},
                {"hasNoteOutput", "bool", ""}});
    expectRows(
        protocol().table("Bus fields", "Field"), {"Field", "Primitive", "Times"},
        {{"name", "string", ""}, {"channelCount", "int32b", ""}, {"channel", "int32b", "channelCount"}});
    expectRows(protocol().table("Parameter fields", "Field"), {"Field", "Primitive", "Times"},
               {{"name", "string", ""},
                {"shortName", "string", ""},
                {"display", "string", ""},
                {"label", "string", ""},
                {"category", "string", ""},
                {"value", "float", ""},
                {"id", "int32n", ""},
                {"canBeAutomated", "bool", ""},
                {"isSwitch", "bool", ""},
                {"usesIntegerRange", "bool", ""},
                {"minInteger", "int32n", ""},
                {"maxInteger", "int32n", ""}});
}

TEST(ProtocolDocument, DescribesAStateRecordThatTheCodeReadsToTheLastByte) {
    const std::string bytes = StateFromTables().record("State fields");
    const auto stream = streamOver(bytes);
    const Ref<PluginInstanceState> state(new PluginInstanceState(*stream));
    EXPECT_EQ(stream->available(), 0u) << "The code leaves bytes of the described record unread";
    EXPECT_EQ(state->inputBuses.size(), 2u);
    EXPECT_EQ(state->outputBuses.size(), 2u);
    EXPECT_EQ(state->parameters.size(), 2u);
    EXPECT_EQ(state->programs.size(), 2u);
    EXPECT_TRUE(state->hasNoteNames);
    EXPECT_EQ(toHex(writtenState(*state)), toHex(bytes));
}

TEST(ProtocolDocument, HasNoDumpThatIsHeldAgainstNothing) {
    std::set<std::string> checked = {
        "asynchronous-failure", "ping-reply",       "process-answer",        "state-record", "transport",
        "midi-event",           "parameter-change", "system-exclusive-event"};
    for (const auto& frames :
         {documentedRequests(), documentedReplies(), documentedNotifications(), documentedCommands()}) {
        for (const DocumentedFrame& frame : frames)
            checked.insert(frame.heading);
    }
    for (const auto& [name, bytes] : protocol().getDumps())
        EXPECT_TRUE(checked.contains(name)) << name;
    EXPECT_EQ(protocol().getDumps().size(), checked.size());
}

TEST(DocumentTable, ComplaintNamesTheRowThatIsMissingWrongUnknownOrMisplaced) {
    const DocumentTable table{
        "Numbers", {"Number", "Name"}, {{"1", "one"}, {"2", "too"}, {"4", "four"}, {"3", "three"}}};
    const std::vector<std::string> columns = {"Number", "Name"};
    using Complaints = std::vector<std::string>;
    EXPECT_EQ(
        complaintsAbout(table, columns, {{"1", "one"}, {"2", "two"}, {"3", "three"}, {"5", "five"}}),
        (Complaints{"The table under \"Numbers\" has the row '2', 'too' where the code has '2', 'two'",
                    "The table under \"Numbers\" lacks the row '5', 'five'",
                    "The table under \"Numbers\" has the row '4', 'four' that the code knows nothing of"}));
    EXPECT_EQ(complaintsAbout(table, columns, {{"1", "one"}, {"2", "too"}, {"3", "three"}, {"4", "four"}}),
              (Complaints{"The table under \"Numbers\" has the row '4', 'four' in the wrong place"}));
    EXPECT_TRUE(complaintsAbout(table, columns, table.rows).empty());
    EXPECT_THROW(table.column("Colour"), std::runtime_error);
    EXPECT_THROW(protocol().table("Request types", "Colour"), std::runtime_error);
    EXPECT_THROW(protocol().dump("no-such-dump"), std::runtime_error);
    EXPECT_THROW(MarkdownDocument("docs/no-such-document.md"), std::runtime_error);
}
