// docs/protocol.md is what the author of a client has: if these fail, it tells him numbers, fields or bytes
// that the host doesn't use, and his client meets a host that closes its pipes without a word.

#include "MarkdownDocument.h"
#include "WireFields.h"

#include "client/HostLeftovers.h"
#include "plugin/Frames.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginHostRequests.h"
#include "plugin/PluginInstance.h"
#include "plugin/WorkerCommands.h"

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

/// A frame of the document: its heading, the rows of its table as the code lists the fields, and the bytes of
/// its example, written by hand.
struct DocumentedFrame {
    std::string heading;
    std::vector<Row> rows;
    /// What stands before the payload.
    std::string head;
    std::string payload;
};

/// The rows of a record's table.
template <class Record>
std::vector<Row> fieldRows() {
    std::vector<Row> rows;
    wire::describe<Record>([&](const char* name, const char* primitive, const char*) {
        rows.push_back({name, primitive});
    });
    return rows;
}

/// The same, with the times of each.
template <class Record>
std::vector<Row> timedRows() {
    std::vector<Row> rows;
    wire::describe<Record>([&](const char* name, const char* primitive, const char* times) {
        rows.push_back({name, primitive, times});
    });
    return rows;
}

template <class Message>
DocumentedFrame frame(const std::string& head, const std::string& payload = {}) {
    return {typeName(typeid(Message)), fieldRows<Message>(), head, payload};
}

const std::string smallestState = "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"s
                                  "\0"s
                                  "\x40\0\0\0"s
                                  "\0\0\0"s;

const std::string one = "\1\0\0\0"s;
const std::string two = "\2\0\0\0"s;
const std::string three = "\3\0\0\0"s;
const std::string place = int32bBytes(10) + int32bBytes(20) + int32bBytes(300) + int32bBytes(200);

std::vector<DocumentedFrame> documentedRequests() {
    return {
        frame<CreatePluginInstanceRequest>("\0\1\0\0\0"s, one + asciiBytes("/p/echo.so") + asciiBytes("42") +
                                                              asciiBytes("/p/a.fxp") + boolByte(false)),
        frame<DestroyPluginInstanceRequest>("\1"s, one),
        frame<OpenGUIRequest>("\2"s, one + int64nBytes(0x0400001E) + boolByte(true) + asciiBytes("Echo")),
        frame<CloseGUIRequest>("\3"s, one),
        frame<UpdateIORequest>("\4\2\0\0\0"s, one),
        frame<LoadPresetRequest>("\5\3\0\0\0"s, one + asciiBytes("/p/a.fxp")),
        frame<SavePresetRequest>("\6\4\0\0\0"s, one + asciiBytes("/p/b.fxp")),
        frame<SetCurrentProgramRequest>("\7"s, one + int32nBytes(5)),
        frame<ShowAllGUIsRequest>("\x08"s),
        frame<HideAllGUIsRequest>("\x09"s),
        frame<ActivateAppGUIRequest>("\x0A"s),
        frame<DeactivateAppGUIRequest>("\x0B"s),
        frame<ShutdownRequest>("\x0C"s),
        frame<PingRequest>("\x0D"s),
        frame<SetWindowTitleRequest>("\x0E"s, one + "\x80\0\0\4\0\xC9\0\x63\0\x68\0\x6F"s),
        frame<SetWindowPositionRequest>("\x0F"s, one + place),
    };
}

std::vector<DocumentedFrame> documentedReplies() {
    const std::string channelsAndLatency = int32nBytes(2) + int32nBytes(2) + int32nBytes(64);
    return {
        frame<CreatePluginInstanceReply>("\1\0\0\0\1"s,
                                         one + channelsAndLatency + boolByte(false) + smallestState),
        frame<DefineIoReply>("\2\0\0\0\1"s, one + channelsAndLatency + smallestState),
        frame<LoadPresetReply>("\3\0\0\0\1"s),
        frame<SavePresetReply>("\4\0\0\0\1"s),
    };
}

std::vector<DocumentedFrame> documentedNotifications() {
    return {
        frame<UpdateParameterNotification>("\0\0\0\0\0"s, two + three + floatBytes(0.5F)),
        frame<UpdateParameterDisplayNotification>("\0\0\0\0\1"s,
                                                  two + three + asciiBytes("Gain") + asciiBytes("6 dB")),
        frame<UpdateAllParametersNotification>("\0\0\0\0\2"s, two + smallestState),
        frame<BeginOrEndEditParameterNotification>("\0\0\0\0\3"s, two + three + boolByte(true)),
        frame<PluginWindowClosedNotification>("\0\0\0\0\4"s, int32nBytes(5)),
        frame<PluginWindowMovedNotification>("\0\0\0\0\5"s, one + place),
    };
}

std::vector<DocumentedFrame> documentedCommands() {
    const auto command = [](const char* name, auto fields, const std::string& head,
                            const std::string& payload) {
        return DocumentedFrame{name, fieldRows<decltype(fields)>(), head, payload};
    };
    return {
        command("startProcessing", InstanceCommand{}, "\0"s, one),
        command("stopProcessing", InstanceCommand{}, "\1"s, one),
        command("process", ProcessCommand{}, "\2"s, one + int32nBytes(256) + boolByte(true) + boolByte(true)),
    };
}

void expectFieldsAndDump(const DocumentedFrame& frame) {
    SCOPED_TRACE(frame.heading);
    if (frame.rows.empty())
        EXPECT_FALSE(protocol().hasTable(frame.heading, "Field")) << "It has no payload, yet a table of one";
    else
        expectRows(protocol().table(frame.heading, "Field"), {"Field", "Primitive"}, frame.rows);
    EXPECT_EQ(toHex(protocol().dump(frame.heading)), toHex(frame.head + frame.payload));
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
                  toHex(frame.payload));
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
    const std::vector<std::string> columns = {"Field", "Primitive", "Times"};
    expectRows(protocol().table("State fields", "Field"), columns, timedRows<PluginInstanceState>());
    expectRows(protocol().table("Bus fields", "Field"), columns, timedRows<PluginAudioBus>());
    expectRows(protocol().table("Parameter fields", "Field"), columns, timedRows<ParameterInfo>());
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

TEST(ProtocolDocument, GivesTheLockFileAndTheBoundOfItsNumber) {
    const std::string& text = protocol().getText();
    EXPECT_NE(text.find("`/tmp/pipes-alice/tanvex/engine/plugin7/"s + hostLockName + "`"), std::string::npos);
    EXPECT_NE(text.find("(at most " + std::to_string(highestLeftInstance) + ")"), std::string::npos);
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
